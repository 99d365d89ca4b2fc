#ifndef _WIN32

#include "standin/remote/scratch_folder.h"

#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace standin {

ScratchFolder::ScratchFolder(const std::string& purpose) {
  const std::filesystem::path parent = std::filesystem::temp_directory_path();
  std::string name = (parent / ("ovicam-" + purpose + "-XXXXXX")).string();
  if (mkdtemp(name.data()) == nullptr)
    throw std::runtime_error("No folder can be made in " + parent.string() + "; set TMPDIR to a folder that can be written");
  path_ = name;
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace standin

#endif
