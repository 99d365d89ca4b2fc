#pragma once

/// Everything that the source of a camera is written with.

#include "framework/activation.h"
#include "framework/camera_instance.h"
#include "framework/panel.h"
#include "framework/parameters.h"
#include "framework/scene_items.h"
#include "platform/export.h"
