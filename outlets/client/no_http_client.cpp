#include "outlets/client/http_client.hpp"

namespace tarn {

std::unique_ptr<HttpClient> CreateHttpClient(MessageLoop& /*loop*/,
                                             DescriptorWatcher* /*descriptors*/,
                                             ServerPlace /*place*/) {
  return nullptr;
}

}  // namespace tarn
