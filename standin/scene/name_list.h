#pragma once

#include <string>
#include <vector>

namespace standin {

/// Names in one line, for a sentence that lists the choices; "none" when there are none. Threads: any.
inline std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text.empty() ? "none" : text;
}

}  // namespace standin
