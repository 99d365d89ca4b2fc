#pragma once

/// Numbers as text, always with a point as decimal sign: the host may have set a locale that writes a comma. Reading takes
/// what C's own functions take in their plain locale. Threads: any.

#include <span>
#include <string>
#include <string_view>

namespace number_text {

/// Appends `value` with six decimals, as "%.6f" does; infinities and non-numbers as "inf" and "nan" with their sign.
void append(std::string& text, double value);

/// As atof: the number that the text begins with, blanks before it skipped; 0 when there is none. A number too large for a
/// double is an infinity.
double parse_number(std::string_view text) noexcept;

/// As atoi, but for numbers that no int holds, which become the nearest one that is.
int parse_integer(std::string_view text) noexcept;

/// As sscanf with "%lf,%lf,%lf": sets the components in order until one does not match, and leaves the rest as they are.
void parse_vector(std::string_view text, std::span<double, 3> components) noexcept;

}  // namespace number_text
