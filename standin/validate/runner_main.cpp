/// The runner: one test of one module, in this process. What it finds it writes into files of the work folder as it goes,
/// because the module may end the process at any time.
///
///   ovicam-validate-runner MODULE WORK-FOLDER TEST LEVEL SEED [SERVER...]

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string>
#include <vector>

#include "sdk/handlers.h"
#include "standin/host/host.h"
#include "standin/host/module.h"
#include "standin/scene/number_text.h"
#include "standin/validate/call_log.h"
#include "standin/validate/context.h"
#include "standin/validate/report_lines.h"

namespace {

using namespace standin::validate;

/// The cameras that the module offers, with their user names.
void list_servers(const std::filesystem::path& file, ReportWriter& report) {
  const Call call("loading and start-up");
  standin::Host host{standin::Scene{}};
  const standin::Module module(file);
  for (const standin::Server& server : module.servers())
    if (server.class_name == LWCAMERA_HANDLER_CLASS) report.line("server", server.name, server.user_name());
}

void run(const Test& test, Context& context) {
  try {
    test.run(context);
  } catch (const std::exception& error) {
    context.fail(error.what());
  }
}

int run_all(const std::vector<std::string>& words) {
  const std::filesystem::path module_file = words.at(0);
  const std::filesystem::path folder = words.at(1);
  end_quietly_on_crash();
  redirect_output(folder / "output", folder / "errors");
  set_temporary_folder(folder / "temporary");
  const CallLog log(folder / "calls");
  ReportWriter report(folder / "report");
  if (words.at(2) == list_of_servers) {
    list_servers(module_file, report);
    return EXIT_SUCCESS;
  }
  const Test* test = find_test(words.at(2));
  if (test == nullptr) return EXIT_FAILURE;
  const int level = std::stoi(words.at(3));
  const std::uint64_t seed = std::stoull(words.at(4));
  std::vector<std::string> servers(words.begin() + 5, words.end());
  if (!test->for_each_server) servers = {""};
  for (const std::string& server : servers) {
    report.line("begin", server);
    Context context(module_file, folder, test->name, server, level, seed,
                    [&](const std::string& failure) { report.line("failure", failure); });
    const auto start = std::chrono::steady_clock::now();
    run(*test, context);
    context.numbers["seconds"] = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (const std::size_t untold = context.untold_failures(); untold > 0)
      report.line("failure", "and " + std::to_string(untold) + " more");
    for (const auto& [name, value] : context.numbers) report.line("number", name, standin::shortest(value));
    report.line("digest", std::to_string(context.digest));
    report.line("end", server);
  }
  if (test->leaves_memory) end_at_once(EXIT_SUCCESS);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  constexpr std::size_t fewest = 5;
  if (words.size() < fewest) {
    static_cast<void>(std::fputs("ovicam-validate-runner is started by \"ovicam validate\"\n", stderr));
    return EXIT_FAILURE;
  }
  try {
    return run_all(words);
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
    return EXIT_FAILURE;
  }
}
