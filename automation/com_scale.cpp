// A scale and its watchdog.
#include <TarnSclServer.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "automation/client_adapters.hpp"
#include "automation/com_object.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn {
namespace {

class ComScale final
    : public ComObject<::TarnScale, ::__TarnScale, TarnScale, ::_TarnScale, ::_CorrectingScale,
                       ::_ScaleWithCondition, ::_DetectingScale> {
 public:
  ComScale(ComModule& module, std::shared_ptr<TarnScale> scale)
      : ComObject(module, std::move(scale)) {
    Pass(Core().NewStatus, 1);
    Pass(Core().ScaleConfigurationChange, 2);
    Pass(Core().UpdateWeight, 3);
  }

  COM_PROPERTY(VARIANT_BOOL, watchdog)
  COM_OBJECT(IDispatch, UpdateTimer)
  COM_OBJECT(::_ActivityTimer, ActivityTimer)
  COM_PROPERTY(double, UpdateRate)
  COM_PROPERTY(LONG, ActivityTimeoutTime)
  COM_ANSWER(VARIANT_BOOL, RunScale)
  COM_CALL(StopScale)
  STDMETHODIMP printRequest(VARIANT_BOOL NoWait) override {
    return Guarded([&] { Core().printRequest(IsTrue(NoWait), PrintOrigin::Client); });
  }
  COM_GET(VARIANT_BOOL, PRState)
  COM_OBJECT(::_Protocol, Protocol)
  COM_OBJECT(::_Connection, Connection)
  COM_PROPERTY(BSTR, AliasName)
  COM_PROPERTY(VARIANT_BOOL, Disabled)
  COM_PROPERTY(VARIANT_BOOL, ActivityLED)
  COM_PROPERTY(VARIANT_BOOL, ErrorLED)
  COM_GET_KEPT(::_PrintData, PrintData)
  COM_GET_KEPT(::_TarnRecordTemplateData, TarnRecordTemplateData)
  COM_OBJECT(::_SummitData, SummitData)
  COM_GET_KEPT(::_WeightData, WeightData)
  COM_PROPERTY(VARIANT_BOOL, CorrectReadings)
  COM_CALL(C)
  COM_CALL(T)
  STDMETHODIMP SetTare(double* TareValue) override {
    return Guarded([&] { Core().SetTare(*TareValue); });
  }
  STDMETHODIMP P() override {
    return Guarded([this] { Core().P(PrintOrigin::Client); });
  }
  COM_CALL(Z)
  STDMETHODIMP GetAxDataObj(BSTR* DataObjectName, IDispatch** result) override {
    return Get(result, [&] { return Core().GetAxDataObj(Text(*DataObjectName)); });
  }
  COM_GET(::_ReadingCondition*, Condition)
  COM_PROPERTY(double, DetectMinimum)
  COM_PROPERTY(LONG, DetectStable)
  COM_PROPERTY(LONG, DetectDigits)
  COM_PROPERTY(double, DetectRearm)
};

// The published numbers are those of the core.
static_assert(static_cast<int>(::QualityError) == static_cast<int>(Quality::Error));
static_assert(static_cast<int>(::ReasonLocalPortBusy) ==
              static_cast<int>(ConditionReason::LocalPortBusy));
static_assert(kLineCounters.size() == ::CounterCommandsAnswered + 1);

/// A date of Automation by the local clock; 0 for no time.
DATE LocalDate(const std::optional<std::chrono::system_clock::time_point>& time) {
  constexpr std::int64_t kStepsASecond = 10'000'000;
  constexpr std::int64_t kFileTimeOf1970 = 11'644'473'600 * kStepsASecond;
  constexpr double kMillisecondsADay = 86'400'000;
  if (!time) return 0;
  const auto since = time->time_since_epoch();
  const std::int64_t seconds = std::chrono::duration_cast<std::chrono::seconds>(since).count();
  const ULARGE_INTEGER steps{.QuadPart =
                                 static_cast<ULONGLONG>(seconds * kStepsASecond + kFileTimeOf1970)};
  const FILETIME file{steps.LowPart, steps.HighPart};
  SYSTEMTIME utc{};
  SYSTEMTIME local{};
  DATE date = 0;
  if (!FileTimeToSystemTime(&file, &utc) ||
      !SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local) ||
      !SystemTimeToVariantTime(&local, &date)) {
    return 0;
  }
  const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(since).count() % 1000;
  return date + static_cast<double>(rest) / kMillisecondsADay;
}

class ComReadingCondition final : public ComObject<::ReadingCondition, ::__ReadingCondition,
                                                   ReadingCondition, ::_ReadingCondition> {
 public:
  ComReadingCondition(ComModule& module, std::shared_ptr<ReadingCondition> condition)
      : ComObject(module, std::move(condition)) {
    Pass(Core().Changed, 1);
  }

  STDMETHODIMP get_Quality(::ReadingQuality* result) override {
    return Get(result, [this] { return Core().Present().quality; });
  }
  STDMETHODIMP get_Reason(::ReadingReason* result) override {
    return Get(result, [this] { return Core().Present().reason; });
  }
  STDMETHODIMP get_ReasonText(BSTR* result) override {
    return Get(result, [this] { return Core().Present().words; });
  }
  STDMETHODIMP get_AgeMs(double* result) override {
    return Get(result, [this] { return Core().Present().age.value_or(-1); });
  }
  STDMETHODIMP get_ReadingTime(DATE* result) override {
    return Get(result, [this] { return LocalDate(Core().Present().readAt); });
  }
  STDMETHODIMP get_ReadingsPerSecond(double* result) override {
    return Get(result, [this] { return Core().Present().readingsPerSecond; });
  }
  STDMETHODIMP Counter(::LineCounter Which, VARIANT_BOOL SinceReset, double* result) override {
    return Get(result, [&] {
      const auto index = static_cast<std::size_t>(Which);  // a negative one becomes a huge one
      if (index >= kLineCounters.size()) ThrowSubscriptOutOfRange();
      const LineCounters counters = Core().Counters(IsTrue(SinceReset));
      return static_cast<double>(counters.*kLineCounters[index].member);
    });
  }
  STDMETHODIMP get_LastError(BSTR* result) override {
    return Get(result, [this] { return Core().Line()->LastError(); });
  }
  STDMETHODIMP get_LastErrorTime(DATE* result) override {
    return Get(result, [this] { return LocalDate(Core().LastErrorAt()); });
  }
  COM_CALL(ResetCounters)
};

class ComActivityTimer final
    : public ComObject<::ActivityTimer, ::__ActivityTimer, ActivityTimer, ::_ActivityTimer> {
 public:
  ComActivityTimer(ComModule& module, std::shared_ptr<ActivityTimer> timer)
      : ComObject(module, std::move(timer)) {
    Pass(Core().TimedOutEvent, 1);
  }

  COM_PROPERTY(LONG, TimeoutTime)
  COM_GET(VARIANT_BOOL, TimedOut)
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TarnScale>& scale) {
  return WrapAs<ComScale>(module, scale);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<ReadingCondition>& condition) {
  return WrapAs<ComReadingCondition>(module, condition);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<ActivityTimer>& timer) {
  return WrapAs<ComActivityTimer>(module, timer);
}

}  // namespace tarn
