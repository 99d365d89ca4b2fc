#pragma once

#include <string_view>

namespace tool {

/// The page of `ovicam view`, as the files of that name in this folder were when this program was built.
extern const std::string_view page_html;
extern const std::string_view page_js;
extern const std::string_view page_css;
extern const std::string_view sphere_viewer_js;

}  // namespace tool
