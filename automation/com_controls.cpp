// What stands behind SaxPort and UpdateTimer.
#include <TarnSclServer.h>

#include <memory>
#include <utility>

#include "automation/com_object.hpp"

namespace tarn {
namespace {

/// What goes over the line is bytes of the single-byte code page; clients see text.
class ComSerialPort final
    : public ComObject<::SerialPort, ::__SerialPort, SerialPort, ::_SerialPort> {
 public:
  ComSerialPort(ComModule& module, std::shared_ptr<SerialPort> port)
      : ComObject(module, std::move(port)) {
    onReceive_ = Core()->Receive.Subscribe(Pass(1));
  }

  STDMETHODIMP put_CommPort(SHORT value) override {
    return Guarded([&] { Core()->PortNumber(value); });
  }
  STDMETHODIMP get_CommPort(SHORT* result) override {
    return Get(result, [this] { return Core()->PortNumber(); });
  }
  STDMETHODIMP put_Settings(BSTR value) override {
    return Guarded([&] { Core()->Settings(Text(value)); });
  }
  STDMETHODIMP get_Settings(BSTR* result) override {
    return Get(result, [this] { return Core()->Settings(); });
  }
  STDMETHODIMP put_RThreshold(SHORT value) override {
    return Guarded([&] { Core()->ReceiveThreshold(value); });
  }
  STDMETHODIMP get_RThreshold(SHORT* result) override {
    return Get(result, [this] { return Core()->ReceiveThreshold(); });
  }
  STDMETHODIMP put_PortOpen(VARIANT_BOOL value) override {
    return Guarded([&] { Core()->PortOpen(IsTrue(value)); });
  }
  STDMETHODIMP get_PortOpen(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->PortOpen(); });
  }
  STDMETHODIMP put_InBufferCount(LONG value) override {
    return Guarded([&] {
      if (value != 0) {
        throw AutomationError(ErrorNumber::InvalidPropertyValue,
                              "InBufferCount can only be set to 0");
      }
      Core()->ClearInput();
    });
  }
  STDMETHODIMP get_InBufferCount(LONG* result) override {
    return Get(result, [this] { return Core()->InBufferCount(); });
  }
  STDMETHODIMP get_Input(BSTR* result) override {
    return Get(result, [this] {
      const auto byte = Core()->Input();
      return byte ? Module().System().Locale().FromBytes(std::string_view(&*byte, 1))
                  : std::string();
    });
  }
  STDMETHODIMP put_Output(BSTR value) override {
    return Guarded([&] { Core()->Output(Module().System().Locale().ToBytes(Text(value))); });
  }
  STDMETHODIMP get_DeviceName(BSTR* result) override {
    return Get(result, [this] { return Core()->DeviceName(); });
  }

 private:
  Subscription onReceive_;
};

class ComTimer final : public ComObject<::Timer, ::__Timer, Timer, ::_Timer> {
 public:
  ComTimer(ComModule& module, std::shared_ptr<Timer> timer) : ComObject(module, std::move(timer)) {
    onTick_ = Core()->Tick.Subscribe(Pass(1));
  }

  STDMETHODIMP put_Interval(LONG value) override {
    return Guarded([&] { Core()->Interval(value); });
  }
  STDMETHODIMP get_Interval(LONG* result) override {
    return Get(result, [this] { return Core()->Interval(); });
  }
  STDMETHODIMP put_Enabled(VARIANT_BOOL value) override {
    return Guarded([&] { Core()->Enabled(IsTrue(value)); });
  }
  STDMETHODIMP get_Enabled(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->Enabled(); });
  }

 private:
  Subscription onTick_;
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<SerialPort>& port) {
  return WrapAs<ComSerialPort>(module, port);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<Timer>& timer) {
  return WrapAs<ComTimer>(module, timer);
}

}  // namespace tarn
