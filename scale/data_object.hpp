// What a scale hands out by name through GetAxDataObj.
#pragma once

namespace tarn {

/// Whoever writes to a data object holds it while the call lasts, since the handlers of its events
/// may let go of everything else that does.
class DataObject {
 public:
  DataObject() = default;
  DataObject(const DataObject&) = delete;
  DataObject& operator=(const DataObject&) = delete;
  virtual ~DataObject() = default;
};

}  // namespace tarn
