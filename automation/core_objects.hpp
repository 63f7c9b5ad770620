// The COM object of a core object, and the core object of a COM object.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <any>
#include <functional>
#include <memory>
#include <type_traits>

#include "automation/com_module.hpp"
#include "automation/com_owners.hpp"
#include "base/automation_error.hpp"
#include "platform/serial_port.hpp"
#include "platform/socket.hpp"
#include "platform/text_stream.hpp"
#include "platform/timer.hpp"
#include "scale/tarn_scale.hpp"
#include "server/tarn_scale_server.hpp"

namespace tarn {

class KesMessage;
class SDTagInfo;
class SDVariables;
class TarnRecordTemplateConfig;
class _SummitConfig;

// {61254325-3668-4B1C-8CCE-267F338CADA3}
inline constexpr IID kCoreObjectId = {
    0x61254325, 0x3668, 0x4b1c, {0x8c, 0xce, 0x26, 0x7f, 0x33, 0x8c, 0xad, 0xa3}};

/// The way from a COM object back to its core object. No marshaller knows this interface, so a
/// client's own object never has it.
struct ICoreObject : IUnknown {
  /// A shared_ptr to the kind of core object that the class stands for.
  virtual std::any CoreObject() const = 0;
  /// Holds the core object and gives its COM object again; none where that cannot be done.
  virtual std::function<ComPtr<IUnknown>()> WrapAgain() const = 0;
  /// Whether another object may keep this one (ComModule::Keep).
  virtual bool MayBeKept() const = 0;

 protected:
  ~ICoreObject() = default;
};

/// Identifies a core object, whichever kind of pointer holds it.
template <class Core>
const void* IdentityOf(const Core* core) {
  if constexpr (std::is_polymorphic_v<Core>)
    return dynamic_cast<const void*>(core);
  else
    return core;
}

/// The COM object of a core object; null for null. Where a client's own object stands behind the
/// core object, it is that one.
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TarnScaleServer>& server);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TarnScale>& scale);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<ReadingCondition>& condition);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<WeightData>& record);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<PrintData>& record);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TarnRecordTemplateData>& record);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TarnRecordTemplateConfig>& config);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<DataObject>& object);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_SummitData>& data);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_SummitConfig>& config);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<SDTagInfo>& tag);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<SDVariables>& variables);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<KesMessage>& message);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<ActivityTimer>& timer);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_Connection>& connection);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_Protocol>& protocol);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<SerialPort>& port);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<SocketControl>& socket);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<Timer>& timer);
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TextStream>& stream);

/// The way back to the core from an object that a client hands in; null for a client's own object.
/// The object is not asked, since a client may take any time to answer: its identity, which is
/// known on this side, is enough.
inline ComPtr<ICoreObject> OwnObject(const ComModule& module, IUnknown* object) {
  const auto identity = module.MindForeign(object);
  if (!module.IsOwn(identity.Get())) return {};
  return identity.As<ICoreObject>(kCoreObjectId);
}

/// The core object behind a COM object that a client hands in; null for null, error 13 for another
/// kind and for a client's own object.
template <class Kind>
std::shared_ptr<Kind> CoreOf(const ComModule& module, IUnknown* object) {
  if (object == nullptr) return nullptr;
  const auto ours = OwnObject(module, object);
  if (!ours) ThrowTypeMismatch();
  const std::any core = ours->CoreObject();
  const auto* kind = std::any_cast<std::shared_ptr<Kind>>(&core);
  if (kind == nullptr) ThrowTypeMismatch();
  return *kind;
}

/// What a client hands in where a property takes an object: as CoreOf, unless a client's own object
/// may stand there, too.
template <class Kind>
std::shared_ptr<Kind> ObjectFrom(ComModule& module, IUnknown* object) {
  return CoreOf<Kind>(module, object);
}
template <>
std::shared_ptr<_Connection> ObjectFrom(ComModule& module, IUnknown* object);
template <>
std::shared_ptr<_Protocol> ObjectFrom(ComModule& module, IUnknown* object);
template <>
std::shared_ptr<_SummitData> ObjectFrom(ComModule& module, IUnknown* object);
template <>
std::shared_ptr<_SummitConfig> ObjectFrom(ComModule& module, IUnknown* object);
template <>
std::shared_ptr<TextStream> ObjectFrom(ComModule& module, IUnknown* object);

}  // namespace tarn
