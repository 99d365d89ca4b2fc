#include <gtest/gtest.h>
#include <string>

#include "standin/validate/validation.h"
#include "tests/support/paths.h"

namespace {

/// Everything that is held against a module of this host, as `ovicam validate` does. With sanitizers the module and its host
/// are watched as well.
TEST(ModuleValidation, NothingIsHeldAgainstTheModule) {
  standin::validate::Options options;
  options.module_file = test_support::module_file();
  // A machine that runs many tests at a time is slow with sanitizers.
  options.seconds_per_call = 300.0;
  std::size_t count = 0;
  standin::validate::run(options, [&](const standin::validate::Result& result) {
    ++count;
    for (const std::string& failure : result.failures) ADD_FAILURE() << result.test << ' ' << result.server << ": " << failure;
  });
  EXPECT_GE(count, 300U);
}

}  // namespace
