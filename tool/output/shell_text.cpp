#include "tool/output/shell_text.h"

#include <algorithm>
#include <string_view>

namespace tool {

std::string as_shell_word(const std::string& word) {
  const auto plain = [](char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') || (letter >= '0' && letter <= '9') ||
           std::string_view("_-./=:,+%@").find(letter) != std::string_view::npos;
  };
  if (!word.empty() && std::ranges::all_of(word, plain)) return word;
  std::string text = "'";
  for (const char letter : word) text += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
  return text + "'";
}

}  // namespace tool
