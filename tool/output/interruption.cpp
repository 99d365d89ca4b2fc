#include "tool/output/interruption.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <utility>

namespace tool {
namespace {

constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};

/// Never destroyed: the thread that waits for signals may still use it while the program ends.
struct Actions {
  std::mutex mutex;
  std::list<std::function<void()>> list;
};

Actions& actions() {
  static auto& only = *new Actions;
  return only;
}

std::atomic<bool> is_expected = false;
std::atomic<bool> has_come = false;

void wait_for_signals(const sigset_t& waited, const sigset_t& ignored) {
  while (true) {
    int signal = 0;
    if (sigwait(&waited, &signal) != 0) continue;
    if (is_expected)
      has_come = true;
    else if (sigismember(&ignored, signal) == 0)
      end_at_once("interrupted; files that were finished are kept, and there is no unfinished one", 128 + signal);
  }
}

}  // namespace

CleanUp::CleanUp(std::function<void()> action) {
  const std::lock_guard lock(actions().mutex);
  entry_ = actions().list.insert(actions().list.end(), std::move(action));
}

CleanUp::~CleanUp() {
  const std::lock_guard lock(actions().mutex);
  actions().list.erase(entry_);
}

void watch_for_interruption() {
  sigset_t waited;
  sigset_t ignored;
  sigemptyset(&waited);
  sigemptyset(&ignored);
  for (const int signal : signals) {
    sigaddset(&waited, signal);
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_IGN) sigaddset(&ignored, signal);
  }
  pthread_sigmask(SIG_BLOCK, &waited, nullptr);
  std::thread([waited, ignored] { wait_for_signals(waited, ignored); }).detach();
}

void end_at_once(const char* sentence, int exit_code) {
  // Kept to the end, so that nothing new begins.
  const std::lock_guard lock(actions().mutex);
  // On a terminal, a bar of progress has not ended its line.
  const bool terminal = isatty(STDERR_FILENO) == 1;
  for (const char* part : {terminal ? "\n" : "", "ovicam: ", sentence, "\n"}) {
    if (write(STDERR_FILENO, part, std::strlen(part)) < 0) {
      // Nobody is left to tell.
    }
  }
  for (const auto& action : actions().list) {
    try {
      action();
    } catch (...) {
      // Without memory not everything can be undone; the next run clears what is left.
    }
  }
  _exit(exit_code);
}

void expect_interruption() { is_expected = true; }

bool interrupted() { return has_come; }

void stay_silent_if_interrupted() { const std::lock_guard lock(actions().mutex); }

}  // namespace tool
