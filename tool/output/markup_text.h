#pragma once

#include <string>
#include <string_view>

namespace tool {

/// Text as HTML and XML write it, within an attribute as well. Control characters, which XML cannot write, stay. Threads: any.
std::string as_markup(std::string_view text);

}  // namespace tool
