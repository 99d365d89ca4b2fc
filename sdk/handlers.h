#pragma once

/// The records that a server's activation fills, and the records that its callbacks are handed.

#include "sdk/panels.h"
#include "sdk/states.h"
#include "sdk/types.h"
#include "sdk/viewport.h"

enum LWRenderMode : int { LWRM_PREVIEW = 0, LWRM_RENDER = 1 };

/// Bits of an evaluation's result.
enum LWCameraEvaluation : int {
  LWCAMEVAL_NONE = 0,
  LWCAMEVAL_RAY = 1,
  LWCAMEVAL_DEFAULT_INTERPOLATION = 2,
  LWCAMEVAL_RAY_DELTAS = 4,
  LWCAMEVAL_STEREO_RAY = 8
};

enum LWCameraFlags : unsigned { LWCAMFLAG_DEPTH_OF_FIELD = 1U << 0, LWCAMFLAG_NO_PROJECTION = 1U << 2 };

struct LWCameraAccess {
  LWItemID cameraID;
  LWDVector worldPos;
  LWDVector toWorld[3];
  LWDVector toCamera[3];
  /// Width, then height, in metres.
  double filmSize[2];
};

struct LWFrameInfo {
  LWFrame frame;
  LWTime start;
  LWTime duration;
  double fps;
  unsigned motionSteps;
};

struct LWCameraRay {
  LWDVector rayPos;
  LWDVector rayDir;
  LWDVector filmNorm;
  LWDVector filter[3];
  double dFPX;
  double dFPY;
  LWDVector rayPosDFPX;
  LWDVector rayPosDFPY;
  LWDVector rayDirDFPX;
  LWDVector rayDirDFPY;
  double convergenceDist;
};

struct LWToolEvent;

extern "C" {

struct LWInstanceFuncs {
  void* priv;
  LWInstance (*create)(void* priv, void* context, LWError* error);
  void (*destroy)(LWInstance instance);
  LWError (*copy)(LWInstance to, LWInstance from);
  LWError (*load)(LWInstance instance, const LWLoadState* state);
  LWError (*save)(LWInstance instance, const LWSaveState* state);
  const char* (*descln)(LWInstance instance);
};

struct LWItemFuncs {
  const LWItemID* (*useItems)(LWInstance instance);
  void (*changeID)(LWInstance instance, const LWItemID* items);
  void (*changeName)(LWInstance instance, const LWItemID* items, const char* const* names);
};

struct LWRenderFuncs {
  LWError (*init)(LWInstance instance, int mode);
  void (*cleanup)(LWInstance instance);
  LWError (*newTime)(LWInstance instance, LWFrame frame, LWTime time);
};

struct LWCameraHandler {
  LWInstanceFuncs* inst;
  LWItemFuncs* item;
  LWRenderFuncs* rend;
  int (*preview)(LWInstance instance, double lensX, double lensY, LWCameraEye eye, LWDMatrix4 projection,
                 const LWCameraAccess* access);
  LWError (*newFrame)(LWInstance instance, const LWFrameInfo* frame, const LWCameraAccess* access);
  int (*evaluate)(LWInstance instance, double filmX, double filmY, double lensX, double lensY, double fractionalTime,
                  LWCameraEye eye, LWCameraRay* ray, const LWCameraAccess* access);
  unsigned (*flags)(LWInstance instance);
  int (*project)(LWInstance instance, double lensX, double lensY, const LWDVector world, double fractionalTime, LWCameraEye eye,
                 LWDVector film, const LWCameraAccess* access);
};

struct LWInterface {
  LWInstance inst;
  LWXPanelID panel;
  LWError (*options)(LWInstance instance);
  LWError (*command)(LWInstance instance, const char* text);
};

struct LWGizmoFuncs {
  void (*done)(LWInstance instance);
  void (*draw)(LWInstance instance, LWCustomObjAccess* access);
  const char* (*help)(LWInstance instance, LWToolEvent* event);
  int (*dirty)(LWInstance instance);
  int (*count)(LWInstance instance, LWToolEvent* event);
  int (*handle)(LWInstance instance, LWToolEvent* event, int index, LWDVector position);
  int (*start)(LWInstance instance, LWToolEvent* event);
  int (*adjust)(LWInstance instance, LWToolEvent* event, int index);
  int (*down)(LWInstance instance, LWToolEvent* event);
  void (*move)(LWInstance instance, LWToolEvent* event);
  void (*up)(LWInstance instance, LWToolEvent* event);
  void (*event)(LWInstance instance, int code);
  LWXPanelID (*panel)(LWInstance instance);
  /// The host's newest slot; a module leaves it as the host set it.
  int (*end)(LWInstance instance, LWToolEvent* event, int index);
};

struct LWGizmo {
  LWInstance instance;
  LWGizmoFuncs* gizmo;
  const LWItemID* (*pickItems)(LWInstance instance, const LWItemID* drawItems, const unsigned* drawParts);
};

struct LWMasterAccess {
  int eventCode;
  void* eventData;
};

struct LWMasterHandler {
  LWInstanceFuncs* inst;
  LWItemFuncs* item;
  int type;
  double (*event)(LWInstance instance, const LWMasterAccess* access);
  unsigned (*flags)(LWInstance instance);
};
}

inline constexpr const char* LWCAMERA_HANDLER_CLASS = "CameraHandler";
inline constexpr const char* LWCAMERA_INTERFACE_CLASS = "CameraInterface";
inline constexpr const char* LWCAMERA_GIZMO_CLASS = "CameraGizmo";
inline constexpr int LWCAMERA_HANDLER_VERSION = 4;
inline constexpr int LWCAMERA_INTERFACE_VERSION = 5;
inline constexpr int LWCAMERA_GIZMO_VERSION = 5;
inline constexpr int LWMASTER_HANDLER_VERSION = 5;

static_assert(sizeof(LWCameraAccess) == 192 && offsetof(LWCameraAccess, toWorld) == 32);
static_assert(offsetof(LWCameraAccess, toCamera) == 104 && offsetof(LWCameraAccess, filmSize) == 176);
static_assert(sizeof(LWFrameInfo) == 40 && offsetof(LWFrameInfo, start) == 8 && offsetof(LWFrameInfo, motionSteps) == 32);
static_assert(sizeof(LWCameraRay) == 264 && offsetof(LWCameraRay, filmNorm) == 48);
static_assert(offsetof(LWCameraRay, dFPX) == 144 && offsetof(LWCameraRay, convergenceDist) == 256);
static_assert(sizeof(LWInstanceFuncs) == 56 && sizeof(LWItemFuncs) == 24 && sizeof(LWRenderFuncs) == 24);
static_assert(sizeof(LWCameraHandler) == 64 && offsetof(LWCameraHandler, evaluate) == 40);
static_assert(sizeof(LWInterface) == 32 && sizeof(LWGizmo) == 24 && sizeof(LWGizmoFuncs) == 14 * 8);
static_assert(sizeof(LWMasterHandler) == 40 && offsetof(LWMasterHandler, event) == 24);
