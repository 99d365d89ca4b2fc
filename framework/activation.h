#pragma once

#include "framework/host_services.h"

namespace framework {

/// The callbacks of one camera handler: what its activation writes into the host's record.
struct HandlerCallbacks {
  LWInstanceFuncs instance;
  LWRenderFuncs render;
  decltype(LWCameraHandler::preview) preview;
  decltype(LWCameraHandler::newFrame) new_frame;
  decltype(LWCameraHandler::evaluate) evaluate;
  decltype(LWCameraHandler::flags) flags;
  decltype(LWCameraHandler::project) project;
};

/// What the host hands to every activation.
struct Activation {
  int version;
  GlobalFunc* global;
  /// The record of the class, to be filled.
  void* local;
  /// The module block.
  void* server_data;
};

/// Acquires the services, the evaluators of other cameras among them where they are wanted, and fills the host's handler
/// record. Returns 0, 1 for a version other than 4, 2 when a needed service is missing (a render node can do without messages,
/// parameters and panels, every host without evaluators), 3 without a record; unless it returns 0 the record is untouched.
/// Threads: the host's main thread.
int activate_handler(HostServices& services, const HandlerCallbacks& callbacks, bool wants_evaluators,
                     const Activation& activation);

/// Acquires the panel service, makes the panel with `create_panel` and fills the host's interface record with it. Returns 0,
/// or as `activate_handler` (version 5). Threads: the host's main thread.
int activate_interface(HostServices& services, LWXPanelID (*create_panel)(GlobalFunc* global, void* instance),
                       const Activation& activation);

/// Fills the host's gizmo record with everything but its newest slot. Returns 0, 1 for a version other than 5, 3 without a
/// record.
int activate_gizmo(HostServices& services, const LWGizmoFuncs& callbacks, const Activation& activation);

}  // namespace framework
