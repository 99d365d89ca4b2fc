#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <vector>

namespace standin::validate {

/// What one test is to do on one camera server, and what it finds. Threads: fail any; everything else one.
class Context {
 public:
  Context(std::filesystem::path module_file, std::filesystem::path work_folder, const std::string& test, std::string server,
          int level, std::uint64_t seed, std::function<void(const std::string&)> tell = {});

  const std::filesystem::path module_file;
  /// Empty files and folders may be made here; it is removed afterwards.
  const std::filesystem::path work_folder;
  /// Empty for a test of the whole module.
  const std::string server;
  /// 1 to 10.
  const int level;
  /// Depends on seed, test and server alone.
  std::mt19937_64 random;

  /// How often to do something that level 5 does `at_default` times: level 10 does it ten times as often, level 1 a tenth as
  /// often. At least 1.
  int times(int at_default) const;
  double uniform(double lowest, double highest);
  /// 0 to count - 1.
  int index(int count);

  /// The module broke a rule: one sentence. Each is told once, as soon as it is found, and a limited number of them.
  void fail(const std::string& sentence);
  void expect(bool condition, const std::string& sentence) {
    if (!condition) fail(sentence);
  }
  /// The same, without making a text of what holds.
  void expect(bool condition, const char* sentence) {
    if (!condition) fail(sentence);
  }
  bool failed() const;
  /// How many more there were than were told.
  std::size_t untold_failures() const;

  /// What was measured, for the report.
  std::map<std::string, double> numbers;
  /// The same in every process, with the same arguments.
  std::uint64_t digest = 0xCBF29CE484222325U;
  void add_to_digest(const void* bytes, std::size_t size);

 private:
  mutable std::mutex mutex_;
  std::function<void(const std::string&)> tell_;
  std::vector<std::string> failures_;
  std::size_t untold_failures_ = 0;
};

/// One test. `run` may throw std::exception, which fails it.
struct Test {
  const char* name;
  /// What it proves, for a person.
  const char* about;
  /// Once for every camera server, or once for the module.
  bool for_each_server;
  /// In two processes, which must end with the same digest.
  bool twice;
  void (*run)(Context& context);
  /// What the module leaves in memory is the test's own doing.
  bool leaves_memory = false;
};

/// In the order in which they are run. Threads: any.
const std::vector<Test>& all_tests();
/// Null when there is none of that name.
const Test* find_test(const std::string& name);

}  // namespace standin::validate
