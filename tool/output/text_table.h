#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace tool {

/// Rows of text in columns, each as wide as its widest text. Rows may differ in length.
class TextTable {
 public:
  void add_row(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

  /// Every line starts with `indent`; none ends with blanks.
  void write(std::ostream& out, const std::string& indent) const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace tool
