// The class factories of the process.
//
// There are two of each class. The one that the system knows lives in the multithreaded apartment,
// where a call tells which process it comes from; it passes the creation on to the one on the
// core's thread.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "automation/com_module.hpp"

namespace tarn {

/// Registers a factory for every creatable class, suspended, so that the system knows the process
/// before anything slow happens; calls are served once the loop runs.
class ClassFactories {
 public:
  /// Throws WindowsError.
  explicit ClassFactories(ComModule& module);
  ClassFactories(const ClassFactories&) = delete;
  ClassFactories& operator=(const ClassFactories&) = delete;
  ~ClassFactories() { Revoke(); }

  void Resume();
  /// Nobody is let in any more.
  void Revoke();

  /// Whose creation it is that is passed on; one at a time.
  struct Caller {
    std::mutex turn;
    std::atomic<DWORD> process = 0;
  };

 private:
  void Register(const CLSID& clsid, IClassFactory* factory);

  ComModule& module_;
  std::shared_ptr<Caller> caller_ = std::make_shared<Caller>();
  std::vector<DWORD> cookies_;
};

}  // namespace tarn
