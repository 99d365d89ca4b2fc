#pragma once

/// The host's basic types. Everything the module and the host exchange is C, x86-64, natural alignment.

#include <cstddef>
#include <cstdint>

using LWItemID = struct LWItemOpaque*;
using LWInstance = void*;
using LWVParmID = struct LWVParmOpaque*;
using LWXPanelID = struct LWXPanelOpaque*;
using LWCameraEvaluatorID = struct LWCameraEvaluatorOpaque*;
using LWChanGroupID = struct LWChanGroupOpaque*;
using LWPntID = struct LWPntOpaque*;
using LWPolID = struct LWPolOpaque*;

/// Constant text; null means no error.
using LWError = const char*;
using LWFrame = int;
/// Seconds.
using LWTime = double;
/// Four-character code, first character in the top byte.
using LWID = std::uint32_t;
using LWDVector = double[3];
using LWFVector = float[3];
using LWDMatrix4 = double[4][4];

enum LWItemType : int { LWI_OBJECT = 0, LWI_LIGHT = 1, LWI_CAMERA = 2, LWI_BONE = 3 };
enum LWCameraEye : int { LWCAMEYE_CENTER = 0, LWCAMEYE_LEFT = 1, LWCAMEYE_RIGHT = 2 };

/// A slot of a host table that nothing here calls; it only keeps the slots after it in their places.
using LWUnusedSlot = void (*)();

constexpr LWID lwid(char a, char b, char c, char d) {
  return (static_cast<LWID>(static_cast<unsigned char>(a)) << 24) | (static_cast<LWID>(static_cast<unsigned char>(b)) << 16) |
         (static_cast<LWID>(static_cast<unsigned char>(c)) << 8) | static_cast<LWID>(static_cast<unsigned char>(d));
}

static_assert(sizeof(void*) == 8 && sizeof(int) == 4 && sizeof(LWItemType) == 4 && sizeof(LWCameraEye) == 4);
static_assert(lwid('T', 'X', 'U', 'V') == 0x54585556U);
