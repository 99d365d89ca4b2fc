#include "tests/support/link_folder.h"

#include <fstream>

#include "tests/support/child_process.h"
#include "tests/support/paths.h"

namespace test_support {

LinkFolder::LinkFolder() : folder_(scratch_folder()) { point_back(); }

LinkFolder::~LinkFolder() { point_to(usual_); }

void LinkFolder::point_to(const std::filesystem::path& directory) {
#ifdef _WIN32
  set_environment("TMP", directory.string());
#else
  set_environment("TMPDIR", directory.string());
#endif
}

std::optional<LinkFile> LinkFolder::read() const {
  std::ifstream stream(file());
  if (!stream) return std::nullopt;
  LinkFile values;
  for (std::string line; std::getline(stream, line);) {
    const std::size_t equals = line.find('=');
    if (equals != std::string::npos) values[line.substr(0, equals)] = line.substr(equals + 1);
  }
  return values;
}

double number(const LinkFile& file, const std::string& key) { return std::stod(file.at(key)); }

}  // namespace test_support
