#include "tests/support/service_override.h"

#include <utility>

namespace test_support {
namespace {

std::string overridden_service;
void* overriding_table = nullptr;

void* answer(const char* service, int use) {
  return overridden_service == service ? overriding_table : standin::Host::global()(service, use);
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

ServiceOverride::ServiceOverride(const standin::Module& module, const std::string& server_name, const std::string& service,
                                 void* table)
    : module_(&module), server_(&module.server(LWCAMERA_HANDLER_CLASS, server_name)) {
  overridden_service = service;
  overriding_table = table;
  standin::require_activated(activate(module, *server_, &answer), *server_);
}

ServiceOverride::~ServiceOverride() {
  overridden_service.clear();
  activate(*module_, *server_, standin::Host::global());
}

ItemQuestions::ItemQuestions(const standin::Module& module, const std::string& server_name)
    : override_(module, server_name, LWITEMINFO_GLOBAL, watching_table()) {
  asked = &questions_;
}

std::vector<ItemQuestion> ItemQuestions::take() { return std::exchange(questions_, {}); }

}  // namespace test_support
