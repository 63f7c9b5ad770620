#include "tools/tarnsim/fixed_terminal.hpp"

#include <algorithm>

namespace tarn::sim {

void FixedTerminal::Receive(std::string_view bytes) {
  if (bytes.find(kEnq) == std::string_view::npos) return;
  askedAt_ = std::min(askedAt_, Now());
  Noted.Raise("asked");
}

double FixedTerminal::NextStart(double earliest) {
  return IsPolled(options_.frame.layout) ? std::max(askedAt_, earliest) : clock_.Next(earliest);
}

std::string FixedTerminal::NextFrame(double start) {
  clock_.Began(start);
  askedAt_ = kNever;
  return BuildFixedFrame(options_.frame, Scale().Present());
}

}  // namespace tarn::sim
