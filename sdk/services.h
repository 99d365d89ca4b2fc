#pragma once

/// The host's services by name, as tables of functions. Slots that nothing here calls are only kept in place.

#include "sdk/states.h"
#include "sdk/types.h"

inline constexpr const char* LWITEMINFO_GLOBAL = "LW Item Info 9";
inline constexpr const char* LWCAMERAINFO_GLOBAL = "LW Camera Info 10";
inline constexpr const char* LWTIMEINFO_GLOBAL = "LW Time Info";
inline constexpr const char* LWXPANELFUNCS_GLOBAL = "LWXPanel 3";
inline constexpr const char* LWVPARMFUNCS_GLOBAL = "LWVParmFuncs 4";
inline constexpr const char* LWMESSAGEFUNCS_GLOBAL = "Info Messages 4";
inline constexpr const char* LWSYSTEMID_GLOBAL = "System ID";
inline constexpr const char* LWCAMERAEVALUATION_GLOBAL = "LW Camera Evaluation Funcs 4";
inline constexpr const char* LWOBJECTFUNCS_GLOBAL = "Scene Objects 9";
inline constexpr const char* LWOBJECTINFO_GLOBAL = "LW Object Info 14";

/// The top four bits of the "System ID" word tell which of the host's programs has loaded the module.
inline constexpr unsigned LWSYS_TYPEBITS = 0xF0000000U;
inline constexpr unsigned LWSYS_LAYOUT = 0x00000000U;
inline constexpr unsigned LWSYS_MODELER = 0x10000000U;
inline constexpr unsigned LWSYS_SCREAMERNET = 0x20000000U;
inline constexpr unsigned LWSYS_OTHER = 0x80000000U;

/// Codes of the item parameter function.
enum LWItemParam : int {
  LWIP_POSITION = 1,
  LWIP_RIGHT = 2,
  LWIP_UP = 3,
  LWIP_FORWARD = 4,
  LWIP_ROTATION = 5,
  LWIP_SCALING = 6,
  LWIP_PIVOT = 7,
  LWIP_W_POSITION = 8,
  LWIP_W_RIGHT = 9,
  LWIP_W_UP = 10,
  LWIP_W_FORWARD = 11
};

enum LWVParmType : int { LWVP_FLOAT = 0x10, LWVP_PERCENT = 0x20, LWVP_DIST = 0x30, LWVP_ANGLE = 0x40 };
inline constexpr int LWVPDT_NOTXTR = -1;

struct LWTimeInfo {
  LWTime time;
  LWFrame frame;
};

struct LWCameraRay;
struct LWMeshInfo;

