#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace standin::validate {

struct Options {
  std::filesystem::path module_file;
  /// Names; empty for all of them.
  std::vector<std::string> tests;
  std::vector<std::string> servers;
  /// 1 to 10.
  int level = 5;
  std::uint64_t seed = 1;
  /// Processes at a time; 0: one for each processor.
  unsigned jobs = 0;
  /// A call that takes longer will not return.
  double seconds_per_call = 60.0;
};

/// What the module may do although others may not.
struct Excused {
  std::string failure;
  std::string reason;
};

struct Result {
  std::string test;
  /// Empty: of the whole module.
  std::string server;
  std::vector<std::string> failures;
  /// What follows from a failure that another test is there to find, and has found.
  std::vector<std::string> consequences;
  std::vector<Excused> excused;
  /// What was measured.
  std::map<std::string, double> numbers;
  double seconds = 0.0;

  bool passed() const { return failures.empty(); }
};

/// Runs the tests, each in processes of its own, and gives each result to `tell` as it comes, one at a time; one that may only
/// follow from what another test finds comes at the end. Returns all of them in the order of tests and servers. Throws
/// std::runtime_error with a sentence for a person when a test cannot be run at all: there is no such module, test, server or
/// runner. A module that cannot be loaded is a failure of the test "descriptor". POSIX only; a module for Windows is run under
/// Wine. Threads: one.
std::vector<Result> run(const Options& options, const std::function<void(const Result&)>& tell);

/// Ends every process that run() has started, from any thread; the rest of run() is of no use any more.
void end_runners();

}  // namespace standin::validate
