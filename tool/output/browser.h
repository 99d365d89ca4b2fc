#pragma once

#include <filesystem>
#include <string>

namespace tool {

/// What came of a picture of a page: without `trouble` it was written.
struct PagePicture {
  std::string trouble;
};

/// Lets an installed browser make a PNG of a page's file, without a window. Waits for it, half a minute at most. Threads: one.
PagePicture take_page_picture(const std::filesystem::path& page, int width, int height, const std::filesystem::path& picture);

}  // namespace tool
