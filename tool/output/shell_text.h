#pragma once

#include <string>

namespace tool {

/// A word as a shell reads it back: as it is, or in quotation marks where it has letters that mean something there. Threads:
/// any.
std::string as_shell_word(const std::string& word);

}  // namespace tool
