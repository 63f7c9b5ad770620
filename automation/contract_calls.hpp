// Calls to the members of a contract that a client's object implements.
//
// A program implements the contract's interface and is called through its slots. A script's object
// knows late binding only and is called by name; it must have all members of the contract. Either
// way the call is bounded as events are (see OutgoingCalls).
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <memory>
#include <string>
#include <vector>

#include "automation/client_reference.hpp"
#include "automation/com_module.hpp"
#include "automation/com_owners.hpp"
#include "automation/dispatch_table.hpp"

namespace tarn {

class ContractCalls : public std::enable_shared_from_this<ContractCalls> {
 public:
  /// Error 13 for an object that does not implement the contract.
  static std::shared_ptr<ContractCalls> Create(ComModule& module, IUnknown* object,
                                               const IID& contract);

  /// Calls a member; `how` is DISPATCH_METHOD and so on. Object arguments are the server's own. The
  /// answer comes in the wanted type, converted within the call's limit; nothing is wanted by
  /// default, and what is no object is none. With `changed` the only argument, a double, goes by
  /// reference and comes back there. The object is held while the call lasts.
  ///
  /// Throws the client's error where it is a run-time error, error 91 when the client is gone, and
  /// error 440 for everything else. Error 13 for an answer that does not convert.
  Variant Call(DISPID id, WORD how, std::vector<Variant> arguments, VARTYPE wanted = VT_EMPTY,
               Variant* changed = nullptr);

  /// For calls whose failure concerns nobody: it is traced, and the answer is empty. A client that
  /// is gone is not asked any more.
  Variant TryCall(DISPID id, WORD how, std::vector<Variant> arguments,
                  VARTYPE wanted = VT_EMPTY) noexcept;

  /// Whether a program's object implements another interface, too.
  bool Implements(const IID& iid);

  /// The client's own object, by the contract's interface where it has that and by IDispatch, so
  /// that it can be handed on without asking it; none when it does not answer.
  ComPtr<IUnknown> Own();

  ComModule& Module() const { return module_; }

 private:
  ContractCalls(ComModule& module, const IID& contract, std::shared_ptr<ClientReference> client);
  bool HasAllNames();
  bool IsGone() const { return gone_ || client_->IsLost(); }
  [[noreturn]] void Fail(HRESULT result, const std::wstring& description);

  ComModule& module_;
  const IID contract_;
  const DispatchTable& members_;
  std::shared_ptr<ClientReference> client_;
  bool gone_ = false;
};

}  // namespace tarn
