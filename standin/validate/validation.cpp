#ifndef _WIN32

#include "standin/validate/validation.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <thread>

#include "standin/host/module_file.h"
#include "standin/remote/scratch_folder.h"
#include "standin/scene/name_list.h"
#include "standin/validate/attribution.h"
#include "standin/validate/context.h"
#include "standin/validate/exceptions.h"
#include "standin/validate/report_lines.h"
#include "standin/validate/runner_process.h"

namespace standin::validate {
namespace {

struct Finding {
  Result result;
  std::string digest;
  bool ended = false;
};

/// What a runner has found, in the order in which it began.
std::vector<Finding> findings(const std::string& test, const std::filesystem::path& report) {
  std::vector<Finding> all;
  for (const std::vector<std::string>& line : read_report(report)) {
    if (line[0] == "begin") {
      all.emplace_back();
      all.back().result.test = test;
      all.back().result.server = line[1];
    }
    if (all.empty()) continue;
    Finding& finding = all.back();
    if (line[0] == "failure") finding.result.failures.push_back(line[1]);
    if (line[0] == "number" && line[1] == "seconds") finding.result.seconds = std::strtod(line[2].c_str(), nullptr);
    if (line[0] == "number" && line[1] != "seconds") finding.result.numbers[line[1]] = std::strtod(line[2].c_str(), nullptr);
    if (line[0] == "digest") finding.digest = line[1];
    if (line[0] == "end") finding.ended = true;
  }
  return all;
}

class Validation {
 public:
  Validation(const Options& options, const std::function<void(const Result&)>& tell) : options_(options), tell_(tell) {}

  std::vector<Result> run() {
    check_module_file();
    const std::vector<const Test*> tests = chosen_tests();
    find_servers();
    if (servers_.empty()) return finished();
    for (const Test* test : tests) {
      if (!test->for_each_server) {
        batches_.push_back({test, {""}});
        continue;
      }
      // Enough of them for every processor to have something to do until the end.
      constexpr std::size_t most_in_a_process = 6;
      for (std::size_t i = 0; i < chosen_servers_.size(); i += most_in_a_process) {
        const auto first = chosen_servers_.begin() + static_cast<std::ptrdiff_t>(i);
        const auto last =
            chosen_servers_.begin() + static_cast<std::ptrdiff_t>(std::min(i + most_in_a_process, chosen_servers_.size()));
        batches_.push_back({test, {first, last}});
      }
    }
    run_batches();
    return finished();
  }

 private:
  struct Batch {
    const Test* test;
    std::vector<std::string> servers;
  };

  void check_module_file() const {
    if (const std::string trouble = module_file_trouble(options_.module_file); !trouble.empty())
      throw std::runtime_error("The module " + options_.module_file.string() + " cannot be loaded: " + trouble);
  }

  std::vector<const Test*> chosen_tests() const {
    std::vector<std::string> names;
    for (const Test& test : all_tests()) names.emplace_back(test.name);
    std::vector<const Test*> tests;
    for (const std::string& name : options_.tests.empty() ? names : options_.tests) {
      const Test* test = find_test(name);
      if (test == nullptr) throw std::runtime_error("There is no test called \"" + name + "\"; there are: " + joined(names));
      if (std::ranges::find(tests, test) == tests.end()) tests.push_back(test);
    }
    return tests;
  }

  RunnerCommand command(const std::filesystem::path& folder, const std::string& test, std::vector<std::string> servers) const {
    return {options_.module_file,
            folder,
            test,
            options_.level,
            options_.seed,
            std::move(servers),
            std::chrono::duration<double>(options_.seconds_per_call)};
  }

  void find_servers() {
    const ScratchFolder folder("validate");
    const RunnerEnd end = run_runner(command(folder.path(), list_of_servers, {}));
    for (const std::vector<std::string>& line : read_report(folder.path() / "report"))
      if (line[0] == "server") servers_.emplace_back(line[1], line[2]);
    if (!end.trouble.empty() || servers_.empty()) {
      Result result;
      result.test = "descriptor";
      result.failures.push_back(end.trouble.empty() ? "The module offers no camera"
                                                    : "While its servers are listed: " + end.trouble);
      servers_.clear();
      keep(std::move(result));
      return;
    }
    std::vector<std::string> names;
    for (const auto& [name, user_name] : servers_) names.push_back(name);
    for (const std::string& name : options_.servers.empty() ? names : options_.servers) {
      if (std::ranges::find(names, name) == names.end())
        throw std::runtime_error("The module has no camera server called \"" + name + "\"; it has: " + joined(names));
      if (std::ranges::find(chosen_servers_, name) == chosen_servers_.end()) chosen_servers_.push_back(name);
    }
  }

