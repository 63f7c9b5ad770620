// The connection to the server, the server, and the object behind LogFile.
#include <TarnSclServer.h>

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "automation/class_table.hpp"
#include "automation/client_list.hpp"
#include "automation/client_reference.hpp"
#include "automation/com_object.hpp"
#include "server/tarn_scale_server.hpp"
#include "server/tarn_server_connection.hpp"

namespace tarn {
namespace {

class ComServerConnection final : public ComObject<::TarnServerConnection, void,
                                                   TarnServerConnection, ::_TarnServerConnection> {
 public:
  using ComObject::ComObject;
  ~ComServerConnection() override { Module().Clients().Gone(static_cast<First*>(this)); }

  STDMETHODIMP get_TarnScaleServer(LONG* eCompNo, ::_TarnScaleServer** result) override {
    return GetKept(server_, result, [&] {
      std::int32_t number = *eCompNo;
      return Core().TarnScaleServer(number);
    });
  }

 private:
  Kept server_{Module()};
};

/// A client's own object with a WriteLine, as a log stream.
class ClientTextStream final : public TextStream {
 public:
  explicit ClientTextStream(std::shared_ptr<ClientReference> client) : client_(std::move(client)) {}

  void WriteLine(std::string_view text) override {
    if (IsGone()) ThrowObjectNotSet("The client that gave the log is gone");
    if (FAILED(client_->Call(L"WriteLine", {Variant(ToWide(text))}))) {
      throw AutomationError(ErrorNumber::DeviceInputOutput, "The client's log does not answer");
    }
  }
  /// The client has every line by now, and what it does at the end concerns nobody else; it need
  /// not have such a member.
  void Close() override {
    if (!IsGone()) client_->Call(L"Close", {});
  }

  /// None once the client is gone.
  ComPtr<IUnknown> Own() const {
    return IsGone() ? ComPtr<IUnknown>() : client_->ForThisApartment({IID_IDispatch});
  }

 private:
  bool IsGone() const { return client_->IsLost(); }

  std::shared_ptr<ClientReference> client_;
};

class ComTextStream final : public ComObject<::TextStream, void, TextStream, ::_TextStream> {
 public:
  using ComObject::ComObject;

  STDMETHODIMP WriteLine(BSTR text) override {
    return Guarded([&] { Core().WriteLine(tarn::Text(text)); });
  }
  COM_CALL(Close)
};

class ComScaleServer final
    : public ComObject<::TarnScaleServer, ::__TarnScaleServer, TarnScaleServer, ::_TarnScaleServer,
                       ::_ClientListingServer> {
 public:
  ComScaleServer(ComModule& module, std::shared_ptr<TarnScaleServer> server)
      : ComObject(module, std::move(server)) {
    Pass(Core().InfoMessage, 1);
    for (int i = 0; i < kScaleCount; ++i) scales_.emplace_back(Module());
  }

  COM_OBJECT(IDispatch, LogFile)
  COM_PROPERTY(VARIANT_BOOL, LoggingEnabled)
  COM_GET(VARIANT_BOOL, SummitEnabled)
  COM_PROPERTY(BSTR, CurrentLogName)
  COM_PROPERTY(VARIANT_BOOL, CurrentFileNew)
  COM_PROPERTY(VARIANT_BOOL, CurrentFileDirty)
  COM_PROPERTY(BSTR, CurrentFileName)
  STDMETHODIMP GetServerPath(LONG value, BSTR* result) override {
    return Get(result, [&] { return Core().GetServerPath(value); });
  }
  STDMETHODIMP LoadScaleSettings(VARIANT_BOOL INITNEW) override {
    return Guarded([&] {
      for (Kept& scale : scales_) scale.LetGo();
      Core().LoadScaleSettings(IsTrue(INITNEW));
    });
  }
  COM_CALL(SaveScaleSettings)
  COM_CALL(SetComPortsUsed)
  STDMETHODIMP GetComPortUsed(LONG portNo, VARIANT_BOOL* result) override {
    return Get(result, [&] { return Core().GetComPortUsed(portNo); });
  }
  COM_CALL(RunAllScales)
  COM_CALL(StopAllScales)
  STDMETHODIMP GetScale(SHORT sno, ::_TarnScale** result) override {
    const auto read = [&] { return Core().GetScale(sno); };
    if (sno < 1 || sno > kScaleCount) return Get(result, read);
    return GetKept(scales_[static_cast<std::size_t>(sno - 1)], result, read);
  }
  STDMETHODIMP get_Clients(SAFEARRAY** result) override {
    *result = nullptr;
    return Guarded([&] { *result = ListClients(Module()); });
  }

 private:
  std::deque<Kept> scales_;  ///< by their numbers
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TarnScaleServer>& server) {
  return WrapAs<ComScaleServer>(module, server);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TextStream>& stream) {
  if (const auto* made = dynamic_cast<const ClientTextStream*>(stream.get())) return made->Own();
  return WrapAs<ComTextStream>(module, stream);
}

template <>
std::shared_ptr<TextStream> ObjectFrom(ComModule& module, IUnknown* object) {
  if (object == nullptr) return nullptr;
  if (OwnObject(module, object)) return CoreOf<TextStream>(module, object);
  std::shared_ptr<ClientReference> client;
  if (FAILED(ClientReference::Create(module.CallsOut(), object, IID_IDispatch, IID_IDispatch,
                                     client))) {
    ThrowTypeMismatch();
  }
  return std::make_shared<ClientTextStream>(std::move(client));
}

ComPtr<IUnknown> CreateServerConnection(ComModule& module) {
  return WrapAs<ComServerConnection>(module,
                                     std::make_shared<TarnServerConnection>(module.System()));
}

}  // namespace tarn
