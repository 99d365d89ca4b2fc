#include "framework/scene_items.h"

namespace framework {
namespace {

/// More than any scene has: a list that never comes to an end is given up after so many steps.
constexpr unsigned most_steps = 1U << 20;

/// Walks the host's list until `visit` returns true, and returns that item. The host's list is not ours to trust: it may
/// change between two calls or lead back into itself. Brent's cycle finding: a mark is set at every power of two steps, and
/// a list that comes back to its mark is closed. One that comes back to its first item ends there.
template <class Visit>
LWItemID walk(const LWItemInfo* iteminfo, LWItemType type, Visit visit) {
  if (iteminfo == nullptr) return nullptr;
  LWItemID mark = nullptr;
  unsigned steps = 0;
  unsigned next_mark = 1;
  const LWItemID first = iteminfo->first(type, nullptr);
  for (LWItemID item = first; item != nullptr && item != mark && steps < most_steps;) {
    if (visit(item)) return item;
    if (++steps == next_mark) {
      mark = item;
      next_mark *= 2;
    }
    item = iteminfo->next(item);
    if (item == first) break;
  }
  return nullptr;
}

}  // namespace

LWItemID scene_item(const LWItemInfo* iteminfo, LWItemType type, int index, LWItemID excluded) {
  if (index < 0) return nullptr;
  return walk(iteminfo, type, [&](LWItemID item) { return item != excluded && index-- == 0; });
}

bool in_scene(const LWItemInfo* iteminfo, LWItemType type, LWItemID item) {
  return walk(iteminfo, type, [&](LWItemID other) { return other == item; }) != nullptr;
}

int count_scene_items(const LWItemInfo* iteminfo, LWItemType type, LWItemID excluded) {
  int count = 0;
  walk(iteminfo, type, [&](LWItemID item) {
    count += item != excluded ? 1 : 0;
    return false;
  });
  return count;
}

int item_popup_count(const LWItemInfo* iteminfo, LWItemType type, LWItemID excluded) {
  return 1 + count_scene_items(iteminfo, type, excluded);
}

const char* item_popup_name(const LWItemInfo* iteminfo, LWItemType type, int index, LWItemID excluded) {
  const LWItemID item = index < 1 ? nullptr : scene_item(iteminfo, type, index - 1, excluded);
  const char* name = item != nullptr ? iteminfo->name(item) : nullptr;
  return name != nullptr ? name : "(none)";
}

}  // namespace framework
