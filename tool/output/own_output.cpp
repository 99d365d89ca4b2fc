#include "tool/output/own_output.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>

namespace tool {
namespace {

/// What is written to a standard output that is closed fails, and is not lost in silence; standard error has nobody to tell.
void replace_closed_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", stream == STDERR_FILENO ? O_WRONLY : O_RDONLY);
}

}  // namespace

/// A descriptor's buffer that remembers why it could not be written.
class OwnOutput::Buffer : public std::streambuf {
 public:
  explicit Buffer(int descriptor) : descriptor_(descriptor) { setp(bytes_.data(), bytes_.data() + bytes_.size()); }
  ~Buffer() override { close(descriptor_); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

  /// 0 as long as everything has arrived.
  int error() const { return error_; }

 protected:
  int sync() override {
    const char* next = pbase();
    while (error_ == 0 && next != pptr()) {
      const ssize_t written = write(descriptor_, next, static_cast<std::size_t>(pptr() - next));
      if (written >= 0)
        next += written;
      else if (errno != EINTR)
        error_ = errno;
    }
    setp(bytes_.data(), bytes_.data() + bytes_.size());
    return error_ == 0 ? 0 : -1;
  }

  int_type overflow(int_type letter) override {
    if (sync() != 0) return traits_type::eof();
    if (!traits_type::eq_int_type(letter, traits_type::eof())) sputc(traits_type::to_char_type(letter));
    return traits_type::not_eof(letter);
  }

 private:
  std::array<char, 16384> bytes_{};
  int descriptor_;
  int error_ = 0;
};

OwnOutput::OwnOutput() {
  // A reader that has gone is an error like any other, and not the end of this program before it has cleaned up.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  replace_closed_streams();
  const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (kept < 0) throw std::runtime_error("standard output cannot be used: " + std::generic_category().message(errno));
  buffer_ = std::make_unique<Buffer>(kept);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  shared_ = std::cout.rdbuf(buffer_.get());
  plain_.emplace(std::cout);
}

OwnOutput::~OwnOutput() {
  if (buffer_ == nullptr) return;
  plain_.reset();
  std::cout.rdbuf(shared_);
}

void OwnOutput::flush() {
  std::cout.flush();
  if (buffer_->error() == 0) return;
  const bool closed = buffer_->error() == EPIPE || buffer_->error() == EBADF;
  throw std::runtime_error("the output cannot be written to standard output: " +
                           (closed ? std::string("it is closed") : std::generic_category().message(buffer_->error())) +
                           "; give it a file, a pipe or a terminal that takes all of it");
}

}  // namespace tool
