#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace standin {

/// The whole file as it stands. Throws FileError when it is not there or cannot be read. Threads: any.
std::string read_file_bytes(const std::filesystem::path& file);

/// Writes beside the file first and then puts the new one in its place, so that a failure leaves the old file whole.
/// Throws FileError. Threads: any, one per file.
void replace_file(const std::filesystem::path& file, std::string_view content);

}  // namespace standin
