#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace standin {

/// A record that is handed to a module, between guard words that reveal writes past either end.
template <class Record>
class Guarded {
 public:
  Guarded() = default;
  explicit Guarded(const Record& record) : record_(record) {}

  Record& operator*() noexcept { return record_; }
  const Record& operator*() const noexcept { return record_; }
  Record* operator->() noexcept { return &record_; }
  const Record* operator->() const noexcept { return &record_; }

  /// Word by word: comparing arrays would be a call into the C library for every ray.
  bool intact() const noexcept {
    return ((before_[0] ^ guard[0]) | (before_[1] ^ guard[1]) | (after_[0] ^ guard[0]) | (after_[1] ^ guard[1])) == 0;
  }

 private:
  using Words = std::array<std::uint64_t, 2>;
  static constexpr Words guard{0x5AFE'C0DE'0BAD'F00D, 0x1357'9BDF'0246'8ACE};

  Words before_ = guard;
  Record record_{};
  Words after_ = guard;
};

}  // namespace standin
