/// Feeds any bytes to the reader of the camera link file. Build and run, from the top of the repository:
///   clang++ -std=c++20 -g -O1 -I. -fsanitize=fuzzer,address,undefined tests/fuzz/camera_link_fuzz.cpp
///       interop/camera_link_text.cpp interop/number_text.cpp -o build/camera_link_fuzz
///   build/camera_link_fuzz -max_total_time=60 build/camera_link_found tests/fuzz/camera_link_corpus
/// The first folder, which must exist, receives new inputs.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "interop/camera_link_text.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::vector<std::uint8_t> bytes(data, data + size);
  std::FILE* file = fmemopen(bytes.data(), bytes.size(), "r");
  require(file != nullptr);
  QrmLinkRecord record = {};
  camera_link::read(file, record);
  require(std::fclose(file) == 0);

  for (const std::string_view field : {std::string_view(record.plugin, sizeof record.plugin),
                                       {record.plugin_version, sizeof record.plugin_version},
                                       {record.body, sizeof record.body},
                                       {record.scene, sizeof record.scene},
                                       {record.stmap_path, sizeof record.stmap_path},
                                       {record.lens, sizeof record.lens},
                                       {record.body_tag, sizeof record.body_tag},
                                       {record.lens_tag, sizeof record.lens_tag},
                                       {record.camera_name, sizeof record.camera_name}}) {
    require(field.back() == '\0');
    // Nothing of an earlier, longer text is left behind the end of the last one.
    require(field.find_first_not_of('\0', field.find('\0')) == std::string_view::npos);
  }
  return 0;
}
