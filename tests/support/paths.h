#pragma once

#include <filesystem>

namespace test_support {

/// The module of this build, beside the test program: OviCam.p on Windows, OviCam.so here.
std::filesystem::path module_file();

/// A folder of the project's own fixtures and samples.
std::filesystem::path source_folder();

/// The folder of files saved by the real host, beside the clone; empty where it is not there (a clone passes without it).
std::filesystem::path host_scene_folder();

/// A new, empty folder for this test, removed by the operating system's own housekeeping.
std::filesystem::path scratch_folder();

}  // namespace test_support
