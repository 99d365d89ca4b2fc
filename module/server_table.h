#pragma once

#include <array>

#include "module/export.h"
#include "sdk/loading.h"

extern "C" {

/// Seventeen cameras in three classes each, and the row of nulls that ends the table.
OVICAM_EXPORT extern const std::array<ServerRecord, 17 * 3 + 1> ServerDesc;
}
