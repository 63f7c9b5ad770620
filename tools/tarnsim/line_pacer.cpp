#include "tools/tarnsim/line_pacer.hpp"

#include <algorithm>
#include <cmath>

namespace tarn::sim {
namespace {

// Of a character: keeps rounding from calling a character unfinished at the moment it ends.
constexpr double kRounding = 1e-6;

}  // namespace

void LinePacer::Send(std::string_view bytes, double start, std::size_t lineCharacters) {
  bytes_.assign(bytes);
  next_ = 0;
  start_ = std::max(start, freeAt_);
  const auto characters = static_cast<double>(std::max(bytes.size(), lineCharacters));
  freeAt_ = start_ + characters * characterTime_;
}

void LinePacer::Carry(double now, std::string& carried) {
  if (!Busy() || now <= start_) return;
  const double passed = std::floor((now - start_) / characterTime_ + kRounding);
  const auto end = static_cast<std::size_t>(std::min(passed, static_cast<double>(bytes_.size())));
  if (end <= next_) return;
  carried.append(bytes_, next_, end - next_);
  next_ = end;
}

}  // namespace tarn::sim
