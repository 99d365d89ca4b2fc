#pragma once

#include <span>
#include <string>
#include <string_view>

#include "standin/session/introspection.h"

namespace tool {

/// A panel as the host would lay it out from its rows, as a `div.panel` that fits the width it is given. The style that it
/// needs is panel_style(). Threads: any.
std::string panel_html(std::span<const standin::ControlDescription> rows, const std::string& title);

/// The rules of a style sheet for panel_html; they touch nothing outside of the panel. Threads: any.
std::string_view panel_style();

/// A picture for a page, as an address that holds all of it. Threads: any.
std::string png_data_uri(const standin::Picture& picture);

/// A page that needs nothing but itself, and the size in pixels of a window that shows all of it.
struct PanelPage {
  std::string html;
  int width = 0;
  int height = 0;
};

/// A page of one panel. Threads: any.
PanelPage panel_page(std::span<const standin::ControlDescription> rows, const std::string& title);

}  // namespace tool
