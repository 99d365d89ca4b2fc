#pragma once

#ifndef _WIN32

#include <mutex>
#include <set>
#include <spawn.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace standin {

/// Starts a program, looked for as a shell does, at the head of a process group of its own: a terminal's Ctrl-C is for this
/// program, which ends the other. No signal is blocked there, whatever this thread blocks. Returns 0, or the system's error
/// number without a process. Threads: any.
int spawn_group(const std::vector<std::string>& words, const posix_spawn_file_actions_t& actions, pid_t& process);

/// The same, with nothing to read, and nothing of what it says heard.
int spawn_quiet_group(const std::vector<std::string>& words, pid_t& process);

/// The groups of one kind that run, to end them all when this program is itself about to end. Threads: any.
class RunningGroups {
 public:
  /// As spawn_group.
  int start(const std::vector<std::string>& words, const posix_spawn_file_actions_t& actions, pid_t& process);
  /// The process has been waited for.
  void forget(pid_t process);
  void kill_all();

 private:
  std::mutex mutex_;
  std::set<pid_t> processes_;
};

}  // namespace standin

#endif