  const std::vector<Result>& finished() {
    attribute_consequences(results_);
    for (const Result& result : results_)
      if (!told_.contains({result.test, result.server})) tell_(result);
    std::ranges::stable_sort(results_, {}, [&](const Result& result) { return place_of(result); });
    return results_;
  }

  std::pair<std::ptrdiff_t, std::ptrdiff_t> place_of(const Result& result) const {
    return {find_test(result.test) - all_tests().data(),
            std::ranges::find(chosen_servers_, result.server) - chosen_servers_.begin()};
  }

  void keep(Result result) {
    apply_exceptions(result, servers_);
    const std::lock_guard lock(mutex_);
    const bool is_certain = result.passed() || std::ranges::any_of(result.failures, [&](const std::string& failure) {
                              return !may_be_a_consequence(result.test, failure);
                            });
    results_.push_back(std::move(result));
    if (!is_certain) return;
    told_.insert({results_.back().test, results_.back().server});
    tell_(results_.back());
  }

  void run_batches() {
    const unsigned jobs = options_.jobs > 0 ? options_.jobs : std::max(1U, std::thread::hardware_concurrency());
    std::vector<std::thread> threads;
    for (unsigned job = 0; job < std::min<std::size_t>(jobs, batches_.size()); ++job)
      threads.emplace_back([this] {
        try {
          const ScratchFolder folder("validate");
          for (std::size_t batch = next_batch_++; batch < batches_.size(); batch = next_batch_++)
            run_batch(folder.path(), batches_[batch]);
        } catch (...) {
          next_batch_ = batches_.size();
          const std::lock_guard lock(mutex_);
          if (trouble_ == nullptr) trouble_ = std::current_exception();
        }
      });
    for (std::thread& thread : threads) thread.join();
    if (trouble_ != nullptr) std::rethrow_exception(trouble_);
  }

  void run_batch(const std::filesystem::path& folder, const Batch& batch) {
    std::vector<std::string> waiting = batch.servers;
    while (!waiting.empty()) {
      std::vector<Finding> found = run_once(folder, batch.test->name, waiting);
      if (batch.test->twice) compare(found, run_once(folder, batch.test->name, waiting));
      for (Finding& finding : found) keep(std::move(finding.result));
      waiting.erase(waiting.begin(), waiting.begin() + static_cast<std::ptrdiff_t>(found.size()));
    }
  }

  /// The results of the first of these servers, one at least. Those behind one that has ended the process are left.
  std::vector<Finding> run_once(const std::filesystem::path& folder, const std::string& test,
                                const std::vector<std::string>& servers) const {
    RunnerEnd end;
    std::vector<Finding> found;
    // Wine cannot start a program while its server ends. Nothing of the module has run then.
    for (int attempt = 0; attempt < 3 && found.empty(); ++attempt) {
      end = run_runner(command(folder, test, servers));
      found = findings(test, folder / "report");
    }
    if (end.trouble.empty() && found.size() == servers.size() && found.back().ended) return found;
    if (found.empty()) throw std::runtime_error("The test \"" + test + "\" cannot be run: " + end.trouble);
    const std::string trouble = end.trouble.empty() ? "The test does not come to an end" : end.trouble;
    if (!found.back().ended) {
      found.back().result.failures.push_back(trouble);
    } else if (servers.size() == 1) {
      found.back().result.failures.push_back("After the test: " + trouble);
    } else {
      // It came to light at the end of the process, and may be any one's: each alone.
      return run_once(folder, test, {servers.front()});
    }
    return found;
  }

  static void compare(std::vector<Finding>& first, const std::vector<Finding>& second) {
    for (std::size_t i = 0; i < first.size(); ++i) {
      if (!first[i].ended || !first[i].result.failures.empty()) continue;
      if (i >= second.size() || second[i].digest != first[i].digest)
        first[i].result.failures.emplace_back("In another process, the same inputs give other rays");
    }
  }

  const Options& options_;
  const std::function<void(const Result&)>& tell_;
  std::vector<std::pair<std::string, std::string>> servers_;
  std::vector<std::string> chosen_servers_;
  std::vector<Batch> batches_;
  std::atomic<std::size_t> next_batch_ = 0;
  std::mutex mutex_;
  std::exception_ptr trouble_;
  std::vector<Result> results_;
  std::set<std::pair<std::string, std::string>> told_;
};

}  // namespace

std::vector<Result> run(const Options& options, const std::function<void(const Result&)>& tell) {
  return Validation(options, tell).run();
}

}  // namespace standin::validate

#endif
