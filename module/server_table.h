#pragma once

#include <array>
#include <cstddef>

#include "platform/export.h"
#include "sdk/loading.h"

namespace module {

/// Cameras that the host is offered, each in three classes.
inline constexpr std::size_t camera_count = 17;
inline constexpr std::size_t server_count = 3 * camera_count;

}  // namespace module

extern "C" {

/// All of them, and the row of nulls that ends the table.
OVICAM_EXPORT extern const std::array<ServerRecord, module::server_count + 1> ServerDesc;
}
