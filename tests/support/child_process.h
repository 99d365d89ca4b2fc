#pragma once

#include <memory>
#include <string>
#include <vector>

namespace test_support {

/// This test program, started once more with other arguments. If it still runs on destruction, it is killed. Threads: one.
class ChildProcess {
 public:
  /// Throws std::runtime_error when the program cannot be started.
  explicit ChildProcess(const std::vector<std::string>& arguments);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Ends the program at once, whatever it is doing.
  void kill();

  /// Waits for the program's end and returns its exit code. After an exception or a signal, that is the exception's code on
  /// Windows, and 128 plus the signal's number elsewhere.
  unsigned long wait();

  bool is_running();

 private:
  struct System;
  std::unique_ptr<System> system_;
};

/// Sets an environment variable of this process, for the operating system and for the C library.
void set_environment(const std::string& name, const std::string& value);

}  // namespace test_support
