// How the core divides its time among the clients that it waits for.
//
// The core's thread waits for a client that answers in time, so that the client's handler sees the
// state which the event is about. It waits for a bounded share of its time only: for each client,
// and for all of them together. docs/lanes.md gives the reasons and the bounds.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "automation/lanes/budget.hpp"
#include "automation/lanes/lane.hpp"

namespace tarn {

struct LaneLimits {
  double hung = 5000;      ///< milliseconds after which a client that does not answer is lost
  double oneClient = 20;   ///< percent of the core's time, above 0; 100 is without any bound
  double allClients = 50;  ///< likewise
};

/// What lanes need of their surroundings.
class LaneSystem {
 public:
  /// Is set from any thread.
  class Answer {
   public:
    Answer() = default;
    Answer(const Answer&) = delete;
    Answer& operator=(const Answer&) = delete;
    virtual ~Answer() = default;
    virtual void Set() = 0;
    virtual bool IsSet() const = 0;
  };

  LaneSystem() = default;
  LaneSystem(const LaneSystem&) = delete;
  LaneSystem& operator=(const LaneSystem&) = delete;
  virtual ~LaneSystem() = default;

  /// Milliseconds of a clock that only goes forward. From any thread.
  virtual double Now() const = 0;
  virtual std::shared_ptr<Answer> NewAnswer() = 0;
  /// Does the work on another thread.
  virtual void Start(std::function<void()> work) = 0;
  /// Waits on the core's thread and serves the calls that come in meanwhile. Whether it was set.
  virtual bool Wait(Answer& answer, double milliseconds) = 0;
  /// Whether the core has work that is due.
  virtual bool HasOtherWork() const = 0;
  /// A lane has become late, prompt or lost. From any thread; may do nothing but take note.
  virtual void Changed(const std::shared_ptr<Lane>& lane, LaneState state) = 0;
};

/// On the core's thread.
class Lanes {
 public:
  /// Milliseconds of a call that do not count while nothing else is due at the core: the call
  /// itself takes some, and a client that answers at once must not become late for being called
  /// often.
  static constexpr double kFree = 20;

  Lanes(LaneSystem& system, const LaneLimits& limits)
      : system_(system), limits_(limits), all_(limits.allClients, system.Now()) {}
  Lanes(const Lanes&) = delete;
  Lanes& operator=(const Lanes&) = delete;

  const LaneLimits& Limits() const { return limits_; }

  /// Delivers an event and waits for the client as long as its lane is prompt and the budgets
  /// allow. Anything may have changed when it returns. `keep` is held by what is still under way.
  void Deliver(const std::shared_ptr<Lane>& lane, LaneEvent event, std::shared_ptr<void> keep = {});

  /// Waits for the answer of a call that the core cannot go on without, at most so long, whatever
  /// the budgets say. False when there is none, or when the client was lost meanwhile.
  bool Await(Lane& lane, LaneSystem::Answer& answer, double limit) {
    return Hold(lane, answer, limit, false);
  }

  /// Loses the clients that hang. To be called now and then while it returns true, that is while
  /// anybody is late.
  bool Watch();

  /// Gives a client up.
  void Lose(const std::shared_ptr<Lane>& lane);

  /// Time that counts for no client: that of an incoming call which is served inside a wait.
  class Elsewhere {
   public:
    explicit Elsewhere(Lanes& lanes)
        : lanes_(lanes), before_(lanes.elsewhere_), start_(lanes.system_.Now()) {}
    Elsewhere(const Elsewhere&) = delete;
    Elsewhere& operator=(const Elsewhere&) = delete;
    ~Elsewhere() { lanes_.elsewhere_ = before_ + lanes_.system_.Now() - start_; }

   private:
    Lanes& lanes_;
    const double before_;
    const double start_;
  };

 private:
  bool Hold(Lane& lane, LaneSystem::Answer& answer, double limit, bool budgeted);
  double Allowed(Lane& lane, double held);

  LaneSystem& system_;
  const LaneLimits limits_;
  Budget all_;
  double elsewhere_ = 0;  ///< milliseconds so far that nobody is to answer for
  std::vector<std::weak_ptr<Lane>> late_;
};

}  // namespace tarn
