#pragma once

#include "sdk/host.h"

namespace framework {

/// The host services that one camera namespace has acquired. Written by the namespace's activations, on the host's main
/// thread; read from any thread. Any of them can be null.
struct HostServices {
  GlobalFunc* pGlobal = nullptr;
  const LWItemInfo* iteminfo = nullptr;
  const LWCameraInfo* camerainfo = nullptr;
  const LWTimeInfo* timer = nullptr;
  const LWXPanelFuncs* xpanf = nullptr;
  const LWVParmFuncs* vparmf = nullptr;
  const LWMessageFuncs* msg = nullptr;
  const LWCameraEvaluationFuncs* camevalfuncs = nullptr;
  unsigned sysid = 0;

  bool on_render_node() const { return (sysid & LWSYS_TYPEBITS) == LWSYS_SCREAMERNET; }

  /// The host's own current time, in seconds.
  LWTime current_time() const { return timer != nullptr ? timer->time : 0.0; }
};

}  // namespace framework
