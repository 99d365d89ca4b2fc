#ifndef _WIN32

#include "standin/remote/process_group.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace standin {

int spawn_group(const std::vector<std::string>& words, const posix_spawn_file_actions_t& actions, pid_t& process) {
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const int error = posix_spawnp(&process, arguments[0], &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  return error;
}

int spawn_quiet_group(const std::vector<std::string>& words, pid_t& process) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
  const int error = spawn_group(words, actions, process);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

int RunningGroups::start(const std::vector<std::string>& words, const posix_spawn_file_actions_t& actions, pid_t& process) {
  const std::lock_guard lock(mutex_);
  const int error = spawn_group(words, actions, process);
  if (error == 0) processes_.insert(process);
  return error;
}

void RunningGroups::forget(pid_t process) {
  const std::lock_guard lock(mutex_);
  processes_.erase(process);
}

void RunningGroups::kill_all() {
  const std::lock_guard lock(mutex_);
  for (const pid_t process : processes_) kill(-process, SIGKILL);
}

}  // namespace standin

#endif
