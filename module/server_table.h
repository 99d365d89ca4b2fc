#pragma once

#include <array>

#include "module/camera_list.h"
#include "platform/export.h"

extern "C" {

/// Every camera in its three classes, and the row of nulls that ends the table.
OVICAM_EXPORT extern const std::array<ServerRecord, 3 * module::cameras.size() + 1> ServerDesc;
}
