#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace standin {

/// The whole file, byte for byte. Throws FileError when it does not exist or cannot be read. Threads: any.
std::string read_file_bytes(const std::filesystem::path& file);

/// Writes a second file beside the first and then replaces it, so that a failure leaves the old file whole.
/// Throws FileError. Threads: any, one per file.
void replace_file(const std::filesystem::path& file, std::string_view content);

}  // namespace standin
