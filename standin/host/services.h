#pragma once

#include <cstring>
#include <functional>
#include <string>

#include "sdk/types.h"
#include "standin/host/guarded.h"
#include "standin/host/host.h"

/// Internal to the stand-in host: the tables behind the services' names.

namespace standin {

/// One service: what the module is given, and whether it is still as the host made it.
struct Service {
  const char* name = "";
  void* table = nullptr;
  std::function<bool()> untouched;
};

/// A table that a module may read and call, but not write. It lives as long as the process.
template <class Table>
class ServiceTable {
 public:
  explicit ServiceTable(const Table& table) {
    std::memcpy(&pristine_, &table, sizeof table);
    std::memcpy(&*handed_, &table, sizeof table);
  }
  Table* address() noexcept { return &*handed_; }
  bool untouched() const noexcept {
    const auto* handed = reinterpret_cast<const std::byte*>(&*handed_);
    const auto* pristine = reinterpret_cast<const std::byte*>(&pristine_);
    return handed_.intact() && std::memcmp(handed, pristine, sizeof(Table)) == 0;
  }
  Service service(const char* name) {
    return {name, address(), [this] { return untouched(); }};
  }

 private:
  Guarded<Table> handed_;
  Table pristine_{};
};

Service item_service();
Service camera_service();
Service parameter_service();
Service panel_service();
Service message_service();
Service evaluator_service();
Service scene_object_service();
Service object_info_service();

/// Fills every slot that the host does not offer.
void unsupported_slot();

/// Records a violation with the current host, if there is one: "call: what is wrong".
void violation(const std::string& call, const std::string& wrong);

/// The handle, for a message.
std::string handle_text(const void* handle);

/// Records that a handle is of nothing that is alive. Apart from `require`, which every ray passes: texts need a large frame.
void stale_handle(const char* call, const void* handle);

/// The value behind a handle, or null after recording the violation.
template <class Table, class Handle>
[[gnu::always_inline]] inline auto require(Table Host::*service, Handle handle, const char* call) {
  Host* host = Host::current();
  auto* value = host != nullptr ? (host->*service).table.find(handle) : nullptr;
  if (value == nullptr) [[unlikely]]
    stale_handle(call, handle);
  return value;
}

/// The item behind an id, or null after recording the violation.
const Item* require_item(LWItemID id, const char* call);

}  // namespace standin
