#include "standin/session/control_text.h"

#include <charconv>
#include <cmath>
#include <cstddef>
#include <iomanip>
#include <locale>
#include <numbers>
#include <optional>
#include <sstream>
#include <string_view>

namespace standin {
namespace {

std::string fixed(double number, int decimals) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::fixed << std::setprecision(decimals) << number;
  return text.str();
}

std::optional<double> number_in(const std::string& text) {
  double number = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

}  // namespace

std::string plain_number(double number) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << number;
  return text.str();
}

Quantity quantity_of(const ControlDescription& control) {
  if (control.drawing || control.data_type.empty()) return Quantity::none;
  if (control.data_type == "string") return Quantity::text;
  if (control.control_class == "iBoolean") return Quantity::yes_or_no;
  if (!control.choices.empty()) return Quantity::choice;
  if (control.data_type == "integer") return Quantity::whole_number;
  const std::string_view control_class = control.control_class;
  if (control_class.starts_with("angle")) return Quantity::angle;
  if (control_class.starts_with("percent")) return Quantity::percent;
  if (control_class.starts_with("distance")) return Quantity::length;
  return Quantity::number;
}

const char* name_of(Quantity quantity) {
  switch (quantity) {
    case Quantity::text:
      return "text";
    case Quantity::yes_or_no:
      return "yes or no";
    case Quantity::choice:
      return "choice";
    case Quantity::angle:
      return "angle";
    case Quantity::percent:
      return "percent";
    case Quantity::length:
      return "length";
    case Quantity::number:
      return "number";
    case Quantity::whole_number:
      return "whole number";
    case Quantity::none:
      break;
  }
  return "none";
}

std::string DisplayedValue::text() const {
  // Only the degree sign follows its number without a space.
  return unit.empty() || unit == "°" ? value + unit : value + ' ' + unit;
}

DisplayedValue displayed_number(const ControlDescription& control, double number) {
  if (!std::isfinite(number)) return {plain_number(number), ""};
  switch (quantity_of(control)) {
    case Quantity::yes_or_no:
      return {number != 0.0 ? "yes" : "no", ""};
    case Quantity::choice:
      // A number that no choice has, as an old scene may hold, is shown as it is.
      if (number < 0.0 || number >= static_cast<double>(control.choices.size())) return {fixed(number, 0), ""};
      return {control.choices[static_cast<std::size_t>(number)], ""};
    case Quantity::whole_number:
      return {fixed(number, 0), ""};
    case Quantity::angle:
      return {fixed(number * 180.0 / std::numbers::pi, 2), "°"};
    case Quantity::percent:
      return {fixed(number * 100.0, 1), "%"};
    case Quantity::length:
      if (std::abs(number) < 1.0 && number != 0.0) return {plain_number(number * 100.0), "cm"};
      return {plain_number(number), "m"};
    default:
      return {plain_number(number), ""};
  }
}

DisplayedValue displayed_value(const ControlDescription& control) {
  const Quantity quantity = quantity_of(control);
  if (quantity == Quantity::none) return {};
  if (quantity == Quantity::text) return {control.value, ""};
  const auto number = number_in(control.value);
  return number ? displayed_number(control, *number) : DisplayedValue{};
}

}  // namespace standin
