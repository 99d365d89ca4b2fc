#pragma once

#include <filesystem>
#include <string>

namespace standin {

/// A file that comes with this program: beside it, or in lib/ovicam beside its own folder, where it is installed. The first of
/// the two where there is neither. POSIX only. Threads: any.
std::filesystem::path program_file(const std::string& name);

}  // namespace standin
