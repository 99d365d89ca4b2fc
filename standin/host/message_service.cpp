#include <initializer_list>

#include "standin/host/services.h"

namespace standin {
namespace {

int record(const char* kind, std::initializer_list<const char*> lines) {
  Host* host = Host::current();
  if (host == nullptr) return 0;
  Message message{kind, {}};
  for (const char* line : lines) message.lines.emplace_back(line != nullptr ? line : "");
  host->record_message(std::move(message));
  return host->answer;
}

LWMessageFuncs message_table() {
  LWMessageFuncs functions{};
  functions.info = [](const char* a, const char* b) { record("info", {a, b}); };
  functions.error = [](const char* a, const char* b) { record("error", {a, b}); };
  functions.warning = [](const char* a, const char* b) { record("warning", {a, b}); };
  functions.okCancel = [](const char* title, const char* a, const char* b) { return record("okCancel", {title, a, b}); };
  functions.yesNo = [](const char* title, const char* a, const char* b) { return record("yesNo", {title, a, b}); };
  functions.yesNoCan = [](const char* title, const char* a, const char* b) { return record("yesNoCan", {title, a, b}); };
  functions.yesNoAll = [](const char* title, const char* a, const char* b) { return record("yesNoAll", {title, a, b}); };
  functions.askName = unsupported_slot;
  return functions;
}

}  // namespace

Service message_service() {
  static ServiceTable<LWMessageFuncs> handed(message_table());
  return handed.service(LWMESSAGEFUNCS_GLOBAL);
}

}  // namespace standin
