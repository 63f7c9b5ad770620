// The enumerators of COM, each over a snapshot of what it lists.
#pragma once

#include <windows.h>

#include <cstddef>
#include <new>
#include <utility>
#include <vector>

#include "automation/com_unknown.hpp"

namespace tarn {

/// `Item` owns its contents; `Give(item)` makes the element that a client gets and keeps.
template <class Interface, class Element, class Item>
class ComEnumerator final : public CountedObject<Interface> {
 public:
  using Give = Element (*)(const Item& item);

  ComEnumerator(std::vector<Item> items, Give give, std::size_t next = 0)
      : items_(std::move(items)), give_(give), next_(next) {}

  STDMETHODIMP Next(ULONG count, Element* elements, ULONG* fetched) override {
    ULONG given = 0;
    while (given < count && next_ < items_.size()) elements[given++] = give_(items_[next_++]);
    if (fetched != nullptr) *fetched = given;
    return given == count ? S_OK : S_FALSE;
  }
  STDMETHODIMP Skip(ULONG count) override {
    const bool enough = count <= items_.size() - next_;
    next_ = enough ? next_ + count : items_.size();
    return enough ? S_OK : S_FALSE;
  }
  STDMETHODIMP Reset() override {
    next_ = 0;
    return S_OK;
  }
  STDMETHODIMP Clone(Interface** copy) override {
    *copy = new (std::nothrow) ComEnumerator(items_, give_, next_);
    return *copy ? S_OK : E_OUTOFMEMORY;
  }

 private:
  std::vector<Item> items_;
  Give give_;
  std::size_t next_;
};

}  // namespace tarn
