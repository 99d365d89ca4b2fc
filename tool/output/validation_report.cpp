#include "tool/output/validation_report.h"

#include <algorithm>
#include <sstream>

#include "tool/output/json_output.h"
#include "tool/output/markup_text.h"
#include "tool/output/shell_text.h"

namespace tool {
namespace {

using nlohmann::json;
using standin::validate::Options;
using standin::validate::Result;

/// XML has no way to write control characters.
std::string escaped(std::string text) {
  std::ranges::replace_if(
      text, [](char letter) { return static_cast<unsigned char>(letter) < ' '; }, ' ');
  return as_markup(text);
}

}  // namespace

std::string repeating_command(const Options& options, const Result& result) {
  std::string command =
      "ovicam validate " + as_shell_word(options.module_file.string()) + " --only " + as_shell_word(result.test);
  if (!result.server.empty()) command += " --server " + as_shell_word(result.server);
  return command + " --level " + std::to_string(options.level) + " --seed " + std::to_string(options.seed);
}

std::string validation_json(const Options& options, const std::vector<Result>& results) {
  json all = json::array();
  for (const Result& result : results) {
    json excused = json::array();
    for (const auto& exception : result.excused)
      excused.push_back({{"failure", exception.failure}, {"reason", exception.reason}});
    all.push_back({{"test", result.test},
                   {"server", result.server},
                   {"passed", result.passed()},
                   {"seconds", result.seconds},
                   {"failures", result.failures},
                   {"consequences", result.consequences},
                   {"excused", std::move(excused)},
                   {"numbers", result.numbers},
                   {"repeat", repeating_command(options, result)}});
  }
  const auto failed = std::ranges::count_if(results, [](const Result& result) { return !result.passed(); });
  std::ostringstream text;
  write_json(text, {{"module", options.module_file.string()},
                    {"level", options.level},
                    {"seed", options.seed},
                    {"passed", failed == 0},
                    {"failed", failed},
                    {"results", std::move(all)}});
  return text.str();
}

std::string validation_junit(const Options& options, const std::vector<Result>& results) {
  const auto failed = std::ranges::count_if(results, [](const Result& result) { return !result.passed(); });
  std::ostringstream text;
  text << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites tests=\"" << results.size() << "\" failures=\"" << failed
       << "\">\n <testsuite name=\"" << escaped(options.module_file.string()) << "\" tests=\"" << results.size()
       << "\" failures=\"" << failed << "\">\n";
  for (const Result& result : results) {
    text << "  <testcase classname=\"" << escaped(result.test) << "\" name=\""
         << escaped(result.server.empty() ? "module" : result.server) << "\" time=\"" << result.seconds << '"';
    if (result.passed()) {
      text << "/>\n";
      continue;
    }
    text << ">\n   <failure message=\"" << escaped(result.failures.front()) << "\">";
    for (const std::string& failure : result.failures) text << escaped(failure) << '\n';
    text << escaped(repeating_command(options, result)) << "</failure>\n  </testcase>\n";
  }
  text << " </testsuite>\n</testsuites>\n";
  return text.str();
}

}  // namespace tool
