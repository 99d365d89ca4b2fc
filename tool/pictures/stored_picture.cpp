#include "tool/pictures/stored_picture.h"

#include "tool/pictures/picture_library.h"

namespace tool {

std::unique_ptr<StoredPicture> read_picture(const std::filesystem::path& file) {
  return picture_from_library<StoredPicture>("ovicam_read_picture", file);
}

}  // namespace tool
