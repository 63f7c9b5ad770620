// The variables of a terminal, and the messages that carry them.
#include <TarnSclServer.h>

#include <memory>

#include "automation/com_object.hpp"
#include "shareddata/kes_message.hpp"

namespace tarn {
namespace {

class ComKesMessage final : public ComObject<::KesMessage, void, KesMessage, ::_KesMessage> {
 public:
  using ComObject::ComObject;
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<KesMessage>& message) {
  return WrapAs<ComKesMessage>(module, message);
}

ComPtr<IUnknown> Wrap(ComModule& /*module*/, const std::shared_ptr<SDTagInfo>& /*tag*/) {
  return {};
}

}  // namespace tarn
