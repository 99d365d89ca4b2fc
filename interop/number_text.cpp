#include "interop/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <system_error>

namespace number_text {
namespace {

constexpr std::string_view decimal_digits = "0123456789";
constexpr std::string_view hexadecimal_digits = "0123456789abcdefABCDEF";

void skip_blanks(std::string_view& text) { text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size())); }

bool contains(std::string_view characters, char character) { return characters.find(character) != std::string_view::npos; }

/// Whether a number that no double holds is too large, rather than too near to zero.
bool is_too_large(std::string_view number, bool hexadecimal) {
  const std::string_view digits = hexadecimal ? hexadecimal_digits : decimal_digits;
  const std::size_t end = std::min(number.find_first_of(hexadecimal ? "pP" : "eE"), number.size());
  const std::string_view mantissa = number.substr(0, end);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const std::size_t leading = mantissa.find_first_of(digits.substr(1));
  // Places of the leading digit before the point; none or fewer when it comes after it.
  const auto places = static_cast<double>(point) - static_cast<double>(leading) + (leading > point ? 1.0 : 0.0);

  double exponent = 0.0;
  std::string_view rest = number.substr(std::min(end + 1, number.size()));
  const bool negative = rest.starts_with('-');
  if (negative || rest.starts_with('+')) rest.remove_prefix(1);
  for (const char digit : rest.substr(0, rest.find_first_not_of(decimal_digits))) exponent = exponent * 10.0 + (digit - '0');
  return places * (hexadecimal ? 4.0 : 1.0) + (negative ? -exponent : exponent) > 0.0;
}

struct Scan {
  double value = 0.0;
  /// What follows the number.
  std::string_view rest;
  bool found = false;
};

Scan scan_number(std::string_view text) {
  skip_blanks(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  if (text.starts_with('-')) return {};

  std::string_view number = text;
  const auto is_hexadecimal = [](std::string_view candidate) {
    if (!candidate.starts_with("0x") && !candidate.starts_with("0X")) return false;
    candidate.remove_prefix(candidate.size() > 2 && candidate[2] == '.' ? 3 : 2);
    return !candidate.empty() && contains(hexadecimal_digits, candidate.front());
  };
  const bool hexadecimal = is_hexadecimal(text);
  if (hexadecimal) number.remove_prefix(2);
  double value = 0.0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value,
                                            hexadecimal ? std::chars_format::hex : std::chars_format::general);
  if (error == std::errc::invalid_argument) return {};
  std::string_view rest = number.substr(static_cast<std::size_t>(end - number.data()));
  const std::string_view taken = number.substr(0, number.size() - rest.size());
  if (error == std::errc::result_out_of_range)
    value = is_too_large(taken, hexadecimal) ? std::numeric_limits<double>::infinity() : 0.0;
  // An exponent mark without digits means nothing, but scanf passes over it.
  const std::string_view marks = hexadecimal ? "pP" : "eE";
  const bool is_numeral = hexadecimal || taken.front() == '.' || contains(decimal_digits, taken.front());
  if (is_numeral && taken.find_first_of(marks) == std::string_view::npos && !rest.empty() && contains(marks, rest.front())) {
    rest.remove_prefix(1);
    if (rest.starts_with('+') || rest.starts_with('-')) rest.remove_prefix(1);
  }
  return {.value = negative ? -value : value, .rest = rest, .found = true};
}

}  // namespace

void append(std::string& text, double value) {
  // A double has at most 309 digits before its point.
  std::array<char, 320> digits = {};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed, 6);
  text.append(digits.data(), end);
}

double parse_number(std::string_view text) noexcept { return scan_number(text).value; }

int parse_integer(std::string_view text) noexcept {
  skip_blanks(text);
  const bool negative = text.starts_with('-');
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return 0;
  }
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc::result_out_of_range) return value;
  return negative ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
}

void parse_vector(std::string_view text, std::span<double, 3> components) noexcept {
  for (double& component : components) {
    const bool first = &component == components.data();
    if (!first) {
      if (!text.starts_with(',')) return;
      text.remove_prefix(1);
    }
    const Scan scan = scan_number(text);
    if (!scan.found) return;
    component = scan.value;
    text = scan.rest;
  }
}

}  // namespace number_text
