#pragma once

#include <chrono>
#include <csignal>
#include <filesystem>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "tests/support/tool_fixture.h"

namespace test_support {

/// A command of the shell that runs beside the test, its output in a file. If it still runs on destruction, it is killed.
class RunningTool {
 public:
  RunningTool(const std::string& command, std::filesystem::path log) : log_(std::move(log)) {
    std::string line = "exec " + command + " >" + quoted(log_) + " 2>&1";
    std::string shell = "/bin/sh";
    std::string option = "-c";
    char* words[] = {shell.data(), option.data(), line.data(), nullptr};
    if (posix_spawn(&process_, shell.c_str(), nullptr, nullptr, words, environ) != 0)
      throw std::runtime_error("cannot start " + command);
  }
  ~RunningTool() {
    if (ended_) return;
    kill(SIGKILL);
    wait();
  }
  RunningTool(const RunningTool&) = delete;
  RunningTool& operator=(const RunningTool&) = delete;

  pid_t process() const { return process_; }
  void kill(int signal) const { ::kill(process_, signal); }
  /// The exit code, or minus the signal that ended it.
  int wait() {
    int status = 0;
    waitpid(process_, &status, 0);
    ended_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
  std::string told() const { return contents(log_); }

 private:
  pid_t process_ = 0;
  std::filesystem::path log_;
  bool ended_ = false;
};

/// Other processes whose command line has the text.
inline std::vector<pid_t> processes_with(const std::string& text) {
  std::vector<pid_t> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename().string();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    const auto process = static_cast<pid_t>(std::stol(name));
    if (process != getpid() && contents(entry.path() / "cmdline").find(text) != std::string::npos) found.push_back(process);
  }
  return found;
}

/// Copies the shipped module and its service into a new folder, which tells their processes from those of other tests.
inline std::filesystem::path copied_shipped_module(const std::filesystem::path& folder) {
  std::filesystem::create_directory(folder);
  for (const std::string name : {"OviCam.p", "ovicam-ray-service.exe"})
    std::filesystem::copy_file(shipped_module().parent_path() / name, folder / name);
  return folder;
}

/// Waits until the condition holds; false when it has not for two minutes.
template <class Condition>
bool comes_true(Condition condition) {
  for (int i = 0; i < 2400; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return false;
}

}  // namespace test_support
