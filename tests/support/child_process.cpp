#include "tests/support/child_process.h"

#include <cstdlib>
#include <optional>
#include <stdexcept>

#ifdef _WIN32
#include <windows.h>
#else
#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace test_support {

#ifdef _WIN32

struct ChildProcess::System {
  PROCESS_INFORMATION process = {};
};

ChildProcess::ChildProcess(const std::vector<std::string>& arguments) : system_(std::make_unique<System>()) {
  char program[1024] = {};
  GetModuleFileNameA(nullptr, program, sizeof program - 1);
  std::string command = '"' + std::string(program) + '"';
  for (const std::string& argument : arguments) command += " \"" + argument + '"';
  STARTUPINFOA start = {};
  start.cb = sizeof start;
  if (CreateProcessA(program, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &system_->process) == 0)
    throw std::runtime_error("cannot start " + command);
}

ChildProcess::~ChildProcess() {
  kill();
  wait();
  CloseHandle(system_->process.hThread);
  CloseHandle(system_->process.hProcess);
}

void ChildProcess::kill() { TerminateProcess(system_->process.hProcess, 1); }

unsigned long ChildProcess::wait() {
  WaitForSingleObject(system_->process.hProcess, INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(system_->process.hProcess, &code);
  return code;
}

bool ChildProcess::is_running() { return WaitForSingleObject(system_->process.hProcess, 0) == WAIT_TIMEOUT; }

void set_environment(const std::string& name, const std::string& value) { _putenv_s(name.c_str(), value.c_str()); }

#else

struct ChildProcess::System {
  pid_t process = 0;
  std::optional<int> status;

  void collect(int options) {
    int value = 0;
    if (!status && waitpid(process, &value, options) == process) status = value;
  }
};

ChildProcess::ChildProcess(const std::vector<std::string>& arguments) : system_(std::make_unique<System>()) {
  std::string program = "/proc/self/exe";
  std::vector<std::string> words = arguments;
  std::vector<char*> pointers = {program.data()};
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  if (posix_spawn(&system_->process, program.c_str(), nullptr, nullptr, pointers.data(), environ) != 0)
    throw std::runtime_error("cannot start this test program once more");
}

ChildProcess::~ChildProcess() {
  kill();
  wait();
}

void ChildProcess::kill() {
  if (is_running()) ::kill(system_->process, SIGKILL);
}

unsigned long ChildProcess::wait() {
  system_->collect(0);
  const int status = *system_->status;
  return static_cast<unsigned long>(WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status));
}

bool ChildProcess::is_running() {
  system_->collect(WNOHANG);
  return !system_->status;
}

void set_environment(const std::string& name, const std::string& value) { setenv(name.c_str(), value.c_str(), 1); }

#endif

}  // namespace test_support
