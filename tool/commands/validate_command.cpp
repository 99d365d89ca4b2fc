#include "tool/commands/validate_command.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "standin/validate/context.h"
#include "standin/validate/validation.h"
#include "tool/commands/usage_error.h"
#include "tool/output/interruption.h"
#include "tool/output/new_file.h"
#include "tool/output/text_table.h"
#include "tool/output/validation_report.h"

namespace tool {
namespace {

using standin::validate::Options;
using standin::validate::Result;

struct ValidateArguments {
  std::string module_file;
  std::vector<std::string> tests;
  std::vector<std::string> servers;
  int level = 5;
  std::uint64_t seed = 1;
  unsigned jobs = 0;
  double seconds_per_call = Options{}.seconds_per_call;
  std::string json_file;
  std::string junit_file;
  bool list = false;
};

void list_tests() {
  TextTable table;
  for (const standin::validate::Test& test : standin::validate::all_tests()) table.add_row({test.name, test.about});
  table.write(std::cout, "");
}

void tell(const Options& options, const Result& result) {
  if (result.passed()) return;
  std::cout << "FAILED " << result.test << (result.server.empty() ? "" : " " + result.server) << '\n';
  for (const std::string& failure : result.failures) std::cout << "  " << failure << '\n';
  std::cout << "  again: " << repeating_command(options, result) << '\n' << std::flush;
}

/// A line for each test: on how many cameras it has passed, and what was measured on all of them together.
void summarise(const std::vector<Result>& results) {
  TextTable table;
  for (const standin::validate::Test& test : standin::validate::all_tests()) {
    std::size_t all = 0;
    std::size_t passed = 0;
    std::size_t excused = 0;
    std::size_t consequences = 0;
    double worst_error = -1.0;
    for (const Result& result : results) {
      if (result.test != test.name) continue;
      ++all;
      passed += result.passed() ? 1 : 0;
      excused += result.excused.size();
      consequences += result.consequences.size();
      if (const auto error = result.numbers.find("projection error, radians, plain, 99 of 100"); error != result.numbers.end())
        worst_error = std::max(worst_error, error->second);
    }
    if (all == 0) continue;
    std::string remark = excused > 0 ? std::to_string(excused) + " exceptions" : "";
    if (consequences > 0)
      remark += (remark.empty() ? "" : ", ") + std::to_string(consequences) + " consequences of failures of other tests";
    if (worst_error >= 0.0) {
      std::ostringstream text;
      text << "99 of 100 points within " << worst_error << " radians";
      remark += (remark.empty() ? "" : ", ") + text.str();
    }
    table.add_row({test.name, std::to_string(passed) + " of " + std::to_string(all) + " passed", remark});
  }
  table.write(std::cout, "");
}

void validate(const ValidateArguments& arguments) {
  if (arguments.list) {
    list_tests();
    return;
  }
  if (arguments.module_file.empty()) throw UsageError("MODULE is required; name the module file, such as OviCam.p");
  for (const std::string& file : {arguments.json_file, arguments.junit_file})
    if (!file.empty()) check_can_be_written(file);
  const Options options{arguments.module_file, arguments.tests, arguments.servers,         arguments.level,
                        arguments.seed,        arguments.jobs,  arguments.seconds_per_call};
  const CleanUp clean_up([] { standin::validate::end_runners(); });
  const std::vector<Result> results = standin::validate::run(options, [&](const Result& result) { tell(options, result); });
  stay_silent_if_interrupted();
  summarise(results);
  if (!arguments.json_file.empty()) write_text_file(arguments.json_file, validation_json(options, results));
  if (!arguments.junit_file.empty()) write_text_file(arguments.junit_file, validation_junit(options, results));
  const auto failed = std::ranges::count_if(results, [](const Result& result) { return !result.passed(); });
  if (failed > 0)
    throw std::runtime_error(std::to_string(failed) + " of " + std::to_string(results.size()) +
                             " tests of this module have failed; each is named above with the command that repeats it");
}

}  // namespace

void add_validate_command(CLI::App& app) {
  auto* command = app.add_subcommand("validate", "Tests whether a module keeps to what its host relies on.");
  command->footer(
      "Example:\n  ovicam validate build/windows/OviCam.p --level 2\n"
      "Every test runs in a process of its own: a crash or an endless loop is a failed test, and the call that it was in is "
      "named. A module for Windows is run under Wine. The exit code is 0 only if every test has run and passed. "
      "docs/validate.md says what the tests hold a module to.");
  const auto arguments = std::make_shared<ValidateArguments>();
  command->add_option("MODULE", arguments->module_file, "Module file, such as OviCam.so or OviCam.p");
  command->add_option("--server", arguments->servers, "Only this camera; may be given again (default: every one)")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command->add_option("--only", arguments->tests, "Only this test; may be given again (default: all; see --list)")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command->add_flag("--list", arguments->list, "List the tests and what each proves");
  command->add_option("--level", arguments->level, "How much of each test: 1 is quick, 10 takes long")
      ->check(CLI::Range(1, 10))
      ->capture_default_str();
  command->add_option("--seed", arguments->seed, "Of everything that is random; the same seed gives the same run")
      ->capture_default_str();
  command->add_option("--jobs", arguments->jobs, "Processes at a time (default: one for each processor)")
      ->check(CLI::Range(1, 256));
  command
      ->add_option("--seconds-per-call", arguments->seconds_per_call,
                   "A call into the module that takes longer will not return, and has failed")
      ->check(CLI::Range(0.1, 86400.0))
      ->capture_default_str();
  command->add_option("--json", arguments->json_file, "Results for programs, with all that was measured, into this file");
  command->add_option("--junit", arguments->junit_file, "Results for build servers, as JUnit's XML, into this file");
  command->callback([arguments] { validate(*arguments); });
}

}  // namespace tool
