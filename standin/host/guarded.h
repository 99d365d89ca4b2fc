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

  bool intact() const noexcept { return before_ == guard && after_ == guard; }

 private:
  using Words = std::array<std::uint64_t, 2>;
  static constexpr Words guard{0x5AFE'C0DE'0BAD'F00D, 0x1357'9BDF'0246'8ACE};

  Words before_ = guard;
  Record record_{};
  Words after_ = guard;
};

}  // namespace standin
