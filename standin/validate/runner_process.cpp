#ifndef _WIN32

#include "standin/validate/runner_process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "standin/remote/process_group.h"
#include "standin/remote/program_file.h"
#include "standin/remote/ray_service.h"
#include "standin/validate/call_log.h"
#include "standin/validate/machine.h"
#include "standin/validate/validation.h"

namespace standin::validate {
namespace {

/// Never destroyed: a program may be ended by a signal at any time.
RunningGroups& running() {
  static auto& only = *new RunningGroups;
  return only;
}

std::filesystem::path runner_program(const std::filesystem::path& module_file) {
  std::filesystem::path program = program_for_module("OVICAM_VALIDATE_RUNNER", "ovicam-validate-runner", module_file);
  if (!std::filesystem::is_regular_file(program))
    throw std::runtime_error("There is no " + program.string() +
                             ", which runs the tests; build it, or set OVICAM_VALIDATE_RUNNER to its path");
  return program;
}

std::vector<std::string> words_of(const RunnerCommand& command) {
  const std::filesystem::path program = runner_program(command.module_file);
  const bool under_wine = is_windows_binary(program);
  const auto path = [&](const std::filesystem::path& file) {
    return (under_wine ? windows_path(file) : std::filesystem::absolute(file)).string();
  };
  std::vector<std::string> words = running_command(program);
  words.insert(words.end(), {path(command.module_file), path(command.work_folder), command.test, std::to_string(command.level),
                             std::to_string(command.seed)});
  words.insert(words.end(), command.servers.begin(), command.servers.end());
  return words;
}

class Process {
 public:
  Process(const std::vector<std::string>& words, const std::filesystem::path& log) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    const int error = running().start(words, actions, process_);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
      throw std::runtime_error("The tests cannot be run with " + words.front() + ": " + std::generic_category().message(error));
  }
  ~Process() {
    if (!ended_) end();
    running().forget(process_);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  bool ended() {
    if (!ended_ && waitpid(process_, &status_, WNOHANG) != 0) ended_ = true;
    return ended_;
  }
  void end() {
    kill(-process_, SIGKILL);
    waitpid(process_, &status_, 0);
    ended_ = true;
  }
  int status() const { return status_; }

 private:
  pid_t process_ = -1;
  bool ended_ = false;
  int status_ = 0;
};

std::string text_of(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// What a sanitizer or the system has said last, in one line.
std::string last_words(const std::filesystem::path& folder) {
  const std::string text = text_of(folder / "errors") + text_of(folder / "start");
  for (const char* sign : {"ERROR: ", "WARNING: ThreadSanitizer", "runtime error: ", "SUMMARY: "})
    if (const std::size_t at = text.rfind(sign); at != std::string::npos) return text.substr(at, text.find('\n', at) - at);
  const std::size_t end = text.find_last_not_of('\n');
  if (end == std::string::npos) return {};
  const std::size_t start = text.rfind('\n', end);
  return text.substr(start == std::string::npos ? 0 : start + 1, end - (start == std::string::npos ? 0 : start + 1) + 1);
}

std::string how_it_ended(int status) {
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    return "crashed (signal " + std::to_string(signal) + ", " + strsignal(signal) + ")";
  }
  return "ended the process (exit code " + std::to_string(WEXITSTATUS(status)) + ")";
}

/// Of run-wine.sh, when the last line of its messages is a sentence for a person.
constexpr int wine_trouble = 125;

}  // namespace

RunnerEnd run_runner(const RunnerCommand& command) {
  using namespace std::chrono_literals;
  using Clock = std::chrono::steady_clock;
  const std::filesystem::path& folder = command.work_folder;
  for (const char* name : {"calls", "report", "output", "errors"}) std::filesystem::remove(folder / name);
  std::filesystem::create_directories(folder / "temporary");
  const MappedFile mapped(folder / "calls", sizeof(CallPage));
  CallPage& page = *reinterpret_cast<CallPage*>(mapped.data());
  Process process(words_of(command), folder / "start");

  std::uint64_t calls = 0;
  auto last_progress = Clock::now();
  auto pause = 1ms;
  while (!process.ended()) {
    const std::uint64_t present = std::atomic_ref(page.calls).load(std::memory_order_relaxed);
    if (std::exchange(calls, present) != present) last_progress = Clock::now();
    // A first start of Wine takes its time.
    const std::chrono::duration<double> patience = present > 0 ? command.longest_call : command.longest_call + 180s;
    if (Clock::now() - last_progress > patience) {
      process.end();
      const std::string unfinished = unfinished_calls(page);
      return {unfinished.empty() ? "The test does not come to an end" : "The module does not return from " + unfinished};
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(2 * pause, 20ms);
  }
  const int status = process.status();
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return {};
  if (WIFEXITED(status) && WEXITSTATUS(status) == wine_trouble && calls == 0) throw std::runtime_error(last_words(folder));
  const std::string unfinished = unfinished_calls(page);
  const std::string said = last_words(folder);
  return {"The module " + how_it_ended(status) + (unfinished.empty() ? " outside of any call" : " in " + unfinished) +
          (said.empty() ? "" : "; the last that was said: " + said)};
}

void end_runners() { running().kill_all(); }

}  // namespace standin::validate

#endif
