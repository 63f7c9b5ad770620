// Connections, protocols and data objects that clients implement, as objects of the core.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <memory>

#include "automation/com_module.hpp"
#include "automation/contract_calls.hpp"
#include "scale/contracts.hpp"
#include "scale/summit_data.hpp"
#include "shareddata/summit_config.hpp"

namespace tarn {

/// The side of an adapter that shows whose object it stands for.
class ClientMade {
 public:
  explicit ClientMade(std::shared_ptr<ContractCalls> object) : object_(std::move(object)) {}
  ClientMade(const ClientMade&) = delete;
  ClientMade& operator=(const ClientMade&) = delete;
  virtual ~ClientMade() = default;

  ContractCalls& Object() const { return *object_; }

 private:
  std::shared_ptr<ContractCalls> object_;
};

/// None for an object of the server's own.
template <class Core>
const ClientMade* AsClientMade(const std::shared_ptr<Core>& object) {
  return dynamic_cast<const ClientMade*>(object.get());
}

}  // namespace tarn
