/// What the binaries that users get ask their system for, against what a hostile file may try.

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "tests/support/tool_fixture.h"

namespace native_binary_protection_test {

namespace fs = std::filesystem;
using namespace test_support;

fs::path built(const char* name) { return module_file().parent_path() / name; }

std::string told_by_readelf(const std::string& options, const fs::path& file) {
  const Outcome outcome = run("readelf -W " + options + " " + quoted(file));
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
  return outcome.output;
}

TEST(NativeBinaries, BindTheirImportsBeforeTheyRunAndKeepThemReadOnly) {
  for (const char* name : {"OviCam.so", "ovicam", "ovicam-pictures.so", "ovicam-ray-service"}) {
    if (!fs::exists(built(name))) continue;
    EXPECT_NE(told_by_readelf("-d", built(name)).find("NOW"), std::string::npos) << name;
    const std::string segments = told_by_readelf("-l", built(name));
    EXPECT_NE(segments.find("GNU_RELRO"), std::string::npos) << name;
    const std::size_t stack = segments.find("GNU_STACK");
    ASSERT_NE(stack, std::string::npos) << name;
    EXPECT_EQ(segments.substr(stack, segments.find('\n', stack) - stack).find("RWE"), std::string::npos) << name;
    EXPECT_NE(told_by_readelf("-h", built(name)).find("DYN"), std::string::npos) << name << " lies anywhere in memory";
  }
}

TEST(NativeBinaries, NoticeOverwrittenStacksAndBuffers) {
  for (const char* name : {"OviCam.so", "ovicam"}) {
    const std::string symbols = told_by_readelf("--dyn-syms", built(name));
    EXPECT_NE(symbols.find("__stack_chk_fail"), std::string::npos) << name;
    EXPECT_NE(symbols.find("printf_chk"), std::string::npos) << name;
  }
}

template <class Number>
Number number_at(const std::string& bytes, std::size_t place) {
  Number number{};
  if (place + sizeof number <= bytes.size()) std::memcpy(&number, bytes.data() + place, sizeof number);
  return number;
}

TEST(ShippedModule, LiesAnywhereInALargeMemoryAndItsDataIsNeverRun) {
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  const std::string bytes = contents(shipped_module());
  const auto header = number_at<std::uint32_t>(bytes, 0x3C);
  ASSERT_EQ(bytes.substr(header, 4), std::string("PE\0\0", 4));
  const std::size_t optional_header = header + 24;
  ASSERT_EQ(number_at<std::uint16_t>(bytes, optional_header), 0x20B) << "64 bits";
  const auto characteristics = number_at<std::uint16_t>(bytes, optional_header + 70);
  constexpr unsigned high_entropy = 0x20;
  constexpr unsigned dynamic_base = 0x40;
  constexpr unsigned no_execution_of_data = 0x100;
  EXPECT_TRUE(characteristics & high_entropy);
  EXPECT_TRUE(characteristics & dynamic_base);
  EXPECT_TRUE(characteristics & no_execution_of_data);
  constexpr unsigned relocations_stripped = 0x1;
  EXPECT_FALSE(number_at<std::uint16_t>(bytes, header + 22) & relocations_stripped);
  // No part is both written and run.
  const auto section_count = number_at<std::uint16_t>(bytes, header + 6);
  const std::size_t sections = optional_header + number_at<std::uint16_t>(bytes, header + 20);
  ASSERT_GT(section_count, 0);
  for (std::size_t i = 0; i < section_count; ++i) {
    const auto flags = number_at<std::uint32_t>(bytes, sections + 40 * i + 36);
    constexpr std::uint32_t run_and_written = 0x20000000U | 0x80000000U;
    EXPECT_NE(flags & run_and_written, run_and_written) << bytes.substr(sections + 40 * i, 8);
  }
}

}  // namespace native_binary_protection_test
