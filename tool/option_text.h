#pragma once

#include <optional>
#include <string_view>
#include <utility>

#include "standin/session.h"

namespace tool {

/// The numbers of a text such as 640x480; none when it is written otherwise.
std::optional<std::pair<int, int>> two_numbers(std::string_view text);

/// The eye that --eye names. Throws UsageError.
standin::Eye parse_eye(std::string_view text);

}  // namespace tool
