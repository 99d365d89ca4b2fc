#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace standin {

/// Things that a module knows by an opaque handle. A handle is a number, never an address: one that was destroyed or
/// never given out is recognised rather than followed. `kind` (1 to 0x7FFF) tells handles of different tables apart.
/// Threads: `find` from any number at once, without locks; add and take are serialised. A value must not be
/// taken while another thread uses it.
template <class Value, class Handle, std::uint64_t kind>
class HandleTable {
 public:
  Handle add(std::unique_ptr<Value> value) {
    const std::lock_guard lock(mutex_);
    if (free_.empty()) {
      if (used_ == blocks_.size() * block_size) return nullptr;
      if (used_ % block_size == 0) {
        storage_.push_back(std::make_unique<Block>());
        blocks_[used_ / block_size].store(storage_.back().get(), std::memory_order_release);
      }
      free_.push_back(used_++);
    }
    const std::uint32_t index = free_.back();
    free_.pop_back();
    Slot& slot = (*storage_[index / block_size])[index % block_size];
    slot.owner = std::move(value);
    slot.value.store(slot.owner.get(), std::memory_order_release);
    ++alive_;
    return encode(index, slot.generation.load(std::memory_order_relaxed));
  }

  /// Null when the handle does not refer to a living value of this table.
  Value* find(Handle handle) const noexcept {
    Slot* slot = slot_of(handle);
    return slot != nullptr ? slot->value.load(std::memory_order_acquire) : nullptr;
  }

  /// Takes the value out of the table; null when the handle does not refer to one.
  std::unique_ptr<Value> take(Handle handle) {
    const std::lock_guard lock(mutex_);
    Slot* slot = slot_of(handle);
    if (slot == nullptr || slot->owner == nullptr) return nullptr;
    slot->value.store(nullptr, std::memory_order_release);
    slot->generation.store((slot->generation.load(std::memory_order_relaxed) + 1) & generation_mask, std::memory_order_release);
    free_.push_back(index_of(handle));
    --alive_;
    return std::move(slot->owner);
  }

  /// Every living value with its handle. `visit` must not add or take.
  void for_each(const std::function<void(Handle, Value&)>& visit) const {
    const std::lock_guard lock(mutex_);
    for (std::uint32_t index = 0; index < used_; ++index) {
      const Slot& slot = (*storage_[index / block_size])[index % block_size];
      if (slot.owner != nullptr) visit(encode(index, slot.generation.load(std::memory_order_relaxed)), *slot.owner);
    }
  }

  std::size_t alive() const {
    const std::lock_guard lock(mutex_);
    return alive_;
  }

 private:
  static_assert(kind > 0 && kind < 0x8000);
  static constexpr std::uint32_t block_size = 1024;
  static constexpr std::uint32_t generation_mask = 0xFFFFFF;
  static constexpr std::uint32_t index_mask = 0xFFFFFF;

  struct Slot {
    std::atomic<Value*> value = nullptr;
    std::atomic<std::uint32_t> generation = 1;
    std::unique_ptr<Value> owner;
  };
  using Block = std::array<Slot, block_size>;

  /// The top bits make the number an address that no processor accepts.
  static Handle encode(std::uint32_t index, std::uint32_t generation) noexcept {
    return reinterpret_cast<Handle>((kind << 48) | (static_cast<std::uint64_t>(generation) << 24) | index);
  }
  static std::uint32_t index_of(Handle handle) noexcept {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uint64_t>(handle)) & index_mask;
  }

  Slot* slot_of(Handle handle) const noexcept {
    const auto word = reinterpret_cast<std::uint64_t>(handle);
    const std::uint32_t index = index_of(handle);
    if (word >> 48 != kind || index / block_size >= blocks_.size()) return nullptr;
    Block* block = blocks_[index / block_size].load(std::memory_order_acquire);
    if (block == nullptr) return nullptr;
    Slot& slot = (*block)[index % block_size];
    return slot.generation.load(std::memory_order_acquire) == ((word >> 24) & generation_mask) ? &slot : nullptr;
  }

  mutable std::mutex mutex_;
  std::array<std::atomic<Block*>, 4096> blocks_{};
  std::vector<std::unique_ptr<Block>> storage_;
  std::vector<std::uint32_t> free_;
  std::uint32_t used_ = 0;
  std::size_t alive_ = 0;
};

}  // namespace standin
