#include "standin/validate/exceptions.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace standin::validate {
namespace {

/// One thing that a module is required to do although the tests forbid it.
struct Exception {
  std::string_view test;
  /// Empty: every one of them.
  std::string_view server;
  /// A part of the failure's sentence.
  std::string_view failure;
  std::string_view reason;
};

/// A module that offers a camera of this name, with this user name, is the one that the exceptions are for.
struct KnownModule {
  std::string_view server;
  std::string_view user_name;
  std::vector<Exception> exceptions;
};

const std::vector<KnownModule>& known_modules() {
  static const std::vector<KnownModule> modules{};
  return modules;
}

bool matches(const Exception& exception, const Result& result, const std::string& failure) {
  return exception.test == result.test && (exception.server.empty() || exception.server == result.server) &&
         failure.find(exception.failure) != std::string::npos;
}

}  // namespace

void apply_exceptions(Result& result, const std::vector<std::pair<std::string, std::string>>& servers) {
  for (const KnownModule& module : known_modules()) {
    const std::pair<std::string, std::string> sign{module.server, module.user_name};
    if (std::ranges::find(servers, sign) == servers.end()) continue;
    std::erase_if(result.failures, [&](const std::string& failure) {
      for (const Exception& exception : module.exceptions) {
        if (!matches(exception, result, failure)) continue;
        result.excused.push_back({failure, std::string(exception.reason)});
        return true;
      }
      return false;
    });
  }
}

}  // namespace standin::validate
