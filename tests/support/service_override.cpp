#include "tests/support/service_override.h"

#include <map>
#include <utility>

namespace test_support {
namespace {

std::map<std::string, void*> overriding_tables;

void* answer(const char* service, int use) {
  const auto found = overriding_tables.find(service);
  return found != overriding_tables.end() ? found->second : standin::Host::global()(service, use);
}

int activate(const standin::Module& module, const standin::Server& server, GlobalFunc* global) {
  LWInstanceFuncs instance{};
  LWItemFuncs item{};
  LWRenderFuncs render{};
  LWCameraHandler handler{};
  handler.inst = &instance;
  handler.item = &item;
  handler.rend = &render;
  return server.activate(LWCAMERA_HANDLER_VERSION, global, &handler, module.server_data());
}

std::vector<ItemQuestion>* asked = nullptr;

void param(LWItemID item, int code, LWTime time, double* out) {
  asked->push_back({item, code, time});
  host_table<LWItemInfo>(LWITEMINFO_GLOBAL).param(item, code, time, out);
}

LWItemInfo* watching_table() {
  static LWItemInfo table;
  table = host_table<LWItemInfo>(LWITEMINFO_GLOBAL);
  table.param = param;
  return &table;
}

}  // namespace

ServiceOverride::ServiceOverride(const standin::Module& module, const std::string& server_name,
                                 std::map<std::string, void*> tables)
    : module_(&module), server_(&module.server(LWCAMERA_HANDLER_CLASS, server_name)) {
  overriding_tables = std::move(tables);
  standin::require_activated(activate(module, *server_, &answer), *server_);
}

ServiceOverride::~ServiceOverride() { activate(*module_, *server_, standin::Host::global()); }

ItemQuestions::ItemQuestions(const standin::Module& module, const std::string& server_name)
    : override_(module, server_name, LWITEMINFO_GLOBAL, watching_table()) {
  asked = &questions_;
}

std::vector<ItemQuestion> ItemQuestions::take() { return std::exchange(questions_, {}); }

}  // namespace test_support
