#include "framework/panel.h"

#include "framework/logo.h"

namespace framework {

LWXPanelID open_panel(const LWXPanelFuncs* xpanf, const PanelTables& tables, void* instance) {
  if (xpanf == nullptr) return nullptr;
  // The host takes its tables and hints as writable, and writes to none of them.
  const LWXPanelID panel = xpanf->create(LWXP_VIEW, const_cast<LWXPanelControl*>(tables.controls));
  if (panel == nullptr) return nullptr;
  give_hints(xpanf, panel, tables.hints);
  xpanf->describe(panel, const_cast<LWXPanelDataDesc*>(tables.data), tables.get, tables.set);
  xpanf->viewInst(panel, instance);
  xpanf->setData(panel, 0, instance);
  return panel;
}

void give_hints(const LWXPanelFuncs* xpanf, LWXPanelID panel, const HintWord* hints) {
  xpanf->hint(panel, 0, reinterpret_cast<void**>(const_cast<HintWord*>(hints)));
}

void draw_logo(const LWXPanelFuncs* xpanf, void* area, int width, int height) {
  if (xpanf == nullptr || xpanf->drawf == nullptr) return;
  const LWXPDrawFuncs& draw = *xpanf->drawf;
  draw.drawRGBBox(area, 0, 0, 0, 0, 0, width, height);
  for (int row = 0; row < logo_rows; ++row) {
    for (int column = 0; column < logo_columns; ++column) {
      const int grey = logo_grey(row, column);
      draw.drawRGBPixel(area, grey, grey, grey, 20 + column, logo_rows - row);
    }
  }
}

}  // namespace framework
