#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace standin::validate {

/// A runner that is to be started.
struct RunnerCommand {
  std::filesystem::path module_file;
  std::filesystem::path work_folder;
  std::string test;
  int level = 5;
  std::uint64_t seed = 1;
  std::vector<std::string> servers;
  std::chrono::duration<double> longest_call{60.0};
};

struct RunnerEnd {
  /// Empty: it has done its work. Else how it ended, a sentence with the call that it was in.
  std::string trouble;
};

/// Starts a runner for this kind of module and waits for its end; one that makes no progress is killed. Throws
/// std::runtime_error with a sentence when it cannot be started. Threads: any.
RunnerEnd run_runner(const RunnerCommand& command);

}  // namespace standin::validate
