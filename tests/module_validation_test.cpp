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
#ifdef __SANITIZE_THREAD__
  // The others have one thread.
  options.tests = {"threads"};
  options.level = 1;
  constexpr std::size_t fewest = 17;
#else
  // As much as a test of every change can take: the sanitizers need most of the time.
  options.level = 2;
  constexpr std::size_t fewest = 300;
#endif
  // A machine that runs many tests at a time is slow with sanitizers.
  options.seconds_per_call = 300.0;
  std::size_t count = 0;
  standin::validate::run(options, [&](const standin::validate::Result& result) {
    ++count;
    for (const std::string& failure : result.failures) ADD_FAILURE() << result.test << ' ' << result.server << ": " << failure;
  });
  EXPECT_GE(count, fewest);
}

}  // namespace