extern "C" {

struct LWMessageFuncs {
  void (*info)(const char* lineA, const char* lineB);
  void (*error)(const char* lineA, const char* lineB);
  void (*warning)(const char* lineA, const char* lineB);
  int (*okCancel)(const char* title, const char* lineA, const char* lineB);
  int (*yesNo)(const char* title, const char* lineA, const char* lineB);
  int (*yesNoCan)(const char* title, const char* lineA, const char* lineB);
  int (*yesNoAll)(const char* title, const char* lineA, const char* lineB);
  LWUnusedSlot askName;
};

struct LWItemInfo {
  LWItemID (*first)(LWItemType type, LWItemID parent);
  LWItemID (*next)(LWItemID item);
  LWUnusedSlot firstChild;
  LWUnusedSlot nextChild;
  LWUnusedSlot parent;
  LWUnusedSlot target;
  LWUnusedSlot goal;
  LWUnusedSlot type;
  const char* (*name)(LWItemID item);
  void (*param)(LWItemID item, int param, LWTime time, double* out);
  LWUnusedSlot limits;
  LWUnusedSlot getTag;
  LWUnusedSlot setTag;
  LWChanGroupID (*chanGroup)(LWItemID item);
  /// server, serverFlags, controller, flags, lookAhead, goalStrength, stiffness, axisLocks, maxLookSteps,
  /// reliableDistance, goalObjective, ikfkBlending, ikInitialState, ikInitialStateFrame, ikSoft, pole, sameItem,
  /// sameItemBlend, sameItemBlendMethod, sameItemFlags, selected, follow, controllerTrans, splineItem, splineFit,
  /// splineT, rotationOrder, relparam
  LWUnusedSlot serverToRelparam[28];
};

struct LWCameraInfo {
  double (*zoomFactor)(LWItemID camera, LWTime time);
  double (*focalLength)(LWItemID camera, LWTime time);
  double (*focalDistance)(LWItemID camera, LWTime time);
  double (*fStop)(LWItemID camera, LWTime time);
  double (*blurLength)(LWItemID camera, LWTime time);
  void (*fovAngles)(LWItemID camera, LWTime time, double* horizontal, double* vertical);
  LWUnusedSlot flags;
  void (*resolution)(LWItemID camera, int* width, int* height);
  double (*pixelAspect)(LWItemID camera, LWTime time);
  double (*separation)(LWItemID camera, LWTime time);
  /// regionLimits, maskLimits, maskColor, motionBlur, fieldRendering, irisPos, usingGlobalResolution,
  /// usingGlobalBlur, usingGlobalMask, motionBlurPasses, shutterEfficiency, noiseSampler
  LWUnusedSlot regionLimitsToNoiseSampler[12];
  void (*filmSize)(LWItemID camera, double* width, double* height);
  /// frameTiming, antiAliasing, overSampling, diaphragm, convergencePoint, usingConvergencePoint,
  /// convergenceToeIn, eyeTransform, rollingShutter, shutterOpen, minSamples, maxSamples, trackedEye,
  /// overscanMode, overscanSize, resolutionmultiplier, overscanPixels
  LWUnusedSlot frameTimingToOverscanPixels[17];
};

/// Evaluators of the scene's cameras, made and destroyed by the module.
struct LWCameraEvaluationFuncs {
  LWCameraEvaluatorID (*create)(LWItemID camera);
  void (*destroy)(LWCameraEvaluatorID evaluator);
  LWError (*init)(LWCameraEvaluatorID evaluator, int mode);
  void (*cleanUp)(LWCameraEvaluatorID evaluator);
  LWError (*newTime)(LWCameraEvaluatorID evaluator, LWFrame frame, LWTime time);
  int (*preview)(LWCameraEvaluatorID evaluator, double lensX, double lensY, LWCameraEye eye, LWDMatrix4 projection);
  LWError (*newFrame)(LWCameraEvaluatorID evaluator);
  int (*evaluate)(LWCameraEvaluatorID evaluator, double filmX, double filmY, double lensX, double lensY, double fractionalTime,
                  LWCameraEye eye, LWCameraRay* ray);
  int (*project)(LWCameraEvaluatorID evaluator, double lensX, double lensY, const LWDVector world, double fractionalTime,
                 LWCameraEye eye, LWDVector film);
  LWUnusedSlot sampledProject;
};

/// `result` and `value` are arrays of up to three doubles: a host may touch all three.
struct LWVParmFuncs {
  LWVParmID (*create)(int envType, int texType);
  void (*destroy)(LWVParmID parameter);
  void (*setup)(LWVParmID parameter, const char* channelName, LWChanGroupID group, void* textureContext, void* eventFunction,
                const char* pluginName, void* userData);
  LWError (*copy)(LWVParmID to, LWVParmID from);
  LWError (*load)(LWVParmID parameter, const LWLoadState* state);
  LWError (*save)(LWVParmID parameter, const LWSaveState* state);
  double (*getVal)(LWVParmID parameter, LWTime time, void* micropolygon, double* result);
  int (*setVal)(LWVParmID parameter, double* value);
  LWUnusedSlot getState;
  LWUnusedSlot setState;
  LWUnusedSlot editEnv;
  LWUnusedSlot editTex;
  LWUnusedSlot initMP;
  LWUnusedSlot getEnv;
  LWUnusedSlot getTex;
};

struct LWObjectFuncs {
  int (*numObjects)();
  const char* (*filename)(int object);
  int (*maxLayers)(int object);
  int (*layerExists)(int object, int layer);
  void (*pivotPoint)(int object, int layer, LWFVector pivot);
  LWMeshInfo* (*layerMesh)(int object, int layer);
  int (*numVMaps)(LWID type);
  const char* (*vmapName)(LWID type, int index);
  int (*vmapDim)(LWID type, int index);
  LWID (*vmapType)(int index);
  const char* (*layerName)(int object, int layer);
  int (*layerVis)(int object, int layer);
  const char* (*userName)(int object);
  const char* (*refName)(int object);
  int maxPointsPerPoly;
  LWUnusedSlot focusObject;
};

struct LWMeshInfo {
  void* priv;
  void (*destroy)(LWMeshInfo* mesh);
  int (*numPoints)(LWMeshInfo* mesh);
  int (*numPolygons)(LWMeshInfo* mesh);
  std::size_t (*scanPoints)(LWMeshInfo* mesh, std::size_t (*scan)(void* data, LWPntID point), void* data);
  std::size_t (*scanPolys)(LWMeshInfo* mesh, std::size_t (*scan)(void* data, LWPolID polygon), void* data);
  void (*pntBasePos)(LWMeshInfo* mesh, LWPntID point, LWFVector position);
  void (*pntOtherPos)(LWMeshInfo* mesh, LWPntID point, LWFVector position);
  void* (*pntVLookup)(LWMeshInfo* mesh, LWID type, const char* name);
  int (*pntVSelect)(LWMeshInfo* mesh, void* vmap);
  int (*pntVGet)(LWMeshInfo* mesh, LWPntID point, float* values);
  LWID (*polType)(LWMeshInfo* mesh, LWPolID polygon);
  int (*polSize)(LWMeshInfo* mesh, LWPolID polygon);
  LWPntID (*polVertex)(LWMeshInfo* mesh, LWPolID polygon, int index);
  const char* (*polTag)(LWMeshInfo* mesh, LWPolID polygon, LWID type);
  int (*pntVPGet)(LWMeshInfo* mesh, LWPntID point, LWPolID polygon, float* values);
  unsigned (*polFlags)(LWMeshInfo* mesh, LWPolID polygon);
};
}

