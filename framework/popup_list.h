#pragma once

#include <cstddef>

#include "framework/camera.h"
#include "framework/scene_items.h"

namespace framework {

/// The entries of a panel's popups. The host asks with the panel's instance or, before there is one, with null. Threads: the
/// host's main thread.
struct PopupList {
  int (*count)(const HostServices& host, const Camera* camera);
  /// Never null; an index without an entry has a text of the list's own.
  const char* (*name)(const HostServices& host, const Camera* camera, int index);
};

/// "(none)" and the scene's objects.
inline constexpr PopupList objects_popup{
    [](const HostServices& host, const Camera* /*camera*/) { return item_popup_count(host.iteminfo, LWI_OBJECT); },
    [](const HostServices& host, const Camera* /*camera*/, int index) {
      return item_popup_name(host.iteminfo, LWI_OBJECT, index);
    }};

/// "(none)" and the scene's cameras other than the one asked for.
inline constexpr PopupList other_cameras_popup{
    [](const HostServices& host, const Camera* camera) {
      return camera != nullptr ? item_popup_count(host.iteminfo, LWI_CAMERA, camera->own_item) : 1;
    },
    [](const HostServices& host, const Camera* camera, int index) {
      return camera != nullptr ? item_popup_name(host.iteminfo, LWI_CAMERA, index, camera->own_item) : "(none)";
    }};

/// The texts of an array, and the empty text beyond them.
template <const auto& texts>
inline constexpr PopupList fixed_popup{
    [](const HostServices& /*host*/, const Camera* /*camera*/) { return static_cast<int>(texts.size()); },
    [](const HostServices& /*host*/, const Camera* /*camera*/, int index) -> const char* {
      const bool known = index >= 0 && index < static_cast<int>(texts.size());
      return known ? texts[static_cast<std::size_t>(index)] : "";
    }};

}  // namespace framework
