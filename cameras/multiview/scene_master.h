#pragma once

#include "framework/server.h"
#include "platform/export.h"
#include "sdk/handlers.h"
#include "sdk/loading.h"

extern "C" {
/// Names of servers that are not offered: this one's, and that of one which saves the pictures of several cameras.
OVICAM_EXPORT extern const framework::TagTable tagInfo13, tagInfo14;
}

/// A handler over the whole scene, for one multi-view camera in a scene at most. The module carries it without offering it to
/// the host: nothing enforces that rule. The host would call all of these on its main thread.
namespace SceneMaster {

/// Fills the host's master record. Returns 0, 1 for a version other than 5, 3 without a record.
OVICAM_EXPORT ActivateFunc MasterHandler;

/// Always null: there is nothing to keep.
OVICAM_EXPORT LWInstance C_Create(void* priv, void* context, LWError* error);
OVICAM_EXPORT void C_Destroy(LWInstance instance);
/// Always refused, with the rule as the error.
OVICAM_EXPORT LWError C_Copy(LWInstance to, LWInstance from);
/// Always null: there is nothing to load or save.
OVICAM_EXPORT LWError C_Load(LWInstance instance, const LWLoadState* state);
OVICAM_EXPORT LWError C_Save(LWInstance instance, const LWSaveState* state);
OVICAM_EXPORT const char* C_Describe(LWInstance instance);
OVICAM_EXPORT unsigned C_Flags(LWInstance instance);
/// Writes the event's code to standard output. Always 0.
OVICAM_EXPORT double C_Event(LWInstance instance, const LWMasterAccess* access);

}  // namespace SceneMaster
