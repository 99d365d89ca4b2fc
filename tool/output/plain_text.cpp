#include "tool/output/plain_text.h"

#include <array>
#include <cstdio>

namespace tool {
namespace {

constexpr char first_of_two = '\xC2';

std::string escaped(unsigned code) {
  std::array<char, 7> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "\\u%04x", code));
  return text.data();
}

}  // namespace

void PlainText::add(char letter) {
  const auto byte = static_cast<unsigned char>(letter);
  if (lead_byte_) {
    lead_byte_ = false;
    // U+0080 to U+009F: control characters in two bytes.
    if (byte >= 0x80 && byte < 0xA0) {
      shown_ += escaped(byte);
      return;
    }
    shown_ += first_of_two;
  }
  if (letter == first_of_two)
    lead_byte_ = true;
  else if ((byte < ' ' && letter != '\n' && letter != '\t') || byte == 0x7F)
    shown_ += escaped(byte);
  else
    shown_ += letter;
}

std::streamsize PlainText::xsputn(const char* letters, std::streamsize count) {
  shown_.clear();
  for (std::streamsize i = 0; i < count; ++i) add(letters[i]);
  const auto size = static_cast<std::streamsize>(shown_.size());
  return target_->sputn(shown_.data(), size) == size ? count : 0;
}

PlainText::int_type PlainText::overflow(int_type letter) {
  if (traits_type::eq_int_type(letter, traits_type::eof())) return traits_type::not_eof(letter);
  const char one = traits_type::to_char_type(letter);
  return xsputn(&one, 1) == 1 ? letter : traits_type::eof();
}

int PlainText::sync() {
  if (lead_byte_) {
    lead_byte_ = false;
    if (traits_type::eq_int_type(target_->sputc(first_of_two), traits_type::eof())) return -1;
  }
  return target_->pubsync();
}

}  // namespace tool
