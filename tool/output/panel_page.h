#pragma once

#include <span>
#include <string>

#include "standin/session/introspection.h"

namespace tool {

/// A page that needs nothing but itself, and how large a window shows all of it, in pixels.
struct PanelPage {
  std::string html;
  int width = 0;
  int height = 0;
};

/// A panel as the host would lay it out from its rows. Threads: any.
PanelPage panel_page(std::span<const standin::ControlDescription> rows, const std::string& title);

/// The rows alone, for a page that has a style for them: every row is a `div.row` of `span.label` and `span.value`, or a
/// `div.drawing`; an `hr` divides.
std::string panel_fragment(std::span<const standin::ControlDescription> rows);

}  // namespace tool
