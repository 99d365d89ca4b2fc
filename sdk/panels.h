#pragma once

/// The host's declarative panels: controls, data descriptions, hints and draw functions.

#include "sdk/types.h"

enum LWXPanelType : int { LWXP_VIEW = 1, LWXP_FORM = 2 };
enum LWXPanelRefresh : int { LWXPRC_NONE = 0, LWXPRC_DFLT = 1, LWXPRC_DRAW = 2, LWXPRC_FULL = 3, LWXPRC_FORM = 4 };

/// Hint tags. The low seven bits count the fixed arguments; bit 7 announces a further zero-terminated list.
enum LWXPanelHint : std::uint32_t {
  LWXPTAG_END = 0,
  LWXPTAG_FOCUS = 0x3D001201,
  LWXPTAG_DESTROYNOTIFY = 0x3D001302,
  LWXPTAG_MIN = 0x3D014002,
  LWXPTAG_MAX = 0x3D014102,
  LWXPTAG_RANGE = 0x3D014304,
  LWXPTAG_SENSITIVITY = 0x3D014402,
  LWXPTAG_STRLIST = 0x3D014503,
  LWXPTAG_POPFUNCS = 0x3D016203,
  LWXPTAG_DRAWCALLBACK = 0x3D016502,
  LWXPTAG_CONFIGURE = 0x3D017403,
  LWXPTAG_DIVIDER = 0x3D021481
};

extern "C" {

struct LWXPanelControl {
  std::uint32_t id;
  const char* label;
  const char* controlClass;
};

struct LWXPanelDataDesc {
  std::uint32_t id;
  const char* name;
  const char* dataType;
};

using LWXPanelGetFunc = void*(void* instance, std::uint32_t id);
using LWXPanelSetFunc = int(void* instance, std::uint32_t id, void* value);
using LWXPanelDrawFunc = void(LWXPanelID panel, std::uint32_t control, void* area, int width, int height);
using LWXPanelDestroyFunc = void(void* data);
using LWXPanelPopCountFunc = int(void* userData);
using LWXPanelPopNameFunc = const char*(void* userData, int index);

struct LWXPDrawFuncs {
  void (*drawPixel)(void* area, int color, int x, int y);
  void (*drawRGBPixel)(void* area, int red, int green, int blue, int x, int y);
  void (*drawLine)(void* area, int color, int x, int y, int x2, int y2);
  void (*drawBox)(void* area, int color, int x, int y, int width, int height);
  void (*drawRGBBox)(void* area, int red, int green, int blue, int x, int y, int width, int height);
  void (*drawBorder)(void* area, int indent, int x, int y, int width, int height);
  int (*textWidth)(void* area, const char* text);
  int (*textHeight)(void* area, const char* text);
  void (*drawText)(void* area, const char* text, int color, int x, int y);
};

struct LWXPanelFuncs {
  int version;
  LWXPDrawFuncs* drawf;
  LWXPanelID (*create)(int type, LWXPanelControl* controls);
  void (*destroy)(LWXPanelID panel);
  void (*describe)(LWXPanelID panel, LWXPanelDataDesc* data, LWXPanelGetFunc* get, LWXPanelSetFunc* set);
  void (*hint)(LWXPanelID panel, std::uint32_t id, void** hints);
  void* (*getData)(LWXPanelID panel, std::uint32_t id);
  void (*setData)(LWXPanelID panel, std::uint32_t id, void* data);
  void* (*formGet)(LWXPanelID panel, std::uint32_t id);
  void (*formSet)(LWXPanelID panel, std::uint32_t id, void* value);
  void (*viewInst)(LWXPanelID panel, void* instance);
  void (*viewRefresh)(LWXPanelID panel);
  int (*post)(LWXPanelID panel);
  int (*open)(LWXPanelID panel);
  void (*viewRebuild)(LWXPanelID panel);
};
}

static_assert(sizeof(LWXPanelControl) == 24 && offsetof(LWXPanelControl, label) == 8);
static_assert(sizeof(LWXPanelDataDesc) == 24 && offsetof(LWXPanelDataDesc, dataType) == 16);
static_assert(sizeof(LWXPDrawFuncs) == 9 * 8 && offsetof(LWXPDrawFuncs, drawRGBBox) == 4 * 8);
static_assert(offsetof(LWXPanelFuncs, drawf) == 8 && offsetof(LWXPanelFuncs, viewInst) == 10 * 8 &&
              sizeof(LWXPanelFuncs) == 15 * 8);
