#include "standin/scene/number_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <system_error>

namespace standin {
namespace {

template <class Number>
std::string digits_of(Number value) {
  std::array<char, 32> text;
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

}  // namespace

std::string shortest(double value) { return digits_of(value); }
std::string shortest(float value) { return digits_of(value); }

std::optional<double> take_number(std::string_view& text) {
  double number = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || !std::isfinite(number)) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

}  // namespace standin
