#pragma once

#include <memory>
#include <string>
#include <vector>

namespace test_support {

/// This test program, run once more with other arguments. Ended by force when this ends. Threads: one.
class ChildProcess {
 public:
  /// Throws std::runtime_error when the program cannot be started.
  explicit ChildProcess(const std::vector<std::string>& arguments);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Ends the program at once, wherever it is.
  void kill();

  /// Waits for the program's end. Returns its exit code; the exception's code on Windows or 128 and the signal's number
  /// elsewhere when it was ended by one.
  unsigned long wait();

  bool is_running();

 private:
  struct System;
  std::unique_ptr<System> system_;
};

/// Sets a variable of this process' environment; both the system and the C library see it.
void set_environment(const std::string& name, const std::string& value);

}  // namespace test_support
