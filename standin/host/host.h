#pragma once

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sdk/host.h"
#include "standin/host/audit.h"
#include "standin/host/evaluators.h"
#include "standin/host/panel.h"
#include "standin/host/parameters.h"
#include "standin/host/save_state.h"
#include "standin/host/scene_objects.h"
#include "standin/scene/scene.h"

namespace standin {

class Module;

/// What the module told a person.
struct Message {
  /// "info", "error", "warning", "okCancel", "yesNo", "yesNoCan" or "yesNoAll".
  std::string kind;
  std::vector<std::string> lines;
};

/// How a frame is rendered, in addition to the camera's settings in the scene.
struct FrameOptions {
  bool motion_blur = false;
  unsigned motion_steps = 2;
  /// For the host's own perspective camera.
  bool depth_of_field = false;
};

/// Stands in for the host: owns a scene and offers the services that the module asks for by name.
///
/// The services' C functions have no parameter that tells which host is called, so there is one Host at a time: it is the
/// current one from construction to destruction, and constructing a second one throws std::runtime_error. The services' tables
/// stay valid for the life of the process, since modules keep their addresses.
///
/// Declare a Host first, then the Module, then HostedCameras, so that they are destroyed in the opposite order.
///
/// Threads: scene and items may change only while no module code runs; VParm getVal, item param, camera info and evaluator
/// evaluate and project from any number at once.
class Host {
 public:
  explicit Host(Scene scene);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// Null when there is none.
  static Host* current() noexcept { return current_.load(std::memory_order_acquire); }

  // --- The scene. Ids are never reused: a removed item's id stays stale.

  const Scene& scene() const { return scene_; }
  /// These throw std::runtime_error, listing the names where it is a name, when there is no such item.
  Item& item(const std::string& name);
  Item& item(std::uint32_t id);
  CameraSettings& camera(const std::string& name);
  LWItemID id_of(const std::string& name) const;
  static LWItemID id_of(const Item& item) noexcept;
  static LWChanGroupID channel_group_of(const Item& item) noexcept;
  /// Null when the id is stale, null, or not an item's; that is not a violation here.
  const Item* find(LWItemID id) const noexcept;

  /// Adds an item (its id is chosen here) before the item at that place among its kind, or after the last.
  Item& add_item(Item item, std::optional<std::size_t> place = {});
  /// A camera with the default settings, at rest at that position.
  Item& add_camera(const std::string& name, Vec3 position = {});
  void remove_item(const std::string& name);
  /// `place` among the items of its kind, from 0.
  void move_item(const std::string& name, std::size_t place);

  /// Options of the frame that is rendered; evaluators use them as well.
  FrameOptions frame_options;

  /// The current frame and time, as "LW Time Info" has them.
  void set_time(int frame, double seconds);
  int frame() const noexcept { return frame_; }
  double time_seconds() const noexcept { return time_seconds_; }

  // --- Services.

  /// What activations are given.
  static GlobalFunc* global() noexcept;
  /// Until offer(), the module is told that there is no such service.
  void withhold(const std::string& service) { withheld_.insert(service); }
  void offer(const std::string& service) { withheld_.erase(service); }
  bool offers(const std::string& service) const { return !withheld_.contains(service); }
  /// The word of "System ID": LWSYS_LAYOUT and a version at first.
  void set_system_id(unsigned word) { system_id_ = word; }
  /// Every service asked for, in order, with its use (LWGlobalUse).
  std::vector<std::pair<std::string, int>> services_asked() const;

  ParameterService parameters;
  PanelService panels;
  EvaluatorService evaluators;
  SceneObjectService scene_objects;
  Audit audit;
  SavedStates saved_states;

  /// The newest living parameter of the item with that channel name. Throws std::runtime_error listing the names.
  VariantParameter& find_parameter(const std::string& item_name, const std::string& channel_name);

  std::vector<Message> messages() const;
  void record_message(Message message);
  /// What okCancel, yesNo and the like return.
  int answer = 1;

  /// The module whose handlers evaluators run; null: every camera is the host's own. HostedCamera sets it.
  void set_module(const Module* module) { module_ = module; }
  /// Called by a Module on destruction: none of its code runs afterwards, not even through evaluators that it did not destroy.
  void forget_module(const Module* module);
  const Module* module() const { return module_; }

  // --- The audit.

  /// Every violation so far, as sentences that name the call. Includes writes to or past the tables and records handed out.
  std::vector<std::string> violations() const;
  /// Every handle that was created and not destroyed.
  std::vector<std::string> leaks() const;
  /// Living handler instances, counted by HostedCamera.
  std::atomic<int> living_instances = 0;

 private:
  static void* answer_service(const char* name, int use);
  void index_items();
  Item& insert(Item item, std::optional<std::size_t> place);
  Item take_item(const std::string& name);
  std::size_t position_of(const std::string& name) const;

  static inline std::atomic<Host*> current_ = nullptr;

  Scene scene_;
  std::map<std::uint32_t, std::size_t> item_index_;
  std::uint32_t next_item_number_ = 0;
  const Module* module_ = nullptr;
  int frame_ = 0;
  double time_seconds_ = 0.0;
  unsigned system_id_ = LWSYS_LAYOUT | 0x1234U;
  std::set<std::string> withheld_;
  mutable std::mutex mutex_;
  std::vector<std::pair<std::string, int>> services_asked_;
  std::vector<Message> messages_;
};

}  // namespace standin
