#include "standin/validate/call_log.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace standin::validate {
namespace {

CallPage* page = nullptr;
thread_local std::size_t own_slot = 0;

}  // namespace

CallLog::CallLog(const std::filesystem::path& file) : file_(file, sizeof(CallPage)) {
  page = reinterpret_cast<CallPage*>(file_.data());
}

CallLog::~CallLog() { page = nullptr; }

void use_call_slot(std::size_t slot) { own_slot = slot; }

Call::Call(const char* name, std::initializer_list<double> arguments) {
  if (page == nullptr) return;
  slot_ = &page->slots[own_slot];
  std::atomic_ref(page->calls).fetch_add(1, std::memory_order_relaxed);
  static_cast<void>(std::snprintf(slot_->name.data(), slot_->name.size(), "%s", name));
  slot_->argument_count = static_cast<std::uint32_t>(std::min(arguments.size(), CallSlot::most_arguments));
  std::copy_n(arguments.begin(), slot_->argument_count, slot_->arguments.begin());
  slot_->inside = 1;
  // The compiler must not move any of this behind a call that may not return.
  std::atomic_signal_fence(std::memory_order_seq_cst);
}

Call::~Call() {
  std::atomic_signal_fence(std::memory_order_seq_cst);
  if (slot_ != nullptr) slot_->inside = 0;
}

std::string unfinished_calls(const CallPage& page) {
  std::string text;
  for (const CallSlot& slot : page.slots) {
    if (slot.inside == 0) continue;
    std::string call(slot.name.data(), strnlen(slot.name.data(), slot.name.size()));
    for (std::uint32_t i = 0; i < std::min<std::size_t>(slot.argument_count, CallSlot::most_arguments); ++i) {
      std::array<char, 40> number{};
      static_cast<void>(std::snprintf(number.data(), number.size(), "%.17g", slot.arguments[i]));
      call += (i == 0 ? "(" : ", ") + std::string(number.data());
    }
    if (slot.argument_count > 0) call += ")";
    text += (text.empty() ? "" : "; ") + call;
  }
  return text;
}

}  // namespace standin::validate
