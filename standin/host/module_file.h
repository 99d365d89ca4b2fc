#pragma once

#include <filesystem>
#include <string>

namespace standin {

/// Why the file cannot be a whole module, a sentence's second half; empty when nothing speaks against it. Only what the
/// system's loader would map without looking is checked: that it is a shared library for this processor, of Linux or of
/// Windows, and that the file has everything its headers tell of. A loader that maps a part beyond the file's end crashes.
/// Threads: any.
std::string module_file_trouble(const std::filesystem::path& file);

}  // namespace standin
