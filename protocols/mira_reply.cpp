#include "protocols/mira_reply.hpp"

#include <algorithm>

namespace tarn {
namespace {

constexpr char kBlank = ' ';

std::string_view TakeToken(std::string_view& line) {
  const std::string_view token = line.substr(0, line.find(kBlank));
  line.remove_prefix(token.size());
  line.remove_prefix(std::min(line.find_first_not_of(kBlank), line.size()));
  return token;
}

}  // namespace

MiraReply SplitMiraReply(std::string_view line) {
  MiraReply reply;
  reply.Name = TakeToken(line);
  reply.Status = TakeToken(line);
  reply.Value = TakeToken(line);
  reply.Unit = TakeToken(line);
  return reply;
}

}  // namespace tarn
