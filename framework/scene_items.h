#pragma once

#include "sdk/host.h"

namespace framework {

/// The n-th item of a kind in the host's order, counting from 0 and passing over `excluded`; null when there are fewer or
/// `index` is negative. A host list that leads back into itself comes to an end too, though only one that leads back to its
/// first item is sure to end there. Threads: the host's main thread.
LWItemID scene_item(const LWItemInfo* iteminfo, LWItemType type, int index, LWItemID excluded = nullptr);

/// Whether an item, which may have been removed since, is still one of its kind in the scene.
bool in_scene(const LWItemInfo* iteminfo, LWItemType type, LWItemID item);

/// How many items of a kind there are, passing over `excluded`.
int count_scene_items(const LWItemInfo* iteminfo, LWItemType type, LWItemID excluded = nullptr);

/// Entries of a popup over the scene's items: "(none)" first, then one for each item but `excluded`.
int item_popup_count(const LWItemInfo* iteminfo, LWItemType type, LWItemID excluded = nullptr);

/// The text of a popup entry; "(none)" for entry 0, for entries past the last one, and for items without a name.
const char* item_popup_name(const LWItemInfo* iteminfo, LWItemType type, int index, LWItemID excluded = nullptr);

}  // namespace framework
