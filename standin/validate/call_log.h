#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>

#include "standin/validate/machine.h"

/// Tests of what a module may do to its host. Each runs in a process of its own, the runner, which a crash or an endless loop
/// of the module ends; another program watches it.
namespace standin::validate {

/// What one thread of a runner has asked of the module last. It lies in a file that both programs map: after a crash it is
/// still there.
struct CallSlot {
  static constexpr std::size_t most_arguments = 8;

  /// Not 0: the module has not returned.
  std::uint32_t inside = 0;
  std::uint32_t argument_count = 0;
  std::array<double, most_arguments> arguments{};
  std::array<char, 88> name{};
};

struct CallPage {
  static constexpr std::size_t most_threads = 16;

  /// Grows with every call: a number that stands still for long means that the module does not return.
  std::uint64_t calls = 0;
  std::array<CallSlot, most_threads> slots{};
};

/// The calls of this process, into a file. Threads: one; the calls themselves any, each with a slot of its own.
class CallLog {
 public:
  explicit CallLog(const std::filesystem::path& file);
  ~CallLog();
  CallLog(const CallLog&) = delete;
  CallLog& operator=(const CallLog&) = delete;

 private:
  MappedFile file_;
};

/// The slot of this thread, below CallPage::most_threads. A thread that says nothing has the first one.
void use_call_slot(std::size_t slot);

/// Names a call of the module for as long as it lives. Without a CallLog it does nothing. Threads: any.
class Call {
 public:
  explicit Call(const char* name, std::initializer_list<double> arguments = {});
  Call(const std::string& name, std::initializer_list<double> arguments = {}) : Call(name.c_str(), arguments) {}
  ~Call();
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

 private:
  CallSlot* slot_ = nullptr;
};

/// The calls that had not returned, as "evaluate(0.5, nan)"; empty when there is none. Threads: any.
std::string unfinished_calls(const CallPage& page);

}  // namespace standin::validate
