#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

namespace tool {

/// A value in one line. Numbers that are not finite become null; bytes that are not UTF-8 are replaced.
inline std::string json_line(const nlohmann::json& value) {
  return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

/// Writes a value and a line end. Numbers that are not finite become null; bytes that are not UTF-8 are replaced.
inline void write_json(std::ostream& out, const nlohmann::json& value) {
  out << value.dump(1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

}  // namespace tool
