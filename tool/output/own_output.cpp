#include "tool/output/own_output.h"

#include <fcntl.h>
#include <iostream>
#include <unistd.h>

namespace tool {

OwnOutput::OwnOutput() {
  const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (kept < 0) return;
  kept_ = std::make_unique<__gnu_cxx::stdio_filebuf<char>>(kept, std::ios::out);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  shared_ = std::cout.rdbuf(kept_.get());
}

OwnOutput::~OwnOutput() {
  if (!kept_) return;
  std::cout.flush();
  std::cout.rdbuf(shared_);
}

}  // namespace tool
