#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace standin {

/// The fewest digits that read back the same, in any locale.
std::string shortest(double value);
std::string shortest(float value);

/// The number that the text begins with, and is finite; what follows it is left in `text`, which stays as it is where there is
/// none. The same in any locale.
std::optional<double> take_number(std::string_view& text);

}  // namespace standin
