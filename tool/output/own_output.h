#pragma once

#include <memory>
#include <optional>
#include <streambuf>

#include "tool/output/plain_text.h"

namespace tool {

/// Reserves standard output for std::cout: while this lives, what a module prints in this process goes to standard error.
/// Control characters are shown as PlainText does.
/// Construct it before anything is written or opened: standard streams that are closed are made to lead nowhere, so that no
/// other file takes their place. Threads: one.
class OwnOutput {
 public:
  OwnOutput();
  ~OwnOutput();
  OwnOutput(const OwnOutput&) = delete;
  OwnOutput& operator=(const OwnOutput&) = delete;

  /// Writes what std::cout still holds. Throws std::runtime_error when any of the output so far did not arrive.
  void flush();

 private:
  class Buffer;
  std::unique_ptr<Buffer> buffer_;
  std::streambuf* shared_ = nullptr;
  std::optional<PlainTextOf> plain_;
};

}  // namespace tool
