#pragma once

#include <array>

#include "sdk/loading.h"

namespace framework {

/// The names of a server in the host's menus: one for each of two languages, and the row of nulls that ends the table.
using TagTable = std::array<ServerTagInfo, 3>;

/// The same name in both languages.
constexpr TagTable tag_table(const char* user_name) {
  return {{{user_name, SRVTAG_USERNAME_US}, {user_name, SRVTAG_USERNAME_UK}, {nullptr, 0}}};
}

/// A camera as the host offers it: one server name and one table of user names for three classes.
struct CameraServer {
  const char* name;
  const TagTable* user_names;
  ActivateFunc* handler;
  ActivateFunc* panel;
  ActivateFunc* gizmo;
};

}  // namespace framework
