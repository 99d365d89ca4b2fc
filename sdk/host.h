#pragma once

/// The host's whole plug-in interface: the only place in this project that declares a host record.

#include "sdk/handlers.h"
#include "sdk/loading.h"
#include "sdk/panels.h"
#include "sdk/services.h"
#include "sdk/states.h"
#include "sdk/types.h"
#include "sdk/viewport.h"
