#include "cameras/multiview/scene_master.h"

#include <cstdio>

#include "framework/module_block.h"

constexpr framework::TagTable tagInfo13 = framework::tag_table("Quorin Camera Master");
constexpr framework::TagTable tagInfo14 = framework::tag_table("Quorin MultiCam Imagesaver");

namespace SceneMaster {

LWInstance C_Create(void* /*priv*/, void* /*context*/, LWError* /*error*/) { return nullptr; }

void C_Destroy(LWInstance /*instance*/) {}

LWError C_Copy(LWInstance /*to*/, LWInstance /*from*/) { return "Only one of DualCam, 4UpCam, or 12UpCam allowed in a scene"; }

LWError C_Load(LWInstance /*instance*/, const LWLoadState* /*state*/) { return nullptr; }

LWError C_Save(LWInstance /*instance*/, const LWSaveState* /*state*/) { return nullptr; }

const char* C_Describe(LWInstance /*instance*/) { return "Quorin OviCam Master v4.0.0.22 "; }

unsigned C_Flags(LWInstance /*instance*/) { return 3; }

double C_Event(LWInstance /*instance*/, const LWMasterAccess* access) {
  if (access != nullptr) std::printf("Event %i\n", access->eventCode);
  return 0.0;
}

int MasterHandler(int version, GlobalFunc* global, void* local, void* server_data) {
  if (version != LWMASTER_HANDLER_VERSION) return AFUNC_BADVERSION;
  if (server_data != nullptr) static_cast<framework::ModuleBlock*>(server_data)->global = global;
  if (local == nullptr) return AFUNC_BADLOCAL;
  auto& master = *static_cast<LWMasterHandler*>(local);
  if (master.inst != nullptr) *master.inst = {master.inst->priv, C_Create, C_Destroy, C_Copy, C_Load, C_Save, C_Describe};
  if (master.item != nullptr) {
    master.item->useItems = nullptr;
    master.item->changeID = nullptr;
  }
  master.type = 1;
  master.event = C_Event;
  master.flags = C_Flags;
  return AFUNC_OK;
}

}  // namespace SceneMaster
