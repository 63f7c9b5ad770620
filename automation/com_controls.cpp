// The objects behind SaxPort and UpdateTimer.
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
    Pass(Core().Receive, 1);
  }

  STDMETHODIMP put_CommPort(SHORT value) override {
    return Guarded([&] { Core().PortNumber(value); });
  }
  STDMETHODIMP get_CommPort(SHORT* result) override {
    return Get(result, [this] { return Core().PortNumber(); });
  }
  COM_PROPERTY(BSTR, Settings)
  STDMETHODIMP put_RThreshold(SHORT value) override {
    return Guarded([&] { Core().ReceiveThreshold(value); });
  }
  STDMETHODIMP get_RThreshold(SHORT* result) override {
    return Get(result, [this] { return Core().ReceiveThreshold(); });
  }
  COM_PROPERTY(VARIANT_BOOL, PortOpen)
  STDMETHODIMP put_InBufferCount(LONG value) override {
    return Guarded([&] {
      if (value != 0) {
        throw AutomationError(ErrorNumber::InvalidPropertyValue,
                              "InBufferCount can only be set to 0");
      }
      Core().ClearInput();
    });
  }
  COM_GET(LONG, InBufferCount)
  STDMETHODIMP get_Input(BSTR* result) override {
    return Get(result, [this] {
      const auto byte = Core().Input();
      return byte ? Module().System().Locale().FromBytes(std::string_view(&*byte, 1))
                  : std::string();
    });
  }
  STDMETHODIMP put_Output(BSTR value) override {
    return Guarded([&] { Core().Output(Module().System().Locale().ToBytes(Text(value))); });
  }
  COM_GET(BSTR, DeviceName)
};

class ComTimer final : public ComObject<::Timer, ::__Timer, Timer, ::_Timer> {
 public:
  ComTimer(ComModule& module, std::shared_ptr<Timer> timer) : ComObject(module, std::move(timer)) {
    Pass(Core().Tick, 1);
  }

  COM_PROPERTY(LONG, Interval)
  COM_PROPERTY(VARIANT_BOOL, Enabled)
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<SerialPort>& port) {
  return WrapAs<ComSerialPort>(module, port);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<Timer>& timer) {
  return WrapAs<ComTimer>(module, timer);
}

}  // namespace tarn
