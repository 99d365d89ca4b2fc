#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "sdk/host.h"
#include "standin/host/host.h"
#include "standin/host/module.h"

namespace test_support {

/// Replaces the host's tables of some services for one camera namespace, until destruction: for tests that watch what a module
/// asks for, or that answer what no host should. Create it after the instances, because their activation hands out the host's
/// own tables. Only one can exist at a time. Threads: one.
class ServiceOverride {
 public:
  ServiceOverride(const standin::Module& module, const std::string& server_name, const std::string& service, void* table)
      : ServiceOverride(module, server_name, {{service, table}}) {}
  /// `tables` by the names of their services.
  ServiceOverride(const standin::Module& module, const std::string& server_name, std::map<std::string, void*> tables);
  ~ServiceOverride();
  ServiceOverride(const ServiceOverride&) = delete;
  ServiceOverride& operator=(const ServiceOverride&) = delete;

 private:
  const standin::Module* module_;
  const standin::Server* server_;
};

/// The host's own table of a service.
template <class Table>
const Table& host_table(const char* service) {
  return *static_cast<const Table*>(standin::Host::global()(service, GFUSE_TRANSIENT));
}

/// One call of an item's parameter function.
struct ItemQuestion {
  LWItemID item = nullptr;
  int param = 0;
  double time_seconds = 0.0;
};

/// Records what a camera asks about items. The same rules hold as for ServiceOverride.
class ItemQuestions {
 public:
  ItemQuestions(const standin::Module& module, const std::string& server_name);

  /// What has been asked since the last call.
  std::vector<ItemQuestion> take();

 private:
  std::vector<ItemQuestion> questions_;
  ServiceOverride override_;
};

}  // namespace test_support
