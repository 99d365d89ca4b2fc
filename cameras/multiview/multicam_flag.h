#pragma once

#include "platform/export.h"

extern "C" {

/// Set by the creation of any dual, four-up or twelve-up camera and cleared by the destruction of any, whatever others there
/// are: nothing in the module reads it. Threads: the host's main thread.
OVICAM_EXPORT extern bool bMulticamActive;
}
