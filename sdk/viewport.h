#pragma once

/// Drawing into the host's viewports.

#include "sdk/types.h"

enum LWCoordinateSystem : int { LWCSYS_WORLD = 0, LWCSYS_OBJECT = 1, LWCSYS_ICON = 2, LWCSYS_VIEWPORT = 3 };
enum LWDrawModeBits : unsigned {
  LWDRAWMODE_CULL = 1,
  LWDRAWMODE_OUTLINE = 2,
  LWDRAWMODE_DEPTHTEST = 4,
  LWDRAWMODE_DEPTHWRITE = 8,
  LWDRAWMODE_SMOOTH = 16
};

extern "C" {

/// Every function takes `dispData` first. Points are three doubles.
struct LWCustomObjAccess {
  int view;
  int flags;
  void* dispData;
  void (*setColor)(void* dispData, float rgba[4]);
  LWUnusedSlot setPattern;
  LWUnusedSlot setTexture;
  LWUnusedSlot setUVs;
  void (*point)(void* dispData, double* position, int csys);
  void (*line)(void* dispData, double* a, double* b, int csys);
  void (*triangle)(void* dispData, double* a, double* b, double* c, int csys);
  void (*quad)(void* dispData, double* a, double* b, double* c, double* d, int csys);
  void (*circle)(void* dispData, double* centre, double radius, int csys);
  LWUnusedSlot text;
  LWDVector viewPos;
  LWDVector viewDir;
  LWUnusedSlot setCSysItem;
  LWUnusedSlot polygon;
  LWUnusedSlot polyIndexed;
  void (*setDrawMode)(void* dispData, unsigned mode);
  LWUnusedSlot disk;
  LWUnusedSlot setPart;
  LWUnusedSlot measureText;
  LWUnusedSlot setThickness;
  LWUnusedSlot circle2;
  LWUnusedSlot disk2;
  LWUnusedSlot setColorCC;
  LWUnusedSlot getColor;
  LWUnusedSlot pushMatrix;
  LWUnusedSlot popMatrix;
  LWUnusedSlot lineStrip;
  LWUnusedSlot lineLoop;
};
}

static_assert(offsetof(LWCustomObjAccess, dispData) == 8 && offsetof(LWCustomObjAccess, quad) == 72);
static_assert(offsetof(LWCustomObjAccess, viewPos) == 96 && offsetof(LWCustomObjAccess, setCSysItem) == 144);
static_assert(offsetof(LWCustomObjAccess, setDrawMode) == 168);
