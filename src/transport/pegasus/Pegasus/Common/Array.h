#pragma once

#include <algorithm>
#include <memory>

#include <Pegasus/Common/Exception.h>

namespace Pegasus {

/// A growing sequence. Copies share their elements until one of them changes.
template <typename T>
class Array {
 public:
  Array() noexcept = default;
  Array(const T* items, Uint32 count) {
    Reserve(count);
    for (Uint32 i = 0; i < count; ++i) {
      append(items[i]);
    }
  }

  Uint32 size() const noexcept { return rep_ ? rep_->size : 0; }
  const T* getData() const noexcept { return rep_ ? rep_->items.get() : nullptr; }

  const T& operator[](Uint32 index) const {
    Check(index);
    return rep_->items[index];
  }

  T& operator[](Uint32 index) {
    Check(index);
    Reserve(rep_->capacity);
    return rep_->items[index];
  }

  void reserveCapacity(Uint32 capacity) { Reserve(capacity); }

  void append(T item) {
    if (!rep_ || rep_->size == rep_->capacity || rep_.use_count() > 1) {
      Reserve(std::max<Uint32>(8, size() + size() / 2));
    }
    rep_->items[rep_->size] = std::move(item);
    ++rep_->size;
  }

 private:
  // No std::vector: that of bool has no elements to refer to.
  struct Rep {
    std::unique_ptr<T[]> items;
    Uint32 size = 0;
    Uint32 capacity = 0;
  };

  void Check(Uint32 index) const {
    if (index >= size()) {
      throw IndexOutOfBoundsException();
    }
  }

  /// Makes the elements this object's own, with room for `capacity` of them.
  void Reserve(Uint32 capacity) {
    const bool shared = rep_.use_count() > 1;
    if (rep_ && !shared && capacity <= rep_->capacity) {
      return;
    }
    auto fresh = std::make_shared<Rep>();
    fresh->size = size();
    fresh->capacity = std::max(capacity, fresh->size);
    fresh->items = std::make_unique<T[]>(fresh->capacity);
    for (Uint32 i = 0; i < fresh->size; ++i) {
      fresh->items[i] = shared ? rep_->items[i] : std::move(rep_->items[i]);
    }
    rep_ = std::move(fresh);
  }

  std::shared_ptr<Rep> rep_;
};

}  // namespace Pegasus
