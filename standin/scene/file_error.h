#pragma once

#include <stdexcept>
#include <string>

namespace standin {

/// A file that cannot be read or written: one sentence with file, position and reason.
class FileError : public std::runtime_error {
 public:
  /// `where` is a position in words, such as "line 12" or "byte 340"; empty for the whole file.
  FileError(const std::string& file, const std::string& where, const std::string& reason)
      : std::runtime_error(file + (where.empty() ? "" : ", " + where) + ": " + reason) {}
};

}  // namespace standin
