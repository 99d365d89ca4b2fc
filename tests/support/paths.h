#pragma once

#include <filesystem>

namespace test_support {

/// The module of this build, beside the test program: OviCam.p on Windows, OviCam.so elsewhere.
std::filesystem::path module_file();

/// The project's source folder.
std::filesystem::path source_folder();

/// The folder of files that the real host saved, beside the clone. Empty where there is none: tests must pass without it.
std::filesystem::path host_scene_folder();

/// A new, empty folder. It is removed when this process ends, unless one of its tests failed.
std::filesystem::path scratch_folder();

}  // namespace test_support
