#include "shareddata/terminal_data.hpp"

#include <algorithm>

namespace tarn {

void TerminalData::CommLossError(bool value) {
  commLossError_ = value;
  if (!value) return;
  Clear();
  NewDataReady.Raise();
  CommLossErrorEvent.Raise();
}

void TerminalData::NoDataError(bool value) {
  noDataError_ = value;
  if (!value) return;
  Clear();
  NewDataReady.Raise();
}

void TerminalData::ResetState() {
  commLossError_ = false;
  noDataError_ = false;
}

TagPlace::TagPlace(std::string_view tagName)
    : prefix(tagName.substr(0, 2)),
      suffix(tagName.substr(tagName.size() - std::min<std::size_t>(tagName.size(), 2))) {
  const char third = tagName.size() > 2 ? tagName[2] : '0';
  if (third >= '1' && third <= '4') scale = third - '0';
}

}  // namespace tarn
