// How a data object reads and writes single variables through the engine that it belongs to.
#pragma once

#include <memory>

#include "shareddata/sd_tag_info.hpp"
#include "shareddata/summit_config.hpp"

namespace tarn {

class TagAccess {
 public:
  TagAccess() = default;
  TagAccess(const TagAccess&) = delete;
  TagAccess& operator=(const TagAccess&) = delete;
  virtual ~TagAccess() = default;

  virtual std::shared_ptr<_SummitConfig> Configuration() const = 0;

  /// Reads the variable into the tag and waits for it in the message loop, about half a second at
  /// most: everything else goes on meanwhile, and may change everything. READ_FAILURE without an
  /// answer, and at once while another read waits. RW_SUCCESS says only that the terminal answered.
  virtual SDAccessStatus ReadTag(const std::shared_ptr<SDTagInfo>& tag) = 0;

  /// Sends the value in the tag's type; no answer is awaited. WRONG_DATA_TYPE where it does not
  /// convert, WRITE_FAILURE where it cannot be sent.
  virtual SDAccessStatus WriteTag(const std::shared_ptr<SDTagInfo>& tag, const TagValue& value) = 0;
};

/// A data object that uses the access. The engine passes it in when it connects and before every
/// round.
class TagAccessUser {
 public:
  TagAccessUser() = default;
  TagAccessUser(const TagAccessUser&) = delete;
  TagAccessUser& operator=(const TagAccessUser&) = delete;
  virtual ~TagAccessUser() = default;

  virtual void Access(const std::weak_ptr<TagAccess>& access) = 0;
};

}  // namespace tarn
