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
#include <mutex>
#include <set>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "standin/remote/program_file.h"
#include "standin/remote/ray_service.h"
#include "standin/validate/call_log.h"
#include "standin/validate/machine.h"
#include "standin/validate/validation.h"

namespace standin::validate {
namespace {

/// Each at the head of a group of its own.
struct Running {
  std::mutex mutex;
  std::set<pid_t> processes;
};

/// Never destroyed: a program may be ended by a signal at any time.
Running& running() {
  static auto& only = *new Running;
  return only;
}

/// The path that a Windows program under Wine uses for the file.
std::string windows_path(const std::filesystem::path& file) {
  std::string text = "Z:" + std::filesystem::absolute(file).lexically_normal().string();
  std::ranges::replace(text, '/', '\\');
  return text;
}

std::filesystem::path runner_program(const std::filesystem::path& module_file) {
  if (const char* program = std::getenv("OVICAM_VALIDATE_RUNNER"); program != nullptr && *program != '\0') return program;
  const char* name = is_windows_binary(module_file) ? "ovicam-validate-runner.exe" : "ovicam-validate-runner";
  const std::filesystem::path own = program_file(name);
  const std::filesystem::path program =
      std::filesystem::is_regular_file(own) ? own : std::filesystem::absolute(module_file).parent_path() / name;
  if (!std::filesystem::is_regular_file(program))
    throw std::runtime_error("There is no " + program.string() +
                             ", which runs the tests; build it, or set OVICAM_VALIDATE_RUNNER to its path");
  return program;
}

std::vector<std::string> words_of(const RunnerCommand& command) {
  const std::filesystem::path program = runner_program(command.module_file);
  const bool under_wine = is_windows_binary(program);
  const auto path = [&](const std::filesystem::path& file) {
    return under_wine ? windows_path(file) : std::filesystem::absolute(file).string();
  };
  // The system kills it with this program, even if that has no time left to end it.
  std::vector<std::string> words{"setpriv", "--pdeathsig", "KILL"};
  if (under_wine) words.push_back(program_file("run-wine.sh").string());
  words.insert(words.end(), {program.string(), path(command.module_file), path(command.work_folder), command.test,
                             std::to_string(command.level), std::to_string(command.seed)});
  words.insert(words.end(), command.servers.begin(), command.servers.end());
  return words;
}

class Process {
 public:
  Process(std::vector<std::string> words, const std::filesystem::path& log) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    // A terminal's Ctrl-C is for this program, which ends the runner.
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const std::lock_guard lock(running().mutex);
    const int error = posix_spawnp(&process_, arguments[0], &actions, &attributes, arguments.data(), environ);
    if (error == 0) running().processes.insert(process_);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
      throw std::runtime_error("The tests cannot be run with " + words.front() + ": " + std::generic_category().message(error));
  }
  ~Process() {
    if (!ended_) end();
    const std::lock_guard lock(running().mutex);
    running().processes.erase(process_);
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

void end_runners() {
  const std::lock_guard lock(running().mutex);
  for (const pid_t process : running().processes) kill(-process, SIGKILL);
}

}  // namespace standin::validate

#endif
