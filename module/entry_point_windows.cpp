#include <windows.h>

#include "platform/diagnostic_log.h"

/// Called by the system under its loader lock; never refuses.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) start_diagnostics(module);
  return TRUE;
}
