#pragma once

#include <string>

#include "standin/session/introspection.h"

namespace standin {

/// What a control's value is, which decides how the panel shows it.
enum class Quantity { none, text, yes_or_no, choice, angle, percent, length, number, whole_number };

/// A control without a value, such as a drawing, is Quantity::none. Threads: any.
Quantity quantity_of(const ControlDescription& control);

/// "angle", "whole number" and so on; "none".
const char* name_of(Quantity quantity);

/// A value as the panel shows it, in the unit that the panel shows: the module keeps angles in radians, percentages as
/// fractions and lengths in metres.
struct DisplayedValue {
  /// "45.00", "yes", a choice's text; empty when there is nothing to show.
  std::string value;
  /// "°", "%", "cm" or "m"; empty for what has no unit.
  std::string unit;

  /// Both as one: "45.00°", "50.0 %", "6 cm".
  std::string text() const;
};

/// The control's own value. Threads: any.
DisplayedValue displayed_value(const ControlDescription& control);

/// Another number that the control could have, such as its minimum. Threads: any.
DisplayedValue displayed_number(const ControlDescription& control, double number);

/// A number with up to six digits, as a field without a unit shows it. Threads: any.
std::string plain_number(double number);

}  // namespace standin
