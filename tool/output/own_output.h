#pragma once

#include <ext/stdio_filebuf.h>
#include <memory>
#include <streambuf>

namespace tool {

/// Reserves standard output for std::cout: while this lives, what a module prints in this process goes to standard error.
/// Construct it before anything is written. Threads: one.
class OwnOutput {
 public:
  OwnOutput();
  ~OwnOutput();
  OwnOutput(const OwnOutput&) = delete;
  OwnOutput& operator=(const OwnOutput&) = delete;

 private:
  /// Null when there is no standard output to reserve.
  std::unique_ptr<__gnu_cxx::stdio_filebuf<char>> kept_;
  std::streambuf* shared_ = nullptr;
};

}  // namespace tool
