/// Feeds any text through all of it: a scene file, a session on its camera, frames, rays and projections.

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

#include "standin/host/dynamic_library.h"
#include "standin/session/session.h"

namespace {

std::filesystem::path scene_file() {
  static const std::filesystem::path file = [] {
    std::string folder = (std::filesystem::temp_directory_path() / "ovicam-fuzz-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no folder can be made in the temporary folder");
    return std::filesystem::path(folder) / "fuzz.lws";
  }();
  return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The fuzzer goes on reading the counters of a module that it has seen.
  static const auto& kept_loaded = *new standin::DynamicLibrary(OVICAM_MODULE_FILE);
  static_cast<void>(kept_loaded);
  std::ofstream(scene_file(), std::ios::binary).write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  standin::SessionOptions options;
  options.scene_file = scene_file();
  options.module_file = OVICAM_MODULE_FILE;
  options.motion_blur = true;
  options.depth_of_field = true;
  try {
    const auto session = standin::open_session(options);
    for (const int frame : {0, 7}) {
      const standin::FrameSetup setup = session->begin_frame(frame);
      std::array<standin::RayQuery, 9> queries{};
      for (std::size_t i = 0; i < queries.size(); ++i) {
        const double share = static_cast<double>(i) / 8.0 - 0.5;
        queries[i] = {share * setup.film_width, 0.7 * share * setup.film_height, 0.1, 0.2, i / 8.0, standin::Eye::centre};
      }
      std::array<standin::RayAnswer, 9> answers{};
      session->evaluate(queries, answers);
      session->project({1.0, 2.0, 3.0}, 0.5, standin::Eye::right);
    }
    session->take_warnings();
  } catch (const std::runtime_error&) {
    // A sentence for a person.
  }
  return 0;
}
