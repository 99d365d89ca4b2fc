#include "module/server_table.h"

#include "sdk/handlers.h"

namespace {

constexpr auto server_records() {
  std::array<ServerRecord, 3 * module::cameras.size() + 1> records{};
  std::size_t next = 0;
  for (const framework::CameraServer& camera : module::cameras) {
    records[next++] = {LWCAMERA_HANDLER_CLASS, camera.name, camera.handler, camera.user_names->data()};
    records[next++] = {LWCAMERA_INTERFACE_CLASS, camera.name, camera.panel, camera.user_names->data()};
    records[next++] = {LWCAMERA_GIZMO_CLASS, camera.name, camera.gizmo, camera.user_names->data()};
  }
  return records;
}

}  // namespace

// Made by the compiler: nothing runs, and nothing can throw, when the module is loaded.
extern "C" OVICAM_EXPORT constinit const decltype(ServerDesc) ServerDesc = server_records();  // NOLINT(cert-err58-cpp)
