#pragma once

#include <filesystem>
#include <string>

namespace tool {

/// The outcome of taking a picture of a page: it was written if `trouble` is empty, and otherwise there is no browser.
struct PagePicture {
  std::string trouble;
};

/// Takes a PNG picture of a page with an installed browser, without a window. Waits for the browser, for half a minute at most.
/// A browser that fails, and a picture that cannot be written, throw std::runtime_error. Threads: one.
PagePicture take_page_picture(const std::filesystem::path& page, int width, int height, const std::filesystem::path& picture);

}  // namespace tool
