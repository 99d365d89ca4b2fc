#include <algorithm>
#include <array>

#include "standin/host/plain_camera.h"
#include "standin/host/services.h"

namespace standin {
namespace {

LWItemID first(LWItemType type, LWItemID /*parent*/) {
  const Host* host = Host::current();
  if (host != nullptr) {
    for (const Item& item : host->scene().items)
      if (static_cast<int>(item.kind) == static_cast<int>(type)) return Host::id_of(item);
  }
  return nullptr;
}

LWItemID next(LWItemID id) {
  const Item* item = require_item(id, "LW Item Info next");
  if (item == nullptr) return nullptr;
  const std::vector<Item>& items = Host::current()->scene().items;
  for (const Item* other = item + 1; other != items.data() + items.size(); ++other)
    if (other->kind == item->kind) return Host::id_of(*other);
  return nullptr;
}

const char* name(LWItemID id) {
  const Item* item = require_item(id, "LW Item Info name");
  return item != nullptr ? item->name.c_str() : nullptr;
}

Vec3 motion_at(const Item& item, std::size_t channel, double time) {
  return {item.motion[channel].at(time), item.motion[channel + 1].at(time), item.motion[channel + 2].at(time)};
}

Vec3 parameter(const Item& item, int code, double time) {
  constexpr std::size_t position_channel = 0;
  constexpr std::size_t rotation_channel = 3;
  constexpr std::size_t scale_channel = 6;
  const auto pose = [&] { return with_unit_axes(Host::current()->scene().world_pose(item, time)); };
  switch (code) {
    case LWIP_POSITION:
      return motion_at(item, position_channel, time);
    case LWIP_ROTATION:
      return motion_at(item, rotation_channel, time);
    case LWIP_SCALING:
      return motion_at(item, scale_channel, time);
    case LWIP_PIVOT:
      return item.pivot;
    case LWIP_W_POSITION:
      return pose().position;
    case LWIP_RIGHT:
    case LWIP_W_RIGHT:
      return pose().right;
    case LWIP_UP:
    case LWIP_W_UP:
      return pose().up;
    case LWIP_FORWARD:
    case LWIP_W_FORWARD:
      return pose().forward;
    default:
      violation("LW Item Info param", "the code " + std::to_string(code) + " is not one of the host's");
      return {};
  }
}

void param(LWItemID id, int code, LWTime time, double* out) {
  const Item* item = require_item(id, "LW Item Info param");
  const Vec3 value = item != nullptr ? parameter(*item, code, time) : Vec3{};
  out[0] = value.x;
  out[1] = value.y;
  out[2] = value.z;
}

LWChanGroupID channel_group(LWItemID id) {
  const Item* item = require_item(id, "LW Item Info chanGroup");
  return item != nullptr ? Host::channel_group_of(*item) : nullptr;
}

LWItemInfo item_table() {
  LWItemInfo info{};
  info.first = first;
  info.next = next;
  info.firstChild = info.nextChild = info.parent = info.target = info.goal = info.type = unsupported_slot;
  info.name = name;
  info.param = param;
  info.limits = info.getTag = info.setTag = unsupported_slot;
  info.chanGroup = channel_group;
  std::fill(std::begin(info.serverToRelparam), std::end(info.serverToRelparam), unsupported_slot);
  return info;
}

}  // namespace

Service item_service() {
  static ServiceTable<LWItemInfo> handed(item_table());
  return handed.service(LWITEMINFO_GLOBAL);
}

}  // namespace standin
