#pragma once

#include <ostream>
#include <streambuf>
#include <string>

namespace tool {

/// Hands text on to another buffer, and shows control characters as \u001b and the like: names come from files and other
/// programs, and may hold what moves a terminal's cursor or changes its title. Line ends and tabs stay. Threads: as the
/// stream's.
class PlainText : public std::streambuf {
 public:
  explicit PlainText(std::streambuf* target) : target_(target) {}

 protected:
  int_type overflow(int_type letter) override;
  std::streamsize xsputn(const char* letters, std::streamsize count) override;
  int sync() override;

 private:
  void add(char letter);

  std::streambuf* target_;
  std::string shown_;
  /// The first byte of two that may be a control character.
  bool lead_byte_ = false;
};

/// Shows what is written to a stream as PlainText does, while it lives.
class PlainTextOf {
 public:
  explicit PlainTextOf(std::ostream& stream) : stream_(stream), before_(stream.rdbuf()), plain_(before_) {
    stream_.rdbuf(&plain_);
  }
  ~PlainTextOf() {
    stream_.flush();
    stream_.rdbuf(before_);
  }
  PlainTextOf(const PlainTextOf&) = delete;
  PlainTextOf& operator=(const PlainTextOf&) = delete;

 private:
  std::ostream& stream_;
  std::streambuf* before_;
  PlainText plain_;
};

}  // namespace tool
