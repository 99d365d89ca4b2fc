#include "platform/diagnostic_log.h"

namespace {

/// Runs when the library is loaded, as the entry point of a Windows library does.
[[gnu::constructor]] void attach() { start_diagnostics(reinterpret_cast<void*>(&attach)); }

/// Runs when the library is let go, and at the end of the process.
[[gnu::destructor]] void detach() { end_diagnostics(); }

}  // namespace
