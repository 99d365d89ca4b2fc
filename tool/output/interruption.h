#pragma once

#include <functional>
#include <list>

namespace tool {

/// What is to be undone if this program is interrupted while this lives: removing an unfinished file, ending another program.
/// The action runs on a thread of its own, while others go on; it must neither throw nor make another CleanUp. Threads: any.
class CleanUp {
 public:
  explicit CleanUp(std::function<void()> action);
  ~CleanUp();
  CleanUp(const CleanUp&) = delete;
  CleanUp& operator=(const CleanUp&) = delete;

 private:
  std::list<std::function<void()>>::iterator entry_;
};

/// From here on SIGINT, SIGTERM and SIGHUP run every CleanUp, and end this program with a sentence and exit code 128 + signal;
/// those that this program was started to ignore, it ignores. Call it once, before any other thread is started: they inherit
/// that the signals are blocked.
void watch_for_interruption();

/// For a command that is to be ended in this way: interrupted() tells of the signal, which does nothing else any more, and even
/// if it was to be ignored.
void expect_interruption();
bool interrupted();

/// Runs every CleanUp and ends this program, from wherever it is, with no memory to spare. Threads: any.
[[noreturn]] void end_at_once(const char* sentence, int exit_code);

/// Does not return if this program is being ended by a signal: what fails then fails because of that, and is not told.
void stay_silent_if_interrupted();

}  // namespace tool
