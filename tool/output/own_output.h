#pragma once

#include <ext/stdio_filebuf.h>
#include <memory>
#include <streambuf>

namespace tool {

/// Keeps standard output for std::cout alone: what a module prints in this process goes to standard error meanwhile. Make it
/// before anything is written. Threads: one.
class OwnOutput {
 public:
  OwnOutput();
  ~OwnOutput();
  OwnOutput(const OwnOutput&) = delete;
  OwnOutput& operator=(const OwnOutput&) = delete;

 private:
  /// Null where there is no standard output to keep.
  std::unique_ptr<__gnu_cxx::stdio_filebuf<char>> kept_;
  std::streambuf* shared_ = nullptr;
};

}  // namespace tool
