#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace tool {

/// Where bytes are written one after the other, and again to earlier places. Failures throw std::runtime_error. Threads: one.
class RandomOutput {
 public:
  RandomOutput() = default;
  RandomOutput(const RandomOutput&) = delete;
  RandomOutput& operator=(const RandomOutput&) = delete;
  virtual ~RandomOutput() = default;

  /// What a person knows it by.
  virtual std::string title() const = 0;
  virtual void write(std::span<const std::byte> bytes) = 0;
  /// Bytes from the start to where the next one is written.
  virtual std::uint64_t position() = 0;
  virtual void move_to(std::uint64_t position) = 0;
  [[noreturn]] virtual void fail(const std::string& reason) const = 0;
};

}  // namespace tool
