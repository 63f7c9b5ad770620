// The variables of a terminal, their collections, and the messages that carry them.
#include <TarnSclServer.h>

#include <memory>
#include <utility>
#include <vector>

#include "automation/com_object.hpp"
#include "automation/tag_variants.hpp"
#include "shareddata/kes_message.hpp"
#include "shareddata/sd_variables.hpp"

namespace tarn {
namespace {

class ComTagInfo final : public ComObject<::SDTagInfo, ::__SDTagInfo, SDTagInfo, ::_SDTagInfo> {
 public:
  ComTagInfo(ComModule& module, std::shared_ptr<SDTagInfo> tag)
      : ComObject(module, std::move(tag)) {
    onNewData_ = Core()->NewData.Subscribe(Pass(1));
  }

  STDMETHODIMP put_EasyIndex(BSTR value) override {
    return Guarded([&] { Core()->EasyIndex(Text(value)); });
  }
  STDMETHODIMP get_EasyIndex(BSTR* result) override {
    return Get(result, [this] { return Core()->EasyIndex(); });
  }
  STDMETHODIMP put_Writable(VARIANT_BOOL value) override {
    return Guarded([&] { Core()->Writable(IsTrue(value)); });
  }
  STDMETHODIMP get_Writable(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->Writable(); });
  }
  STDMETHODIMP get_Polled(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->Polled(); });
  }
  STDMETHODIMP put_TagData(VARIANT value) override {
    return Guarded([&] { Core()->TagData(ToTagValue(Module(), value)); });
  }
  STDMETHODIMP putref_TagData(VARIANT value) override { return put_TagData(value); }
  STDMETHODIMP get_TagData(VARIANT* result) override {
    *result = Variant().Detach();
    return Guarded([&] { *result = ToVariant(Core()->TagData()).Detach(); });
  }
  STDMETHODIMP put_TagDataLen(SHORT value) override {
    return Guarded([&] { Core()->TagDataLen(value); });
  }
  STDMETHODIMP get_TagDataLen(SHORT* result) override {
    return Get(result, [this] { return Core()->TagDataLen(); });
  }
  STDMETHODIMP put_TagType(::SDTagType value) override {
    return Guarded([&] { Core()->TagType(SDTagType{value}); });
  }
  STDMETHODIMP get_TagType(::SDTagType* result) override {
    return Get(result, [this] { return Core()->TagType(); });
  }
  STDMETHODIMP put_TagName(BSTR value) override {
    return Guarded([&] { Core()->TagName(Text(value)); });
  }
  STDMETHODIMP get_TagName(BSTR* result) override {
    return Get(result, [this] { return Core()->TagName(); });
  }
  STDMETHODIMP put_TriggerRequired(VARIANT_BOOL value) override {
    return Guarded([&] { Core()->TriggerRequired(IsTrue(value)); });
  }
  STDMETHODIMP get_TriggerRequired(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->TriggerRequired(); });
  }

 private:
  Subscription onNewData_;
};

VARIANT GiveVariant(const Variant& value) {
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
      if (V_VT(key.Get()) == VT_BSTR) return Core()->Item(Text(V_BSTR(key.Get())));
      if (IsObject(*key.Get()) || FAILED(VariantChangeType(key.Get(), key.Get(), 0, VT_I4))) {
        return nullptr;
      }
      return Core()->Item(std::int32_t{V_I4(key.Get())});
    });
  }
  STDMETHODIMP get_Count(LONG* result) override {
    return Get(result, [this] { return Core()->Count(); });
  }
  /// Over the tags that there are now.
  STDMETHODIMP get_NewEnum(IUnknown** result) override {
    *result = nullptr;
    return Guarded([&] {
      std::vector<Variant> tags;
      for (std::int32_t position = 1; position <= Core()->Count(); ++position) {
        Variant tag;
        V_VT(tag.Get()) = VT_DISPATCH;
        V_DISPATCH(tag.Get()) =
            Wrap(Module(), Core()->Item(position)).As<IDispatch>(IID_IDispatch).Detach();
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

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<SDTagInfo>& tag) {
  return WrapAs<ComTagInfo>(module, tag);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<SDVariables>& variables) {
  return WrapAs<ComVariables>(module, variables);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<KesMessage>& message) {
  return WrapAs<ComKesMessage>(module, message);
}

}  // namespace tarn
