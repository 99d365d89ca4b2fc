#pragma once

#include "framework/host_services.h"
#include "framework/panel.h"

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

/// Acquires the services, and fills the host's handler record. Returns 0, 1 for a version other than 4, 2 when a needed
/// service is missing (a render node can do without messages, parameters and panels), 3 without a record; unless it returns
/// 0 the record is untouched. Threads: the host's main thread.
int activate_handler(HostServices& services, const HandlerCallbacks& callbacks, int version, GlobalFunc* global, void* local,
                     void* server_data);

/// The same for a camera that looks through other cameras: it asks for the evaluation service beside, which may be missing.
int activate_viewing_handler(HostServices& services, const HandlerCallbacks& callbacks, int version, GlobalFunc* global,
                             void* local, void* server_data);

/// Acquires the panel service, makes the panel with `create_panel` and fills the host's interface record with it. Returns 0,
/// or as `activate_handler` (version 5). Threads: the host's main thread.
int activate_interface(HostServices& services, LWXPanelID (*create_panel)(GlobalFunc* global, void* instance), int version,
                       GlobalFunc* global, void* local, void* server_data);

/// Fills the host's gizmo record with everything but its newest slot. Returns 0, 1 for a version other than 5, 3 without a
/// record.
int activate_gizmo(HostServices& services, const LWGizmoFuncs& callbacks, int version, GlobalFunc* global, void* local,
                   void* server_data);

}  // namespace framework
