// What stands behind mvarSocket. What goes over the network is bytes; clients send and read them as
// text of the single-byte code page or as arrays of bytes.
#include <TarnSclServer.h>

#include <memory>
#include <string>
#include <utility>

#include "automation/com_arrays.hpp"
#include "automation/com_object.hpp"
#include "platform/socket.hpp"

namespace tarn {
namespace {

constexpr VARTYPE kBytes = VT_ARRAY | VT_UI1;

bool IsLeftOut(const VARIANT& value) {
  return V_VT(&value) == VT_ERROR && V_ERROR(&value) == DISP_E_PARAMNOTFOUND;
}

class ComSocketControl final
    : public ComObject<::SocketControl, ::__SocketControl, SocketControl, ::_SocketControl> {
 public:
  ComSocketControl(ComModule& module, std::shared_ptr<SocketControl> socket)
      : ComObject(module, std::move(socket)) {
    onConnected_ = Core()->Connected.Subscribe(Pass(1));
    onClosed_ = Core()->Closed.Subscribe(Pass(2));
    onDataArrival_ = Core()->DataArrival.Subscribe(
        [this](std::int32_t bytes) { Raise(3, {Variant(static_cast<LONG>(bytes))}); });
    onError_ = Core()->Error.Subscribe([this](std::int32_t number, const std::string& text) {
      Raise(4, {Variant(static_cast<LONG>(number)), Variant(ToWide(text))});
    });
  }

  STDMETHODIMP put_Protocol(SHORT value) override {
    return Guarded([&] {
      if (value != 0 && value != 1) {
        throw AutomationError(ErrorNumber::InvalidPropertyValue, "Protocol is 0 (TCP) or 1 (UDP)");
      }
      Core()->Transport(SocketTransport{value});
    });
  }
  STDMETHODIMP get_Protocol(SHORT* result) override {
    return Get(result, [this] { return Core()->Transport(); });
  }
  STDMETHODIMP put_LocalPort(LONG value) override {
    return Guarded([&] { Core()->LocalPort(value); });
  }
  STDMETHODIMP get_LocalPort(LONG* result) override {
    return Get(result, [this] { return Core()->LocalPort(); });
  }
  STDMETHODIMP put_RemoteHost(BSTR value) override {
    return Guarded([&] { Core()->RemoteHost(Text(value)); });
  }
  STDMETHODIMP get_RemoteHost(BSTR* result) override {
    return Get(result, [this] { return Core()->RemoteHost(); });
  }
  STDMETHODIMP put_RemotePort(LONG value) override {
    return Guarded([&] { Core()->RemotePort(value); });
  }
  STDMETHODIMP get_RemotePort(LONG* result) override {
    return Get(result, [this] { return Core()->RemotePort(); });
  }
  STDMETHODIMP get_State(SHORT* result) override {
    return Get(result, [this] { return Core()->State(); });
  }
  STDMETHODIMP get_BytesReceived(LONG* result) override {
    return Get(result, [this] { return Core()->BytesReceived(); });
  }
  STDMETHODIMP Close() override {
    return Guarded([this] { Core()->Close(); });
  }
  STDMETHODIMP Bind(VARIANT LocalPort) override {
    return Guarded(
        [&] { Core()->Bind(IsLeftOut(LocalPort) ? Core()->LocalPort() : NumberOf(LocalPort)); });
  }
  STDMETHODIMP Connect(VARIANT RemoteHost, VARIANT RemotePort) override {
    return Guarded([&] {
      if (!IsLeftOut(RemoteHost)) Core()->RemoteHost(TextOf(RemoteHost));
      if (!IsLeftOut(RemotePort)) Core()->RemotePort(NumberOf(RemotePort));
      Core()->Connect();
    });
  }
  STDMETHODIMP SendData(VARIANT Data) override {
    return Guarded([&] {
      if ((V_VT(&Data) & VT_ARRAY) != 0) {
        const auto bytes = BytesOf(V_ARRAY(Converted(Data, kBytes).Get()));
        Core()->SendData({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
      } else {
        Core()->SendData(Module().System().Locale().ToBytes(TextOf(Data)));
      }
    });
  }
  /// Without a type the variable's own decides, so that an array of bytes gets bytes.
  STDMETHODIMP GetData(VARIANT* Data, VARIANT Type) override {
    return Guarded([&] {
      const bool bytes = IsLeftOut(Type) ? V_VT(Data) == kBytes : NumberOf(Type) == kBytes;
      const std::string read = Core()->GetData();
      VariantClear(Data);
      if (bytes) {
        V_ARRAY(Data) = NewArray(read, 0);
      } else {
        V_BSTR(Data) = NewText(Module().System().Locale().FromBytes(read));
      }
      V_VT(Data) = bytes ? kBytes : static_cast<VARTYPE>(VT_BSTR);
    });
  }

  STDMETHODIMP put_LocalHost(BSTR value) override {
    return Guarded([&] { Core()->LocalHost(Text(value)); });
  }
  STDMETHODIMP get_LocalHost(BSTR* result) override {
    return Get(result, [this] { return Core()->LocalHost(); });
  }
  STDMETHODIMP get_SenderHost(BSTR* result) override {
    return Get(result, [this] { return Core()->SenderHost(); });
  }
  STDMETHODIMP get_SenderPort(LONG* result) override {
    return Get(result, [this] { return Core()->SenderPort(); });
  }

 private:
  Subscription onConnected_;
  Subscription onClosed_;
  Subscription onDataArrival_;
  Subscription onError_;
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<SocketControl>& socket) {
  return WrapAs<ComSocketControl>(module, socket);
}

}  // namespace tarn