static_assert(sizeof(LWTimeInfo) == 16 && offsetof(LWTimeInfo, frame) == 8);
static_assert(sizeof(LWMessageFuncs) == 8 * 8);
static_assert(offsetof(LWItemInfo, name) == 8 * 8 && offsetof(LWItemInfo, param) == 9 * 8);
static_assert(offsetof(LWItemInfo, chanGroup) == 13 * 8 && sizeof(LWItemInfo) == 42 * 8);
static_assert(offsetof(LWCameraInfo, resolution) == 7 * 8 && offsetof(LWCameraInfo, separation) == 9 * 8);
static_assert(offsetof(LWCameraInfo, filmSize) == 22 * 8 && sizeof(LWCameraInfo) == 40 * 8);
static_assert(offsetof(LWCameraEvaluationFuncs, evaluate) == 7 * 8 && sizeof(LWCameraEvaluationFuncs) == 10 * 8);
static_assert(offsetof(LWVParmFuncs, getVal) == 6 * 8 && sizeof(LWVParmFuncs) == 15 * 8);
static_assert(offsetof(LWObjectFuncs, maxPointsPerPoly) == 14 * 8 && sizeof(LWObjectFuncs) == 16 * 8);
static_assert(offsetof(LWMeshInfo, polVertex) == 13 * 8 && offsetof(LWMeshInfo, pntVPGet) == 15 * 8);
