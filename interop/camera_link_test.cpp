#include "interop/camera_link.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "standin/host/dynamic_library.h"
#include "tests/support/child_process.h"
#include "tests/support/paths.h"

#ifdef _WIN32
#include <cstdio>
#include <share.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;
using test_support::ChildProcess;

#ifdef _WIN32
constexpr const char* temporary_directory_variable = "TMP";
constexpr std::string_view line_end = "\r\n";
#else
constexpr const char* temporary_directory_variable = "TMPDIR";
constexpr std::string_view line_end = "\n";
#endif
constexpr char separator = static_cast<char>(fs::path::preferred_separator);

void set_temporary_directory(const std::string& directory) {
  test_support::set_environment(temporary_directory_variable, directory);
}

std::string content(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Text as the system's text files hold it.
std::string as_written(std::string_view text) {
  std::string written;
  for (const char character : text) character == '\n' ? written += line_end : written += character;
  return written;
}

struct Library {
  explicit Library(const fs::path& module_file = test_support::module_file()) : file(module_file) {}

  standin::DynamicLibrary file;
  decltype(QrmLink_SidecarPath)* path = file.find_as<decltype(QrmLink_SidecarPath)>("QrmLink_SidecarPath");
  decltype(QrmLink_Write)* write = file.find_as<decltype(QrmLink_Write)>("QrmLink_Write");
  decltype(QrmLink_WriteEx)* write_ex = file.find_as<decltype(QrmLink_WriteEx)>("QrmLink_WriteEx");
  decltype(QrmLink_WriteEx2)* write_ex2 = file.find_as<decltype(QrmLink_WriteEx2)>("QrmLink_WriteEx2");
  decltype(QrmLink_WriteEx3)* write_ex3 = file.find_as<decltype(QrmLink_WriteEx3)>("QrmLink_WriteEx3");
  decltype(QrmLink_WriteEx4)* write_ex4 = file.find_as<decltype(QrmLink_WriteEx4)>("QrmLink_WriteEx4");
  decltype(QrmLink_WriteEx5)* write_ex5 = file.find_as<decltype(QrmLink_WriteEx5)>("QrmLink_WriteEx5");
  decltype(QrmLink_WriteEx6)* write_ex6 = file.find_as<decltype(QrmLink_WriteEx6)>("QrmLink_WriteEx6");
  decltype(QrmLink_Read)* read = file.find_as<decltype(QrmLink_Read)>("QrmLink_Read");

  [[nodiscard]] bool complete() const {
    return (path != nullptr) && (write != nullptr) && (write_ex != nullptr) && (write_ex2 != nullptr) &&
           (write_ex3 != nullptr) && (write_ex4 != nullptr) && (write_ex5 != nullptr) && (write_ex6 != nullptr) &&
           (read != nullptr);
  }

  /// Publishes values that all follow from one number, in a text long enough to take several blocks of the disk.
  [[nodiscard]] int publish_number(int number) const {
    const std::string text(20'000, static_cast<char>('a' + number % 26));
    const double value = number;
    return write_ex2(text.c_str(), "1", "body", value, value, value, value, text.c_str(), value, value);
  }
};

/// A temporary directory of the test's own, and the module's view of it.
class CameraLink : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(library.complete());
    set_temporary_directory(folder.string());
  }

  void TearDown() override { set_temporary_directory(usual_temporary_directory.string()); }

  void put(std::string_view text) const {
    std::ofstream stream(file, std::ios::binary);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
  }

  struct Reading {
    int result;
    QrmLinkRecord record;
  };

  [[nodiscard]] Reading read() const {
    Reading reading = {};
    // What a reader forgets to set must not pass for zero.
    std::memset(static_cast<void*>(&reading.record), 0x5a, sizeof reading.record);
    reading.result = library.read(&reading.record);
    return reading;
  }

  [[nodiscard]] QrmLinkRecord read_text(std::string_view text) const {
    put(text);
    return read().record;
  }

  [[nodiscard]] int write_all() const {
    constexpr std::array position = {1.0, -2.5, 3.25};
    constexpr std::array right = {1.0, 0.0, 0.0};
    constexpr std::array up = {0.0, 1.0, 0.0};
    constexpr std::array forward = {0.0, 0.0, 1.0};
    return library.write_ex6("family", "9.8", "Body", 800.0, 2.8, 180.0, 0.5, "Scene", 400.0, 13.5, 3, 35.0, 36.0, 24.0, 0.1,
                             -0.02, 0.75, 1, "/maps/st.exr", 0.9, 0.25, "Lens", position.data(), right.data(), up.data(),
                             forward.data(), "BT", "LT", "Camera (1)");
  }

  fs::path usual_temporary_directory = fs::temp_directory_path();
  fs::path folder = test_support::scratch_folder();
  fs::path file = folder / "Quorin_CameraLink.ini";
  fs::path temporary_file = folder / "Quorin_CameraLink.ini.tmp";
  Library library;
};

// The path.

TEST_F(CameraLink, PathIsTheTemporaryDirectoryAndTheFileName) {
  std::array<char, 512> out = {};
  EXPECT_EQ(library.path(out.data(), static_cast<int>(out.size())), 1);
  EXPECT_EQ(out.data(), folder.string() + separator + "Quorin_CameraLink.ini");
}

