#pragma once

#include <string>

#include "standin/host.h"
#include "standin/panel.h"

namespace tool {

/// A page that needs nothing but itself, and how large a window shows all of it, in pixels.
struct PanelPage {
  std::string html;
  int width = 0;
  int height = 0;
};

/// The panel as the host would lay it out from its controls, values and hints at the host's present time. Threads: one.
PanelPage panel_page(const standin::Host& host, const standin::Panel& panel, const std::string& title);

}  // namespace tool
