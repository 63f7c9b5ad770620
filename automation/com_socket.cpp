// The object behind mvarSocket.
//
// The network carries bytes; clients send and read them as text of the single-byte code page or as
// arrays of bytes.
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

class ComSocketControl final
    : public ComObject<::SocketControl, ::__SocketControl, SocketControl, ::_SocketControl> {
 public:
  ComSocketControl(ComModule& module, std::shared_ptr<SocketControl> socket)
      : ComObject(module, std::move(socket)) {
    Pass(Core().Connected, 1);
    Pass(Core().Closed, 2);
    Pass(Core().DataArrival, 3);
    Pass(Core().Error, 4);
  }

  STDMETHODIMP put_Protocol(SHORT value) override {
    return Guarded([&] {
      if (value != 0 && value != 1) {
        throw AutomationError(ErrorNumber::InvalidPropertyValue, "Protocol is 0 (TCP) or 1 (UDP)");
      }
      Core().Transport(SocketTransport{value});
    });
  }
  STDMETHODIMP get_Protocol(SHORT* result) override {
    return Get(result, [this] { return Core().Transport(); });
  }
  COM_PROPERTY(LONG, LocalPort)
  COM_PROPERTY(BSTR, RemoteHost)
  COM_PROPERTY(LONG, RemotePort)
  COM_GET(SHORT, State)
  COM_GET(LONG, BytesReceived)
  COM_CALL(Close)
  STDMETHODIMP Bind(VARIANT LocalPort) override {
    return Guarded(
        [&] { Core().Bind(IsLeftOut(LocalPort) ? Core().LocalPort() : LongFrom(LocalPort)); });
  }
  STDMETHODIMP Connect(VARIANT RemoteHost, VARIANT RemotePort) override {
    return Guarded([&] {
      if (!IsLeftOut(RemoteHost)) Core().RemoteHost(TextFrom(RemoteHost));
      if (!IsLeftOut(RemotePort)) Core().RemotePort(LongFrom(RemotePort));
      Core().Connect();
    });
  }
  STDMETHODIMP SendData(VARIANT Data) override {
    return Guarded([&] {
      if ((V_VT(&Data) & VT_ARRAY) != 0) {
        const auto bytes = BytesOf(V_ARRAY(Converted(Data, kBytes).Get()));
        Core().SendData({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
      } else {
        Core().SendData(Module().System().Locale().ToBytes(TextFrom(Data)));
      }
    });
  }
  /// Without a type the variable's own decides, so that an array of bytes gets bytes.
  STDMETHODIMP GetData(VARIANT* Data, VARIANT Type) override {
    return Guarded([&] {
      const bool bytes = IsLeftOut(Type) ? V_VT(Data) == kBytes : LongFrom(Type) == kBytes;
      const std::string read = Core().GetData();
      VariantClear(Data);
      if (bytes) {
        V_ARRAY(Data) = NewArray(read, 0);
      } else {
        V_BSTR(Data) = NewText(Module().System().Locale().FromBytes(read));
      }
      V_VT(Data) = bytes ? kBytes : static_cast<VARTYPE>(VT_BSTR);
    });
  }

  COM_PROPERTY(BSTR, LocalHost)
  COM_GET(BSTR, SenderHost)
  COM_GET(LONG, SenderPort)
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<SocketControl>& socket) {
  return WrapAs<ComSocketControl>(module, socket);
}

}  // namespace tarn
