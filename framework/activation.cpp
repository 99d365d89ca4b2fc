#include "framework/activation.h"

#include <cstdint>

#include "framework/module_block.h"

namespace framework {
namespace {

template <class Table>
void acquire(const Table*& table, GlobalFunc* global, const char* service, LWGlobalUse use = GFUSE_TRANSIENT) {
  table = static_cast<const Table*>(global(service, use));
}

void remember_global(HostServices& services, GlobalFunc* global, void* server_data) {
  if (server_data != nullptr) static_cast<ModuleBlock*>(server_data)->global = global;
  services.pGlobal = global;
}

unsigned system_id(GlobalFunc* global) {
  // The service's answer is the word itself, not a pointer to it.
  return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(global(LWSYSTEMID_GLOBAL, GFUSE_TRANSIENT)));
}

}  // namespace

int activate_handler(HostServices& services, const HandlerCallbacks& callbacks, bool wants_evaluators,
                     const Activation& activation) {
  const auto [version, global, local, server_data] = activation;
  if (version != LWCAMERA_HANDLER_VERSION) return AFUNC_BADVERSION;
  if (global == nullptr) return AFUNC_BADGLOBAL;
  if (local == nullptr) return AFUNC_BADLOCAL;
  remember_global(services, global, server_data);
  // Where something is missing, living instances keep what they have.
  HostServices found = services;
  acquire(found.iteminfo, global, LWITEMINFO_GLOBAL);
  acquire(found.camerainfo, global, LWCAMERAINFO_GLOBAL);
  acquire(found.timer, global, LWTIMEINFO_GLOBAL);
  acquire(found.xpanf, global, LWXPANELFUNCS_GLOBAL);
  acquire(found.vparmf, global, LWVPARMFUNCS_GLOBAL);
  acquire(found.msg, global, LWMESSAGEFUNCS_GLOBAL);
  found.sysid = system_id(global);
  if (!found.on_render_node() && (found.msg == nullptr || found.vparmf == nullptr || found.xpanf == nullptr))
    return AFUNC_BADGLOBAL;
  if (found.timer == nullptr || found.camerainfo == nullptr || found.iteminfo == nullptr) return AFUNC_BADGLOBAL;
  services = found;

  auto& handler = *static_cast<LWCameraHandler*>(local);
  if (handler.inst != nullptr) {
    *handler.inst = callbacks.instance;
    handler.inst->priv = server_data;
  }
  if (handler.item != nullptr) {
    handler.item->useItems = nullptr;
    handler.item->changeID = nullptr;
  }
  if (handler.rend != nullptr) *handler.rend = callbacks.render;
  handler.preview = callbacks.preview;
  handler.newFrame = callbacks.new_frame;
  handler.evaluate = callbacks.evaluate;
  handler.flags = callbacks.flags;
  handler.project = callbacks.project;
  if (wants_evaluators) acquire(services.camevalfuncs, global, LWCAMERAEVALUATION_GLOBAL);
  return AFUNC_OK;
}

int activate_interface(HostServices& services, LWXPanelID (*create_panel)(GlobalFunc* global, void* instance),
                       const Activation& activation) {
  const auto [version, global, local, server_data] = activation;
  if (version != LWCAMERA_INTERFACE_VERSION) return AFUNC_BADVERSION;
  if (global == nullptr) return AFUNC_BADGLOBAL;
  if (local == nullptr) return AFUNC_BADLOCAL;
  remember_global(services, global, server_data);
  if (services.xpanf == nullptr) acquire(services.xpanf, global, LWXPANELFUNCS_GLOBAL, GFUSE_ACQUIRE);
  if (services.xpanf == nullptr) return AFUNC_BADGLOBAL;
  services.sysid = system_id(global);
  auto& interface = *static_cast<LWInterface*>(local);
  interface.panel = create_panel(global, interface.inst);
  interface.options = nullptr;
  interface.command = nullptr;
  return AFUNC_OK;
}

int activate_gizmo(HostServices& services, const LWGizmoFuncs& callbacks, const Activation& activation) {
  const auto [version, global, local, server_data] = activation;
  if (version != LWCAMERA_GIZMO_VERSION) return AFUNC_BADVERSION;
  auto* gizmo = static_cast<LWGizmo*>(local);
  if (gizmo == nullptr || gizmo->gizmo == nullptr) return AFUNC_BADLOCAL;
  remember_global(services, global, server_data);
  const auto newest_slot = gizmo->gizmo->end;
  *gizmo->gizmo = callbacks;
  gizmo->gizmo->end = newest_slot;
  return AFUNC_OK;
}

}  // namespace framework
