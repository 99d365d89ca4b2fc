#pragma once

#include "sdk/host.h"

namespace framework {

/// What start-up returns and the host hands back as the server data of every activation.
struct ModuleBlock {
  /// Constant text for whoever looks at the block in a debugger.
  const char* banner;
  /// Written by every activation.
  GlobalFunc* global;
};
static_assert(sizeof(ModuleBlock) == 2 * sizeof(void*));

}  // namespace framework
