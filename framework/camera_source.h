#pragma once

/// Everything that the source of a camera is written with.

#include "framework/callbacks.h"
#include "framework/lens_camera.h"
#include "framework/server.h"
