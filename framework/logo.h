#pragma once

#include <cstdint>

namespace framework {

inline constexpr int logo_rows = 60;
inline constexpr int logo_columns = 280;

/// Grey level of the maker's mark. Row 0 is its bottom row, as it is drawn. Threads: any.
std::uint8_t logo_grey(int row, int column);

}  // namespace framework
