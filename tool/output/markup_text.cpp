#include "tool/output/markup_text.h"

namespace tool {

std::string as_markup(std::string_view text) {
  std::string markup;
  for (const char letter : text) {
    switch (letter) {
      case '&':
        markup += "&amp;";
        break;
      case '<':
        markup += "&lt;";
        break;
      case '>':
        markup += "&gt;";
        break;
      case '"':
        markup += "&quot;";
        break;
      default:
        markup += letter;
    }
  }
  return markup;
}

}  // namespace tool
