#include "automation/class_table.hpp"

#include <TarnSclServer.h>

#include <memory>

#include "automation/client_adapters.hpp"
#include "automation/com_connections.hpp"
#include "automation/com_protocols.hpp"
#include "automation/com_summit_config.hpp"
#include "automation/com_summit_data.hpp"
#include "automation/com_tags.hpp"
#include "automation/com_templates.hpp"

namespace tarn {
namespace {

template <class Class>
constexpr std::string_view NameOf() {
  if constexpr (requires { Class::kName; })
    return Class::kName;
  else
    return Class::Kind::kClassName;
}

template <class Class>
ComPtr<IUnknown> WrapRow(ComModule& module, const std::shared_ptr<Persistable>& object) {
  return WrapAs<Class>(module, std::static_pointer_cast<typename Class::Kind>(object));
}

/// CLSID, name and wrapper follow from the class of the COM object. Settings files know the class
/// by the same name.
template <class Class>
constexpr CreatableClass Creatable() {
  const auto create = [](ComModule& module) {
    return WrapAs<Class>(module,
                         NewObject<typename Class::Kind>(*module.ClientSite(), NameOf<Class>()));
  };
  return {&__uuidof(typename Class::Class), create, NameOf<Class>(), WrapRow<Class>};
}

ComPtr<IUnknown> CreateMessage(ComModule& module) {
  return WrapAs<ComKesMessage>(module, std::make_shared<KesMessage>(module.System().Locale()));
}

/// One row for each class that clients may create.
constexpr CreatableClass kClasses[] = {
    {&CLSID_TarnServerConnection, CreateServerConnection, {}, nullptr},
    {&CLSID_KesMessage, CreateMessage, {}, nullptr},
    Creatable<ComConnection>(),
    Creatable<ComArcNetConnection>(),
    Creatable<ComEthernetConnection>(),
    Creatable<ComNoConnection>(),
    Creatable<ComSerialConnection>(),
    Creatable<ComProtocol>(),
    Creatable<ComNoProtocol>(),
    Creatable<ComContinuousProtocol>(),
    Creatable<ComMiraProtocol>(),
    Creatable<ComGenericProtocol>(),
    Creatable<ComDemandTemplateProtocol>(),
    Creatable<ComKesDemandTemplateProtocol>(),
    Creatable<ComKesSDProtocol>(),
    Creatable<ComSummitProtocol>(),
    Creatable<ComTemplateConfig>(),
    Creatable<ComTagInfo>(),
    Creatable<ComSummitConfig>(),
    Creatable<ComScaleDiagConfig>(),
    Creatable<ComPredictFailureConfig>(),
    Creatable<ComOrbixDiagConfig>(),
    Creatable<ComKesBasicConfig>(),
    Creatable<ComSummitData>(),
    Creatable<ComScaleDiagData>(),
    Creatable<ComPredictFailureData>(),
    Creatable<ComOrbixDiagData>(),
    Creatable<ComKesBasicData>(),
};

/// A class without a row shows the face of its contract, `Base`.
template <class Base>
ComPtr<IUnknown> WrapByClass(ComModule& module,
                             const std::shared_ptr<typename Base::Kind>& object) {
  if (!object) return {};
  if (const auto* made = AsClientMade(object)) return made->Object().Own();
  for (const CreatableClass& row : kClasses) {
    if (row.name == object->ClassName()) return row.wrap(module, object);
  }
  return WrapAs<Base>(module, object);
}

}  // namespace

std::span<const CreatableClass> CreatableClasses() {
  return kClasses;
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_Connection>& connection) {
  return WrapByClass<ComConnection>(module, connection);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_Protocol>& protocol) {
  return WrapByClass<ComProtocol>(module, protocol);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_SummitConfig>& config) {
  return WrapByClass<ComSummitConfig>(module, config);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_SummitData>& data) {
  return WrapByClass<ComSummitData>(module, data);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TarnRecordTemplateConfig>& config) {
  return WrapAs<ComTemplateConfig>(module, config);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<SDTagInfo>& tag) {
  return WrapAs<ComTagInfo>(module, tag);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<SDVariables>& variables) {
  return WrapAs<ComVariables>(module, variables);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<KesMessage>& message) {
  return WrapAs<ComKesMessage>(module, message);
}

}  // namespace tarn
