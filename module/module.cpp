#include <new>

#include "framework/module_block.h"
#include "module/server_table.h"
#include "platform/diagnostic_log.h"

namespace {

constexpr const char* banner = "OviCam 4.0.0.22 camera module";

}  // namespace

extern "C" {

/// Called by the host once after loading. Returns the module block, which the host hands to every activation; null when
/// memory has run out.
OVICAM_EXPORT void* Startup() {
  diagnostic_log("Module Startup");
  return new (std::nothrow) framework::ModuleBlock{banner, nullptr};
}

/// Called by the host once before unloading, with the block of `Startup` or null.
OVICAM_EXPORT void Shutdown(void* block) {
  diagnostic_log("Module Shutdown");
  delete static_cast<framework::ModuleBlock*>(block);
}

/// What the host looks for in a module file.
OVICAM_EXPORT extern constinit const ModuleDescriptor _mod_descrip{0x04121994, 3, 0x300, Startup, Shutdown, ServerDesc.data()};
}
