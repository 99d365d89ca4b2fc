#include <windows.h>

#include "platform/diagnostic_log.h"

/// Called by the system under its loader lock; never refuses. At the end of the process, when `reserved` is not null, the
/// system takes everything down by itself.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
  if (reason == DLL_PROCESS_ATTACH) start_diagnostics(module);
  if (reason == DLL_PROCESS_DETACH && reserved == nullptr) end_diagnostics();
  return TRUE;
}
