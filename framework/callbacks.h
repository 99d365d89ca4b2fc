#pragma once

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "framework/activation.h"
#include "framework/settings_camera.h"
#include "platform/export.h"

namespace framework {

/// The C boundary of one camera class: the tests for null, the host's records made values, and exceptions made answers. Each
/// camera namespace exports these functions under names of its own, as the two .inc files say. `Plugin` is the final class,
/// `tables` and `services` are the namespace's own.
///
/// Threads: the host's main thread, but for `evaluate` and `project`, which any number of render threads call at once. An
/// instance is the host's to keep, from `create` to `destroy`.
template <class Plugin, const auto& tables, HostServices& services>
struct Callbacks {
  /// The instance whose panel was made last.
  static inline Plugin* gInstance = nullptr;
  /// Every instance that the host has not destroyed. A panel can outlive its own.
  static inline std::vector<Plugin*> living;

  static Plugin* plugin(LWInstance instance) { return static_cast<Plugin*>(instance); }
  /// What a camera does in its own way is asked of it as a camera.
  static Camera* camera(LWInstance instance) { return plugin(instance); }

  /// A new instance for a camera item. Throws std::bad_alloc, and then leaves nothing behind.
  static LWInstance create(void* item) {
    auto created = std::make_unique<Plugin>(static_cast<LWItemID>(item));
    // Room first: nothing may fail once there are envelopes.
    living.reserve(living.size() + 1);
    created->start();
    living.push_back(created.get());
    return created.release();
  }

  static void destroy(LWInstance instance) {
    if (instance == nullptr) return;
    if (gInstance == instance) gInstance = nullptr;
    std::erase(living, plugin(instance));
    plugin(instance)->release();
    delete plugin(instance);
  }

  static LWError copy(LWInstance to, LWInstance from) {
    constexpr LWError refused = "Could not copy";
    if (to == nullptr || from == nullptr) return refused;
    try {
      plugin(to)->copy_from(*plugin(from));
    } catch (const std::bad_alloc&) {
      return refused;
    }
    return nullptr;
  }

  static LWError load(LWInstance instance, const LWLoadState* state) {
    if (instance == nullptr || state == nullptr) return nullptr;
    camera(instance)->load(*state);
    camera(instance)->after_load();
    return nullptr;
  }

  static LWError save(LWInstance instance, const LWSaveState* state) {
    if (instance != nullptr && state != nullptr) camera(instance)->save(*state);
    return nullptr;
  }

  static LWError init_render(LWInstance instance, int mode) {
    if (instance == nullptr) return nullptr;
    camera(instance)->render_mode = mode;
    camera(instance)->before_render();
    return nullptr;
  }

  static void clean_up(LWInstance instance) {
    if (instance != nullptr) camera(instance)->after_render();
  }

  static LWError new_time(LWInstance instance, LWFrame frame, LWTime time) {
    if (instance == nullptr) return nullptr;
    camera(instance)->current_frame = frame;
    camera(instance)->current_time = time;
    camera(instance)->read_values(time);
    camera(instance)->after_time();
    return nullptr;
  }

  static LWError new_frame(LWInstance instance, const LWFrameInfo* frame, const LWCameraAccess* access) {
    if (instance == nullptr || frame == nullptr || access == nullptr) return nullptr;
    camera(instance)->begin_frame(*frame, *access);
    return camera(instance)->frame_failure();
  }

  static void read_values(LWInstance instance, LWTime time) {
    if (instance != nullptr) camera(instance)->read_values(time);
  }

  static int evaluate(LWInstance instance, const Sample& sample, LWCameraRay* ray, const LWCameraAccess* access) {
    if (instance == nullptr || ray == nullptr) return LWCAMEVAL_NONE;
    return plugin(instance)->evaluate(sample, *ray, access);
  }

  static int project(LWInstance instance, const double* world, LensPoint lens, double time, LWCameraEye eye, double* film,
                     const LWCameraAccess* access) {
    if (instance == nullptr || access == nullptr || world == nullptr || film == nullptr) return 0;
    return plugin(instance)->project({to_vector(world), lens, time, eye}, film, *access);
  }

  static int preview(LWInstance instance, LensPoint lens, LWCameraEye eye, double (*projection)[4]) {
    return instance != nullptr ? camera(instance)->preview(lens, eye, projection) : 0;
  }

  /// What a panel hands over, if it is still an instance; else null.
  static Camera* camera_of_panel(void* instance) {
    const auto found = std::ranges::find(living, plugin(instance));
    return found != living.end() ? *found : nullptr;
  }

  static void* panel_value(void* instance, std::uint32_t id) {
    Camera* shown = camera_of_panel(instance);
    return shown != nullptr ? shown->panel_value(id) : nullptr;
  }

  static int set_panel_value(void* instance, std::uint32_t id, const void* value) {
    Camera* shown = camera_of_panel(instance);
    if (shown != nullptr && value != nullptr) shown->set_panel_value(id, value);
    return LWXPRC_DFLT;
  }

  static int popup_count(void* instance) { return tables.popup.count(services, camera_of_panel(instance)); }
  static const char* popup_name(void* instance, int index) {
    return tables.popup.name(services, camera_of_panel(instance), index);
  }

  static void panel_closed(void* data) {
    if (tables.panel_closed != nullptr) tables.panel_closed(data);
  }

  static LWXPanelID create_panel(const PanelTables& panel, void* instance) {
    gInstance = plugin(instance);
    const LWXPanelID id = open_panel(services.xpanf, panel, instance);
    if (Camera* shown = camera_of_panel(instance); id != nullptr && shown != nullptr) shown->panel_opened(id);
    return id;
  }

  static void draw_gizmo(LWInstance instance, LWCustomObjAccess* viewport) {
    if (instance != nullptr && viewport != nullptr) camera(instance)->draw_gizmo(*viewport);
  }

  static int activate(const HandlerCallbacks& callbacks, const Activation& activation) {
    return activate_handler(services, callbacks, tables.looks_through_other_cameras, activation);
  }
};

}  // namespace framework
