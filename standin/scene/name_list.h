#pragma once

#include <string>
#include <vector>

namespace standin {

/// Names in one line, for a sentence that says what there is; "none" when there is nothing. Threads: any.
inline std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text.empty() ? "none" : text;
}

}  // namespace standin
