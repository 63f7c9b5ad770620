#include "shareddata/sd_tag_info.hpp"

namespace tarn {

void SDTagInfo::ReadProperties(const PropertyBag& bag) {
  easyIndex_ = bag.ReadText("EasyIndex", "");
  writable_ = bag.ReadBoolean("Writable", false);
  polled_ = bag.ReadBoolean("Polled", false);
  tagDataLen_ = bag.ReadInteger("TagDataLen", 0);
  tagType_ = SDTagType{bag.ReadLong("TagType", 0)};
  tagName_ = bag.ReadText("TagName", "");
  triggerRequired_ = bag.ReadBoolean("TriggerRequired", false);
}

void SDTagInfo::WriteProperties(PropertyBag& bag) const {
  bag.WriteText("EasyIndex", easyIndex_, "");
  bag.WriteBoolean("Writable", writable_, false);
  bag.WriteBoolean("Polled", polled_, false);
  bag.WriteInteger("TagDataLen", tagDataLen_, 0);
  bag.WriteLong("TagType", static_cast<std::int32_t>(tagType_), 0);
  bag.WriteText("TagName", tagName_, "");
  bag.WriteBoolean("TriggerRequired", triggerRequired_, false);
}

}  // namespace tarn
