#include "tool/option_text.h"

#include <charconv>
#include <string>
#include <system_error>

#include "tool/usage_error.h"

namespace tool {

std::optional<std::pair<int, int>> two_numbers(std::string_view text) {
  std::pair<int, int> numbers;
  const char* end = text.data() + text.size();
  const auto [separator, first_error] = std::from_chars(text.data(), end, numbers.first);
  if (first_error != std::errc() || separator == end || *separator != 'x') return std::nullopt;
  const auto [rest, second_error] = std::from_chars(separator + 1, end, numbers.second);
  if (second_error != std::errc() || rest != end) return std::nullopt;
  return numbers;
}

standin::Eye parse_eye(std::string_view text) {
  if (text == "centre") return standin::Eye::centre;
  if (text == "left") return standin::Eye::left;
  if (text == "right") return standin::Eye::right;
  throw UsageError("--eye " + std::string(text) + ": give centre, left or right");
}

}  // namespace tool
