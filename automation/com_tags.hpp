// The variables of a terminal, their collections, and the messages that carry them.
#pragma once

#include <TarnSclServer.h>

#include <memory>
#include <utility>
#include <vector>

#include "automation/com_object.hpp"
#include "automation/tag_variants.hpp"
#include "shareddata/kes_message.hpp"
#include "shareddata/sd_variables.hpp"

namespace tarn {
class ComTagInfo final : public ComObject<::SDTagInfo, ::__SDTagInfo, SDTagInfo, ::_SDTagInfo> {
 public:
  ComTagInfo(ComModule& module, std::shared_ptr<SDTagInfo> tag)
      : ComObject(module, std::move(tag)) {
    Pass(Core().NewData, 1);
  }

  COM_PROPERTY(BSTR, EasyIndex)
  COM_PROPERTY(VARIANT_BOOL, Writable)
  COM_GET(VARIANT_BOOL, Polled)
  STDMETHODIMP put_TagData(VARIANT value) override {
    return Guarded([&] { Core().TagData(ToTagValue(Module(), value)); });
  }
  STDMETHODIMP putref_TagData(VARIANT value) override { return put_TagData(value); }
  COM_GET(VARIANT, TagData)
  COM_PROPERTY(SHORT, TagDataLen)
  COM_PROPERTY(::SDTagType, TagType)
  COM_PROPERTY(BSTR, TagName)
  COM_PROPERTY(VARIANT_BOOL, TriggerRequired)
};

inline VARIANT GiveVariant(const Variant& value) {
  return Variant(value).Detach();
}

class ComVariables final : public ComObject<::SDVariables, void, SDVariables, ::_SDVariables> {
 public:
  using ComObject::ComObject;

  /// What is neither a key nor a position is not there either.
  STDMETHODIMP get_Item(VARIANT vntIndexKey, ::_SDTagInfo** result) override {
    return Get(result, [&]() -> SDVariables::Tag {
      Variant key;
      if (FAILED(VariantCopyInd(key.Get(), &vntIndexKey))) return nullptr;
      if (V_VT(key.Get()) == VT_BSTR) return Core().Item(Text(V_BSTR(key.Get())));
      if (FAILED(ConvertTo(VT_I4, *key.Get()))) return nullptr;
      return Core().Item(std::int32_t{V_I4(key.Get())});
    });
  }
  COM_GET(LONG, Count)
  /// Over the tags that there are now.
  STDMETHODIMP get_NewEnum(IUnknown** result) override {
    *result = nullptr;
    return Guarded([&] {
      std::vector<Variant> tags;
      for (std::int32_t position = 1; position <= Core().Count(); ++position) {
        Variant tag;
        V_VT(tag.Get()) = VT_DISPATCH;
        V_DISPATCH(tag.Get()) =
            Wrap(Module(), Core().Item(position)).As<IDispatch>(IID_IDispatch).Detach();
        tags.push_back(std::move(tag));
      }
      *result = new ComEnumerator<IEnumVARIANT, VARIANT, Variant>(std::move(tags), GiveVariant);
    });
  }
};

class ComKesMessage final : public ComObject<::KesMessage, void, KesMessage, ::_KesMessage> {
 public:
  using ComObject::ComObject;
};

}  // namespace tarn
