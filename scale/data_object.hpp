// The records that a scale returns by name from GetAxDataObj.
#pragma once

namespace tarn {

/// A caller that writes to a data object must hold a shared pointer to it until the call returns,
/// since handlers of its events may release all others.
class DataObject {
 public:
  DataObject() = default;
  DataObject(const DataObject&) = delete;
  DataObject& operator=(const DataObject&) = delete;
  virtual ~DataObject() = default;
};

}  // namespace tarn
