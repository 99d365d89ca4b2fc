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
#include "standin/host/scene_objects.h"
#include "standin/scene/scene.h"

namespace standin {

class Module;

/// What the module said to a person.
struct Message {
  /// "info", "error", "warning", "okCancel", "yesNo", "yesNoCan" or "yesNoAll".
  std::string kind;
  std::vector<std::string> lines;
};

/// How a frame is rendered, beyond what the scene says of the camera.
struct FrameOptions {
  bool motion_blur = false;
  unsigned motion_steps = 2;
  /// Of the host's own perspective camera.
  bool depth_of_field = false;
};

/// Plays the host toward a module: owns a scene and offers the services that the module asks for by name.
///
/// The services' C functions are told nothing about whom they serve, so there is one Host at a time: it is the current one
/// from construction to destruction, and a second one meanwhile throws std::runtime_error. The services' tables stay valid
/// for the life of the process, since modules keep their addresses.
///
/// Declare a Host first, then the Module, then CameraInstances, so that they end in the opposite order.
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
  static Host* current() noexcept;

  // --- The scene. A removed item's id stays stale for ever: ids are never used again.

  const Scene& scene() const { return scene_; }
  /// These throw std::runtime_error listing the names when there is no such item.
  Item& item(const std::string& name);
  CameraSettings& camera(const std::string& name);
  LWItemID id_of(const std::string& name) const;
  static LWItemID id_of(const Item& item) noexcept;
  static LWChanGroupID channel_group_of(const Item& item) noexcept;
  /// Null when the id is stale, of no item, or null; that is no violation here.
  const Item* find(LWItemID id) const noexcept;

  /// Adds an item (its id is chosen here) before the item at that place among its kind, or behind the last.
  Item& add_item(Item item, std::optional<std::size_t> place = {});
  /// A camera with the default settings, at rest at that position.
  Item& add_camera(const std::string& name, Vec3 position = {});
  void remove_item(const std::string& name);
  /// `place` among the items of its kind, from 0.
  void move_item(const std::string& name, std::size_t place);

  /// Of the frame that is rendered; evaluators follow it.
  FrameOptions frame_options;

  /// The current frame and time, as "LW Time Info" tells it.
  void set_time(int frame, double seconds);
  int frame() const noexcept { return frame_; }
  double time_seconds() const noexcept { return time_seconds_; }

  // --- Services.

  /// What activations are handed.
  static GlobalFunc* global() noexcept;
  /// The module is told that there is no such service, until offer().
  void withhold(const std::string& service) { withheld_.insert(service); }
  void offer(const std::string& service) { withheld_.erase(service); }
  /// The word of "System ID": LWSYS_LAYOUT and a version at first.
  void set_system_id(unsigned word) { system_id_ = word; }
  /// Every service asked for, in order, with its use (LWGlobalUse).
  std::vector<std::pair<std::string, int>> services_asked() const;

  ParameterService parameters;
  PanelService panels;
  EvaluatorService evaluators;
  SceneObjectService scene_objects;
  Audit audit;

  /// The newest living parameter of that channel name of the item. Throws std::runtime_error listing the names.
  VariantParameter& find_parameter(const std::string& item_name, const std::string& channel_name);

  std::vector<Message> messages() const;
  void record_message(Message message);
  /// What okCancel, yesNo and their like return.
  int answer = 1;

  /// The module whose handlers evaluators run; null: every camera is the host's own. HostedCamera sets it.
  void set_module(const Module* module) { module_ = module; }
  /// Called by a Module that ends: no code of it is run any more, not even by evaluators that it forgot.
  void forget_module(const Module* module);
  const Module* module() const { return module_; }

  // --- The audit.

  /// Every mistake so far: sentences naming the call. Includes writes to or past the tables and records handed out.
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
