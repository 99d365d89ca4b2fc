#include "tests/support/exports.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

#include "standin/host/dynamic_library.h"
#include "tests/support/paths.h"

namespace exports_test {

/// What is in the first and not in the second, one to a line.
std::string missing(std::vector<std::string> first, std::vector<std::string> second) {
  std::sort(first.begin(), first.end());
  std::sort(second.begin(), second.end());
  std::vector<std::string> names;
  std::set_difference(first.begin(), first.end(), second.begin(), second.end(), std::back_inserter(names));
  std::string lines;
  for (const std::string& name : names) lines += name + "  " + test_support::source_name(name) + "\n";
  return lines;
}

TEST(Exports, EveryPromisedNameIsFoundInTheLoadedModule) {
  const std::vector<std::string> promised = test_support::promised_exports();
  ASSERT_FALSE(promised.empty());
  const standin::DynamicLibrary library(test_support::module_file());
  for (const std::string& name : promised)
    EXPECT_NE(library.find(name.c_str()), nullptr) << name << "  " << test_support::source_name(name);
}

TEST(Exports, TheModuleFileExportsThePromisedNames) {
  EXPECT_EQ(missing(test_support::promised_exports(), test_support::found_exports()), "");
}

TEST(Exports, TheModuleFileExportsNothingElse) {
  EXPECT_EQ(missing(test_support::found_exports(), test_support::promised_exports()), "");
}

TEST(Exports, NamesAreListedOnce) {
  const std::vector<std::string> promised = test_support::promised_exports();
  const auto twice = std::ranges::adjacent_find(promised);
  EXPECT_EQ(twice, promised.end()) << *twice << " is listed twice";
}

TEST(Exports, NamesAreReadAsInTheSource) {
  EXPECT_EQ(test_support::source_name("_ZN12PanoramicCam8PanelGetEPvj"), "PanoramicCam::PanelGet");
  EXPECT_EQ(test_support::source_name("Startup"), "Startup");
}

TEST(Imports, NothingThatStartsAThreadOrSeesExceptionsBeforeTheHost) {
  const std::vector<std::string> imports = test_support::found_imports();
#ifdef _WIN32
  EXPECT_NE(std::ranges::find(imports, "SetUnhandledExceptionFilter"), imports.end());
#else
  EXPECT_NE(std::ranges::find(imports, "sigaction"), imports.end());
#endif
  for (const char* name : {"AddVectoredExceptionHandler", "AddVectoredContinueHandler", "CreateThread", "_beginthread",
                           "_beginthreadex", "pthread_create"})
    EXPECT_EQ(std::ranges::find(imports, name), imports.end()) << name;
}

}  // namespace exports_test