TEST_F(CameraLink, PathOfADirectoryWithItsSeparatorHasNoSecondOne) {
  set_temporary_directory(folder.string() + separator);
  std::array<char, 512> out = {};
  EXPECT_EQ(library.path(out.data(), static_cast<int>(out.size())), 1);
  EXPECT_EQ(out.data(), file.string());
}

TEST_F(CameraLink, PathNeedsRoomFor64Characters) {
  std::array<char, 65> out = {};
  out.fill('x');
  const auto untouched = out;
  for (const int size : {63, 0, -1, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(library.path(out.data(), size), 0) << size;
    EXPECT_EQ(out, untouched) << size;
  }
  EXPECT_EQ(library.path(nullptr, 260), 0);
}

TEST_F(CameraLink, PathIsCutToTheRoomThereIs) {
  set_temporary_directory(folder.string() + separator + std::string(80, 'd'));
  std::array<char, 66> out = {};
  out.fill('x');
  EXPECT_EQ(library.path(out.data(), 64), 1);
  EXPECT_EQ(std::string(out.data()), (folder.string() + separator + std::string(80, 'd')).substr(0, 63));
  EXPECT_EQ(out[64], 'x');
}

TEST_F(CameraLink, TemporaryDirectoryOfMoreThan259CharactersIsRefused) {
  const auto directory_of_length = [&](std::size_t length) {
    const std::string name = folder.string() + separator;
    return name + std::string(length - name.size() - 1, 'd');
  };
  std::array<char, 512> out = {};
  set_temporary_directory(directory_of_length(259));
  EXPECT_EQ(library.path(out.data(), static_cast<int>(out.size())), 1);
  for (const std::size_t length : {std::size_t{260}, std::size_t{261}, std::size_t{400}}) {
    set_temporary_directory(directory_of_length(length));
    EXPECT_EQ(library.path(out.data(), static_cast<int>(out.size())), 0) << length;
    EXPECT_EQ(write_all(), 0) << length;
    EXPECT_EQ(read().result, 0) << length;
  }
  EXPECT_TRUE(fs::is_empty(folder));
}

// The writers.

TEST_F(CameraLink, WriteGivesTheBasicLines) {
  EXPECT_EQ(library.write("ovicam", "4.0.0.22", "OviCam Perspective", 800.0, 2.8, 180.0, 0.25), 1);
  EXPECT_EQ(content(file), as_written("[CameraLink]\nversion=1\nplugin=ovicam\nplugin_version=4.0.0.22\n"
                                      "body=OviCam Perspective\niso=800.000000\niris=2.800000\nshutter_angle=180.000000\n"
                                      "frame_time=0.250000\nscene=\nnative_iso=0.000000\ndynamic_range=0.000000\n"));
  EXPECT_FALSE(fs::exists(temporary_file));
}

TEST_F(CameraLink, WriteExAddsTheScene) {
  EXPECT_EQ(library.write_ex("p", "v", "b", 1.0, 2.0, 3.0, 4.0, "A = scene; #1"), 1);
  EXPECT_EQ(content(file), as_written("[CameraLink]\nversion=1\nplugin=p\nplugin_version=v\nbody=b\niso=1.000000\n"
                                      "iris=2.000000\nshutter_angle=3.000000\nframe_time=4.000000\nscene=A = scene; #1\n"
                                      "native_iso=0.000000\ndynamic_range=0.000000\n"));
}

TEST_F(CameraLink, WriteEx2AddsTheSensor) {
  EXPECT_EQ(library.write_ex2("p", "v", "b", 1.0, 2.0, 3.0, 4.0, "s", 5.0, 6.0), 1);
  EXPECT_EQ(content(file), as_written("[CameraLink]\nversion=1\nplugin=p\nplugin_version=v\nbody=b\niso=1.000000\n"
                                      "iris=2.000000\nshutter_angle=3.000000\nframe_time=4.000000\nscene=s\n"
                                      "native_iso=5.000000\ndynamic_range=6.000000\n"));
}

TEST_F(CameraLink, WriteEx3AddsTheApertureSource) {
  EXPECT_EQ(library.write_ex3("p", "v", "b", 1.0, 2.0, 3.0, 4.0, "s", 5.0, 6.0, -7), 1);
  EXPECT_EQ(content(file), as_written("[CameraLink]\nversion=1\nplugin=p\nplugin_version=v\nbody=b\niso=1.000000\n"
                                      "iris=2.000000\nshutter_angle=3.000000\nframe_time=4.000000\nscene=s\n"
                                      "native_iso=5.000000\ndynamic_range=6.000000\naperture_source=-7\n"));
}

constexpr std::string_view optics_lines =
    "native_iso=5.000000\ndynamic_range=6.000000\naperture_source=7\nfocal_mm=8.000000\nfilm_w_mm=9.000000\n"
    "film_h_mm=10.000000\ndistort_k1=11.000000\ndistort_k2=12.000000\ndistort_strength=13.000000\nstmap_active=1\n"
    "stmap_path=path\nstmap_strength=14.000000\nstmap_blend=15.000000\nlens=lens\n";

TEST_F(CameraLink, WriteEx4AddsTheOptics) {
  EXPECT_EQ(library.write_ex4("p", "v", "b", 1.0, 2.0, 3.0, 4.0, "s", 5.0, 6.0, 7, 8.0, 9.0, 10.0, 11.0, 12.0, 13.0, 1, "path",
                              14.0, 15.0, "lens"),
            1);
  EXPECT_EQ(content(file), as_written("[CameraLink]\nversion=1\nplugin=p\nplugin_version=v\nbody=b\niso=1.000000\n"
                                      "iris=2.000000\nshutter_angle=3.000000\nframe_time=4.000000\nscene=s\n" +
                                      std::string(optics_lines)));
}

TEST_F(CameraLink, WriteEx5AddsPoseAndTags) {
  constexpr std::array position = {0.1, 0.2, 0.3};
  constexpr std::array up = {0.0, -1.0, 1e-7};
  EXPECT_EQ(library.write_ex5("p", "v", "b", 1.0, 2.0, 3.0, 4.0, "s", 5.0, 6.0, 7, 8.0, 9.0, 10.0, 11.0, 12.0, 13.0, 1, "path",
                              14.0, 15.0, "lens", position.data(), nullptr, up.data(), nullptr, "bt", "lt"),
            1);
  EXPECT_EQ(content(file),
            as_written("[CameraLink]\nversion=1\nplugin=p\nplugin_version=v\nbody=b\nbody_tag=bt\nlens_tag=lt\n"
                       "iso=1.000000\niris=2.000000\nshutter_angle=3.000000\nframe_time=4.000000\nscene=s\n" +
                       std::string(optics_lines) + "cam_pos=0.100000,0.200000,0.300000\ncam_up=0.000000,-1.000000,0.000000\n"));
}

TEST_F(CameraLink, WriteEx6WritesEveryLine) {
  EXPECT_EQ(write_all(), 1);
  EXPECT_EQ(content(file),
            as_written("[CameraLink]\nversion=1\nplugin=family\nplugin_version=9.8\nbody=Body\nbody_tag=BT\nlens_tag=LT\n"
                       "iso=800.000000\niris=2.800000\nshutter_angle=180.000000\nframe_time=0.500000\nscene=Scene\n"
                       "camera_name=Camera (1)\nnative_iso=400.000000\ndynamic_range=13.500000\naperture_source=3\n"
                       "focal_mm=35.000000\nfilm_w_mm=36.000000\nfilm_h_mm=24.000000\ndistort_k1=0.100000\n"
                       "distort_k2=-0.020000\ndistort_strength=0.750000\nstmap_active=1\nstmap_path=/maps/st.exr\n"
                       "stmap_strength=0.900000\nstmap_blend=0.250000\nlens=Lens\ncam_pos=1.000000,-2.500000,3.250000\n"
                       "cam_right=1.000000,0.000000,0.000000\ncam_up=0.000000,1.000000,0.000000\n"
                       "cam_forward=0.000000,0.000000,1.000000\n"));
}

TEST_F(CameraLink, NullTextsHaveTheirStandIns) {
  EXPECT_EQ(
      library.write_ex6(nullptr, nullptr, nullptr, 1.0, 2.0, 3.0, 4.0, nullptr, 5.0, 6.0, 7, 8.0, 9.0, 10.0, 11.0, 12.0, 13.0,
                        1, nullptr, 14.0, 15.0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
      1);
  EXPECT_EQ(content(file),
            as_written("[CameraLink]\nversion=1\nplugin=unknown\nplugin_version=0\nbody=\nbody_tag=\nlens_tag=\n"
                       "iso=1.000000\niris=2.000000\nshutter_angle=3.000000\nframe_time=4.000000\nscene=\ncamera_name=\n"
                       "native_iso=5.000000\ndynamic_range=6.000000\naperture_source=7\nfocal_mm=8.000000\n"
                       "film_w_mm=9.000000\nfilm_h_mm=10.000000\ndistort_k1=11.000000\ndistort_k2=12.000000\n"
                       "distort_strength=13.000000\nstmap_active=1\nstmap_path=\nstmap_strength=14.000000\n"
                       "stmap_blend=15.000000\nlens=\n"));
}

std::string written_iso(const std::string& text) {
  const std::size_t start = text.find("\niso=") + 5;
  return text.substr(start, text.find_first_of("\r\n", start) - start);
}

TEST_F(CameraLink, NumbersHaveSixDecimals) {
  const auto expect = [&](double value, const std::string& text) {
    EXPECT_EQ(library.write("p", "v", "b", value, 1.0, 1.0, 1.0), 1);
    EXPECT_EQ(written_iso(content(file)), text);
  };
  constexpr double infinity = std::numeric_limits<double>::infinity();
  expect(0.0, "0.000000");
  expect(-0.0, "-0.000000");
  expect(-1e-9, "-0.000000");
  expect(1.0 / 3.0, "0.333333");
  expect(2.0 / 3.0, "0.666667");
  // Halfway cases that a double holds exactly go to the even digit.
  expect(1.0 / 128.0, "0.007812");
  expect(3.0 / 128.0, "0.023438");
  expect(99999.9999999, "100000.000000");
  expect(1e22, "10000000000000000000000.000000");
  expect(-std::ldexp(1.0, 80), "-1208925819614629174706176.000000");
  expect(infinity, "inf");
  expect(-infinity, "-inf");
  expect(std::numeric_limits<double>::quiet_NaN(), "nan");
  EXPECT_EQ(library.write("p", "v", "b", std::numeric_limits<double>::lowest(), 1.0, 1.0, 1.0), 1);
  EXPECT_EQ(read().record.iso, std::numeric_limits<double>::lowest());
  EXPECT_EQ(written_iso(content(file)).size(), 317U);
}

TEST_F(CameraLink, LocaleWithACommaChangesNothing) {
  const char* found = nullptr;
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8", "fr_FR.utf8", "German", "French"})
    if (found == nullptr) found = std::setlocale(LC_ALL, name);
  if (found == nullptr || std::string_view(std::localeconv()->decimal_point) != ",") {
    static_cast<void>(std::setlocale(LC_ALL, "C"));
    GTEST_SKIP() << "this system has no locale with a decimal comma";
  }
  const int written = write_all();
  const std::string text = content(file);
  const Reading reading = read();
  static_cast<void>(std::setlocale(LC_ALL, "C"));
  EXPECT_EQ(written, 1);
  EXPECT_EQ(written_iso(text), "800.000000");
  EXPECT_NE(text.find("cam_pos=1.000000,-2.500000,3.250000"), std::string::npos);
  EXPECT_EQ(reading.result, 1);
  EXPECT_EQ(reading.record.iris, 2.8);
  EXPECT_EQ(reading.record.cam_pos[1], -2.5);
  EXPECT_EQ(reading.record.cam_pos[2], 3.25);
}

TEST_F(CameraLink, WhatIsWrittenIsRead) {
  ASSERT_EQ(write_all(), 1);
  const auto [result, record] = read();
  EXPECT_EQ(result, 1);
  EXPECT_EQ(record.version, 1);
  EXPECT_STREQ(record.plugin, "family");
  EXPECT_STREQ(record.plugin_version, "9.8");
  EXPECT_STREQ(record.body, "Body");
  EXPECT_EQ(record.iso, 800.0);
  EXPECT_EQ(record.iris, 2.8);
  EXPECT_EQ(record.shutter_angle, 180.0);
  EXPECT_EQ(record.frame_time, 0.5);
  EXPECT_STREQ(record.scene, "Scene");
  EXPECT_EQ(record.native_iso, 400.0);
  EXPECT_EQ(record.dynamic_range, 13.5);
  EXPECT_EQ(record.aperture_source, 3);
  EXPECT_EQ(record.focal_mm, 35.0);
  EXPECT_EQ(record.film_w_mm, 36.0);
  EXPECT_EQ(record.film_h_mm, 24.0);
  EXPECT_EQ(record.distort_k1, 0.1);
  EXPECT_EQ(record.distort_k2, -0.02);
  EXPECT_EQ(record.distort_strength, 0.75);
  EXPECT_EQ(record.stmap_active, 1);
  EXPECT_STREQ(record.stmap_path, "/maps/st.exr");
  EXPECT_EQ(record.stmap_strength, 0.9);
  EXPECT_EQ(record.stmap_blend, 0.25);
  EXPECT_STREQ(record.lens, "Lens");
  EXPECT_EQ(std::to_array(record.cam_pos), (std::array{1.0, -2.5, 3.25}));
  EXPECT_EQ(std::to_array(record.cam_right), (std::array{1.0, 0.0, 0.0}));
  EXPECT_EQ(std::to_array(record.cam_up), (std::array{0.0, 1.0, 0.0}));
  EXPECT_EQ(std::to_array(record.cam_forward), (std::array{0.0, 0.0, 1.0}));
  EXPECT_STREQ(record.body_tag, "BT");
  EXPECT_STREQ(record.lens_tag, "LT");
  EXPECT_STREQ(record.camera_name, "Camera (1)");
}

// Writes that fail.

TEST_F(CameraLink, MissingDirectoryIsRefused) {
  set_temporary_directory((folder / "missing").string());
  EXPECT_EQ(write_all(), 0);
  EXPECT_EQ(read().result, 0);
  EXPECT_TRUE(fs::is_empty(folder));
}

TEST_F(CameraLink, DirectoryThatMayNotBeWrittenIsRefused) {
#ifdef _WIN32
  GTEST_SKIP() << "a directory's read-only attribute stops nobody on Windows";
#else
  if (geteuid() == 0) GTEST_SKIP() << "nothing is read-only for the superuser";
  ASSERT_EQ(write_all(), 1);
  const std::string before = content(file);
  fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
  const int written = library.publish_number(1);
  fs::permissions(folder, fs::perms::owner_all);
  EXPECT_EQ(written, 0);
  EXPECT_EQ(content(file), before);
  EXPECT_FALSE(fs::exists(temporary_file));
#endif
}

TEST_F(CameraLink, TemporaryFileThatCannotBeOpenedLeavesThePreviousOne) {
  ASSERT_EQ(write_all(), 1);
  const std::string before = content(file);
  fs::create_directory(temporary_file);
  EXPECT_EQ(library.publish_number(1), 0);
  EXPECT_EQ(content(file), before);
}

TEST_F(CameraLink, FailedRenameLeavesNoTemporaryFile) {
  fs::create_directory(file);
  put("");
  EXPECT_EQ(write_all(), 0);
  EXPECT_TRUE(fs::is_directory(file));
  EXPECT_FALSE(fs::exists(temporary_file));
  EXPECT_EQ(read().result, 0);
}

/// A folder whose name, the separator at its end counted, has this many characters.
fs::path folder_of_length(const fs::path& inside, std::size_t length) {
  const std::string name = inside.string() + separator;
  fs::path longer = name + std::string(length - name.size() - 1, 'd');
  fs::create_directory(longer);
  return longer;
}

TEST_F(CameraLink, LongestNamesThatFitAreWritten) {
  const fs::path longer = folder_of_length(folder, 235);
  set_temporary_directory(longer.string());
  EXPECT_EQ(write_all(), 1);
  EXPECT_EQ(read().result, 1);
  EXPECT_EQ(std::distance(fs::directory_iterator(longer), fs::directory_iterator()), 1);
}

TEST_F(CameraLink, NamesAtTheSystemsLimitLeaveNoTemporaryFile) {
  for (const std::size_t length : {std::size_t{236}, std::size_t{237}, std::size_t{238}}) {
    const fs::path longer = folder_of_length(folder, length);
    set_temporary_directory(longer.string());
    // Some systems refuse to rename a file whose name is longer than 259 characters.
    const int written = write_all();
#ifndef _WIN32
    EXPECT_EQ(written, 1);
#endif
    EXPECT_EQ(std::distance(fs::directory_iterator(longer), fs::directory_iterator()), written) << length;
    EXPECT_EQ(read().result, written) << length;
  }
}

TEST_F(CameraLink, NameThatDoesNotFitTouchesNoFile) {
  for (const std::size_t length : {std::size_t{239}, std::size_t{240}, std::size_t{250}, std::size_t{258}}) {
    const fs::path longer = folder_of_length(folder, length);
    set_temporary_directory(longer.string());
    EXPECT_EQ(write_all(), 0) << length;
    EXPECT_TRUE(fs::is_empty(longer)) << length;
  }
  // A cut name would have been a file beside the folder, or in it.
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 4);
}

TEST_F(CameraLink, LeftoverOfAnEndedProcessIsOverwritten) {
  std::ofstream(temporary_file, std::ios::binary) << std::string(100'000, '?');
  EXPECT_EQ(library.write_ex2("p", "v", "b", 1.0, 2.0, 3.0, 4.0, "s", 5.0, 6.0), 1);
  EXPECT_EQ(content(file).find('?'), std::string::npos);
  EXPECT_EQ(read().result, 1);
  EXPECT_FALSE(fs::exists(temporary_file));
}

TEST_F(CameraLink, WriterElsewhereKeepsItsTemporaryFile) {
  ASSERT_EQ(write_all(), 1);
  const std::string before = content(file);
#ifdef _WIN32
  std::FILE* other = _fsopen(temporary_file.string().c_str(), "w", _SH_DENYRW);
  ASSERT_NE(other, nullptr);
#else
  const int other = open(temporary_file.c_str(), O_WRONLY | O_CREAT, 0600);
  ASSERT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
#endif
  EXPECT_EQ(library.publish_number(1), 0);
  EXPECT_EQ(content(file), before);
  EXPECT_TRUE(fs::exists(temporary_file));
#ifdef _WIN32
  std::fclose(other);
#else
  close(other);
#endif
  EXPECT_EQ(library.publish_number(1), 1);
  EXPECT_NE(content(file), before);
}

#ifndef _WIN32
TEST_F(CameraLink, LinkLeftInThePlaceOfTheTemporaryFileIsNotFollowed) {
  const fs::path victim = folder / "victim";
  std::ofstream(victim) << "precious";
  fs::create_symlink(victim, temporary_file);
  EXPECT_EQ(write_all(), 0);
  EXPECT_EQ(content(victim), "precious");
}

TEST_F(CameraLink, PipeInThePlaceOfTheTemporaryFileDoesNotHoldTheRendererUp) {
  ASSERT_EQ(mkfifo(temporary_file.c_str(), 0600), 0);
  EXPECT_EQ(write_all(), 0);
  EXPECT_FALSE(fs::exists(file));
}
#endif

// The reader.

TEST_F(CameraLink, NullRecordIsRefused) {
  ASSERT_EQ(write_all(), 1);
  EXPECT_EQ(library.read(nullptr), 0);
}

TEST_F(CameraLink, MissingFileGivesAnEmptyRecordWithoutAVersion) {
  const auto [result, record] = read();
  EXPECT_EQ(result, 0);
  QrmLinkRecord expected = {};
  expected.version = -1;
  EXPECT_EQ(record.version, expected.version);
  EXPECT_EQ(record.iso, 0.0);
  EXPECT_STREQ(record.plugin, "");
  EXPECT_STREQ(record.camera_name, "");
  EXPECT_EQ(std::to_array(record.cam_forward), (std::array{0.0, 0.0, 0.0}));
}

TEST_F(CameraLink, FileWithoutVersionOneFailsButFillsTheRest) {
  for (const std::string version : {"", "version=2\n", "version=0\n", "version=\n", "version=one\n", "Version=1\n",
                                    "version=4294967297\n", "version=-1\n", "#version=1\n"}) {
    put(version + "iso=100\nbody=B\n");
    const auto [result, record] = read();
    EXPECT_EQ(result, 0) << version;
    EXPECT_EQ(record.iso, 100.0) << version;
    EXPECT_STREQ(record.body, "B") << version;
  }
  EXPECT_EQ(read_text("iso=1\n").version, -1);
}

TEST_F(CameraLink, VersionIsReadAsAnInteger) {
  for (const std::string version : {"version=1", "version= 1", "version=+1", "version=1.9", "version=01x", "version=1 \t\r\n",
                                    "version=2\nversion=1", "\n\r\n  \nversion=1"}) {
    put(version);
    EXPECT_EQ(read().result, 1) << version;
  }
  EXPECT_EQ(read_text("aperture_source=99999999999\nstmap_active=-99999999999").aperture_source,
            std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(read().record.stmap_active, std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(read_text("aperture_source=+-5").aperture_source, 0);
  EXPECT_EQ(read_text("aperture_source=--5").aperture_source, 0);
}

TEST_F(CameraLink, KeysMatchExactly) {
  EXPECT_EQ(read_text("iso = 100\n").iso, 0.0);
  EXPECT_EQ(read_text(" iso=100\n").iso, 0.0);
  EXPECT_EQ(read_text("ISO=100\n").iso, 0.0);
  EXPECT_EQ(read_text("isox=100\nis=100\n=100\n").iso, 0.0);
  EXPECT_EQ(read_text("iso\n").iso, 0.0);
  EXPECT_EQ(read_text("iso= 100\n").iso, 100.0);
  EXPECT_EQ(read_text("iso=100").iso, 100.0);
}

TEST_F(CameraLink, CommentsAndSectionsAreSkipped) {
  EXPECT_EQ(read_text("#iso=1\n;iso=2\n[iso=3\n").iso, 0.0);
  EXPECT_EQ(read_text("[x]\niso=5#6\n").iso, 5.0);
}

TEST_F(CameraLink, LastLineOfAKeyCounts) {
  const QrmLinkRecord record = read_text("body=a longer first name\niso=1\nbody=B\niso=\n");
  EXPECT_STREQ(record.body, "B");
  EXPECT_EQ(record.iso, 0.0);
}

TEST_F(CameraLink, ValueBeginsAfterTheFirstEqualsSign) {
  EXPECT_STREQ(read_text("scene=a=b= c \t\r\n").scene, "a=b= c");
  EXPECT_STREQ(read_text("scene==\n").scene, "=");
  EXPECT_STREQ(read_text("scene=  two blanks\n").scene, "  two blanks");
}

TEST_F(CameraLink, TextsAreCutToTheirFields) {
  const std::string long_text(500, 'x');
  const auto length = [&](const char* key, auto field) {
    const QrmLinkRecord record = read_text(std::string(key) + '=' + long_text + '\n');
    return std::string(record.*field).size();
  };
  EXPECT_EQ(length("plugin", &QrmLinkRecord::plugin), 127U);
  EXPECT_EQ(length("plugin_version", &QrmLinkRecord::plugin_version), 31U);
  EXPECT_EQ(length("body", &QrmLinkRecord::body), 127U);
  EXPECT_EQ(length("scene", &QrmLinkRecord::scene), 127U);
  EXPECT_EQ(length("lens", &QrmLinkRecord::lens), 255U);
  EXPECT_EQ(length("body_tag", &QrmLinkRecord::body_tag), 63U);
  EXPECT_EQ(length("lens_tag", &QrmLinkRecord::lens_tag), 63U);
  EXPECT_EQ(length("camera_name", &QrmLinkRecord::camera_name), 127U);
  EXPECT_EQ(length("stmap_path", &QrmLinkRecord::stmap_path), 500U);
}

TEST_F(CameraLink, LongLineIsReadInPiecesOf511Characters) {
  // The second piece begins with what looks like a line of its own.
  std::string line = "stmap_path=";
  line += std::string(511 - line.size(), 'p') + "iso=640";
  const QrmLinkRecord record = read_text("version=1\n" + line + "\nbody=after\n");
  EXPECT_EQ(std::string(record.stmap_path), std::string(500, 'p'));
  EXPECT_EQ(record.iso, 640.0);
  EXPECT_STREQ(record.body, "after");
  // The line end of a line that fills the buffer is a piece of its own.
  std::string full = "lens=";
  full += std::string(511 - full.size(), 'l');
  EXPECT_STREQ(read_text(full + "\nbody=B\n").body, "B");
}

TEST_F(CameraLink, LineEndsAtANul) {
  const QrmLinkRecord record = read_text(std::string_view("body=one\0two\niso=5\n", 19));
  EXPECT_STREQ(record.body, "one");
  EXPECT_EQ(record.iso, 5.0);
}

TEST_F(CameraLink, NumbersAreReadAsCReadsThem) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  struct Case {
    const char* text;
    double value;
  };
  constexpr std::array cases = {
      Case{"1.5", 1.5},
      Case{"+1.5", 1.5},
      Case{" \t\v\f-1.5x", -1.5},
      Case{".5", 0.5},
      Case{"5.", 5.0},
      Case{".", 0.0},
      Case{"1e3", 1000.0},
      Case{"1E+3", 1000.0},
      Case{"1e", 1.0},
      Case{"1e+", 1.0},
      Case{"1,5", 1.0},
      Case{"- 5", 0.0},
      Case{"--5", 0.0},
      Case{"+-5", 0.0},
      Case{"-+5", 0.0},
      Case{"abc", 0.0},
      Case{"inf", infinity},
      Case{"-INFINITY", -infinity},
      Case{"0x1.8p1", 3.0},
      Case{"-0X10", -16.0},
      Case{"0x.8", 0.5},
      Case{"0x", 0.0},
      Case{"0xg", 0.0},
      Case{"1e999", infinity},
      Case{"-1e999", -infinity},
      Case{"1e-999", 0.0},
      Case{"1e99999999999999999999999", infinity},
      Case{"1e-99999999999999999999999", 0.0},
      Case{"0.0000000001e320", infinity},
      Case{"0.0000000001e315", 1e305},
      Case{"1000000000000e-337", 0.0},
      Case{"1000000000000e-330", 1e-318},
      Case{"0e999999999999999999", 0.0},
      Case{"0x1p99999", infinity},
      Case{"0x1p-99999", 0.0},
      Case{"4.9e-324", 4.9e-324},
      Case{"1.7976931348623157e308", 1.7976931348623157e308},
      Case{"1.7976931348623159e308", infinity},
      Case{"0.1000000000000000055511151231257827021181583404541015625", 0.1},
  };
  for (const Case& example : cases)
    EXPECT_EQ(read_text(std::string("iso=") + example.text + "\n").iso, example.value) << example.text;
  EXPECT_TRUE(std::isnan(read_text("iso=nan\n").iso));
  EXPECT_TRUE(std::signbit(read_text("iso=-0\n").iso));
  EXPECT_EQ(read_text("iso=" + std::string(480, '9') + "\n").iso, infinity);
  EXPECT_EQ(read_text("iso=0." + std::string(400, '0') + "1\n").iso, 0.0);
  EXPECT_EQ(read_text("iso=0." + std::string(400, '0') + "1e401\n").iso, 1.0);
}

TEST_F(CameraLink, VectorsAreReadUntilTheyDoNotMatch) {
  using Vector = std::array<double, 3>;
  const auto vector = [&](const std::string& value) { return std::to_array(read_text("cam_up=" + value + "\n").cam_up); };
  EXPECT_EQ(vector("1,2,3"), (Vector{1, 2, 3}));
  EXPECT_EQ(vector("1,2"), (Vector{1, 2, 0}));
  EXPECT_EQ(vector("1"), (Vector{1, 0, 0}));
  EXPECT_EQ(vector(""), (Vector{0, 0, 0}));
  EXPECT_EQ(vector("x,2,3"), (Vector{0, 0, 0}));
  EXPECT_EQ(vector(" 1, 2,\t3"), (Vector{1, 2, 3}));
  EXPECT_EQ(vector("1 ,2,3"), (Vector{1, 0, 0}));
  EXPECT_EQ(vector("1,,3"), (Vector{1, 0, 0}));
  EXPECT_EQ(vector("1;2;3"), (Vector{1, 0, 0}));
  EXPECT_EQ(vector("1,2,3,4"), (Vector{1, 2, 3}));
  EXPECT_EQ(vector("-1e1,+.5,0x10"), (Vector{-10, 0.5, 16}));
  EXPECT_EQ(vector("1e,2e+,3"), (Vector{1, 2, 3}));
  EXPECT_EQ(vector("1e5e,2,3"), (Vector{1e5, 0, 0}));
  EXPECT_EQ(vector("1,2\ncam_up=5"), (Vector{5, 2, 0}));
  const QrmLinkRecord record = read_text("cam_pos=1,2,3\ncam_right=4,5,6\ncam_forward=7,8,9\n");
  EXPECT_EQ(std::to_array(record.cam_pos), (Vector{1, 2, 3}));
  EXPECT_EQ(std::to_array(record.cam_right), (Vector{4, 5, 6}));
  EXPECT_EQ(std::to_array(record.cam_up), (Vector{0, 0, 0}));
  EXPECT_EQ(std::to_array(record.cam_forward), (Vector{7, 8, 9}));
}

TEST_F(CameraLink, NoFileWritesOutsideTheRecord) {
  struct Guarded {
    std::array<unsigned char, 64> before;
    QrmLinkRecord record;
    std::array<unsigned char, 64> after;
  };
  std::mt19937 random(5);
  constexpr std::string_view pieces[] = {
      "version=", "stmap_path=", "camera_name=", "cam_pos=", "iso=", "1", ",", "\n", "=", "\r"};
  for (int run = 0; run < 300; ++run) {
    std::string text;
    while (text.size() < 3000) {
      text += pieces[random() % std::size(pieces)];
      if (random() % 4 == 0) text += std::string(random() % 700, static_cast<char>(random()));
    }
    put(text);
    Guarded guarded;
    std::memset(static_cast<void*>(&guarded), 0xa5, sizeof guarded);
    library.read(&guarded.record);
    for (const auto* fence : {&guarded.before, &guarded.after})
      for (const unsigned char byte : *fence) ASSERT_EQ(byte, 0xa5) << "run " << run;
    for (const std::string_view field : {std::string_view(guarded.record.plugin, 128),
                                         {guarded.record.plugin_version, 32},
                                         {guarded.record.body, 128},
                                         {guarded.record.scene, 128},
                                         {guarded.record.stmap_path, 512},
                                         {guarded.record.lens, 256},
                                         {guarded.record.body_tag, 64},
                                         {guarded.record.lens_tag, 64},
                                         {guarded.record.camera_name, 128}}) {
      ASSERT_EQ(field.back(), '\0') << "run " << run;
    }
  }
}

// Several writers.

/// Every text that publish_number(number) leaves in the file.
std::set<std::string> possible_contents(const Library& library, const fs::path& file, int numbers) {
  std::set<std::string> contents;
  for (int number = 0; number < numbers; ++number) {
    EXPECT_EQ(library.publish_number(number), 1);
    contents.insert(content(file));
  }
  EXPECT_EQ(contents.size(), static_cast<std::size_t>(numbers));
  return contents;
}

/// The file's content; nothing while Windows is putting a new one in its place.
std::optional<std::string> content_if_readable(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return std::nullopt;
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  return stream.bad() ? std::nullopt : std::optional(text);
}

TEST_F(CameraLink, ThreadsPublishTheValuesOfOneCall) {
  constexpr int thread_count = 4;
  const std::set<std::string> possible = possible_contents(library, file, thread_count);
  std::atomic<int> running = thread_count;
  std::atomic<int> written = 0;
  std::vector<std::thread> threads;
  threads.reserve(thread_count);
  for (int thread = 0; thread < thread_count; ++thread) {
    threads.emplace_back([&, thread] {
      for (int call = 0; call < 300; ++call) written += library.publish_number(thread);
      --running;
    });
  }
  int readings = 0;
  while (running > 0) {
    if (const auto text = content_if_readable(file)) {
      EXPECT_TRUE(possible.contains(*text)) << text->substr(0, 200);
      ++readings;
    }
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(written, 0);
  EXPECT_GT(readings, 0);
  EXPECT_FALSE(fs::exists(temporary_file));
  EXPECT_EQ(library.publish_number(0), 1);
}

TEST_F(CameraLink, CallThatFindsAWriteUnderWayIsRefusedAtOnce) {
  std::atomic<bool> stop = false;
  std::thread other([&] {
    while (!stop) static_cast<void>(library.publish_number(1));
  });
  int refused = 0;
  // The other thread writes without a pause; meeting it is a matter of a few calls.
  for (int call = 0; call < 200'000 && refused == 0; ++call) refused += 1 - library.publish_number(2);
  stop = true;
  other.join();
  EXPECT_GT(refused, 0);
  EXPECT_EQ(library.publish_number(3), 1);
}

TEST_F(CameraLink, ProcessesPublishTheValuesOfOneCall) {
  constexpr int process_count = 2;
  const std::set<std::string> possible = possible_contents(library, file, process_count);
  std::vector<std::unique_ptr<ChildProcess>> children;
  children.reserve(process_count);
  for (int number = 0; number < process_count; ++number) {
    children.push_back(std::make_unique<ChildProcess>(
        std::vector<std::string>{"--publish", test_support::module_file().string(), std::to_string(number), "1"}));
  }
  const auto any_running = [&] { return std::ranges::any_of(children, [](auto& child) { return child->is_running(); }); };
  int readings = 0;
  while (any_running()) {
    if (const auto text = content_if_readable(file)) {
      EXPECT_TRUE(possible.contains(*text)) << text->substr(0, 200);
      ++readings;
    }
  }
  EXPECT_GT(readings, 0);
  for (const auto& child : children) EXPECT_EQ(child->wait(), 0UL);
  EXPECT_TRUE(possible.contains(content(file)));
  EXPECT_FALSE(fs::exists(temporary_file));
}

TEST_F(CameraLink, ProcessEndedAtAnyMomentLeavesAWholeFile) {
  const std::set<std::string> possible = possible_contents(library, file, 2);
  std::mt19937 random(11);
  int ended_while_writing = 0;
  for (int run = 0; run < 25; ++run) {
    fs::remove(file);
    ChildProcess child({"--publish", test_support::module_file().string(), "0", "2"});
    while (!fs::exists(file) && child.is_running()) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
    if (child.is_running()) ++ended_while_writing;
    child.kill();
    child.wait();
    EXPECT_TRUE(possible.contains(content(file))) << "run " << run;
    EXPECT_EQ(read().result, 1) << "run " << run;
    // Whatever the process left in the temporary file does not stop the next one.
    EXPECT_EQ(library.publish_number(1), 1) << "run " << run;
    EXPECT_FALSE(fs::exists(temporary_file)) << "run " << run;
  }
  EXPECT_GT(ended_while_writing, 0);
}

/// What the program does when it is run as a child: publishes `variants` numbers from `first` on in turn, 1,000 times.
int publish(const fs::path& module_file, int first, int variants) {
  const Library library(module_file);
  int written = 0;
  for (int call = 0; call < 1000; ++call) written += library.publish_number(first + call % variants);
  return written > 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && std::string_view(argv[1]) == "--publish") return publish(argv[2], std::stoi(argv[3]), std::stoi(argv[4]));
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
