// The class factories of the process, through which clients create objects.
//
// There is one factory for each class that clients may create. It lives in the multithreaded
// apartment, where a call shows which process it comes from, and passes the creation on to the
// core's thread.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <functional>
#include <memory>

#include "automation/com_module.hpp"

namespace tarn {

/// On the core's thread. The calls of a client that holds a factory may outlast this object's use,
/// so the process ends without destroying it.
class ClassFactories {
 public:
  /// Registers a factory for every creatable class, suspended, so that the system knows the process
  /// before anything slow happens. Throws WindowsError.
  explicit ClassFactories(ComModule& module);
  ClassFactories(const ClassFactories&) = delete;
  ClassFactories& operator=(const ClassFactories&) = delete;
  ~ClassFactories();

  void Resume();

  /// Takes the registrations back, so that the system sends no new client here, and then calls
  /// `closed` from the loop. It does not wait: the system may hold its table of classes until a
  /// client that it serves there goes on. A client that has found a factory before is still served.
  void Close(std::function<void()> closed);
  /// Registers the factories again after Close. Throws WindowsError.
  void Reopen();
  /// Whether a client holds a factory, of those that are no longer registered.
  bool AreHeld() const;
  /// From now on a creation fails with CO_E_SERVER_STOPPING. Returns false, and changes nothing,
  /// when a creation is under way.
  bool Refuse();

 private:
  struct Door;

  ComModule& module_;
  std::shared_ptr<Door> door_;  ///< shared with the calls
};

}  // namespace tarn
