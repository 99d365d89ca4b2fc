#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace standin {

/// A file that comes with this program: beside it, or in lib/ovicam beside its own folder, where it is installed. The first of
/// the two where there is neither. POSIX only. Threads: any.
std::filesystem::path program_file(const std::string& name);

/// The program that runs the module, called `name`, with ".exe" for a module of Windows: what the environment variable says,
/// else program_file, else beside the module. It need not exist. POSIX only. Threads: any.
std::filesystem::path program_for_module(const char* environment_variable, const std::string& name,
                                         const std::filesystem::path& module_file);

/// The words that run a program of either system, in front of its arguments; one of Windows runs under Wine. The system kills
/// it with the thread that starts it, even if that has no time left to end it. POSIX only. Threads: any.
std::vector<std::string> running_command(const std::filesystem::path& program);

/// The path that a Windows program under Wine uses for the file. Threads: any.
std::filesystem::path windows_path(const std::filesystem::path& file);

}  // namespace standin
