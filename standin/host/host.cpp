#include "standin/host/host.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "standin/host/hosted_camera.h"
#include "standin/host/services.h"
#include "standin/scene/name_list.h"

namespace standin {
namespace {

/// Of messages and of services asked for: a long render must not fill the memory.
constexpr std::size_t most_entries_kept = 10000;

/// Modules keep its address and may read it at any time.
Guarded<LWTimeInfo>& time_info() {
  static Guarded<LWTimeInfo> info;
  return info;
}

const std::array<Service, 8>& services() {
  static const std::array<Service, 8> all{item_service(),         camera_service(),     parameter_service(),
                                          panel_service(),        message_service(),    evaluator_service(),
                                          scene_object_service(), object_info_service()};
  return all;
}

/// The top byte distinguishes an item's id from other handles and from addresses; the rest is the item's number.
constexpr std::uint64_t item_kind = std::uint64_t{0x1A10} << 48;
constexpr std::uint64_t group_kind = std::uint64_t{0x1A11} << 48;

[[noreturn]] void refuse_name(const std::string& what, const std::string& name, const std::vector<std::string>& choices) {
  throw std::runtime_error("There is no " + what + " called \"" + name + "\"; there are: " + joined(choices));
}

}  // namespace

void unsupported_slot() { violation("A service's table", "the module called a slot that this host does not offer"); }

void violation(const std::string& call, const std::string& wrong) {
  if (Host* host = Host::current()) host->audit.report(call + ": " + wrong);
}

std::string handle_text(const void* handle) {
  std::array<char, 20> text{};
  const auto number = static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle));
  return "0x" + std::string(text.data(), std::to_chars(text.data(), text.data() + text.size(), number, 16).ptr);
}

void stale_handle(const char* call, const void* handle) {
  violation(call, "the handle " + handle_text(handle) + " is stale or was never given out");
}

const Item* require_item(LWItemID id, const char* call) {
  const Host* host = Host::current();
  const Item* item = host != nullptr ? host->find(id) : nullptr;
  if (item == nullptr) violation(call, "the id " + handle_text(id) + " is not that of an item in the scene");
  return item;
}

Host::Host(Scene scene) : scene_(std::move(scene)) {
  for (const Item& item : scene_.items) next_item_number_ = std::max(next_item_number_, item.id);
  ++next_item_number_;
  index_items();
  Host* none = nullptr;
  if (!current_.compare_exchange_strong(none, this))
    throw std::runtime_error("Only one stand-in host can be active in a process; end the other one first");
  services();
  set_time(scene_.first_frame, scene_.time_of(scene_.first_frame));
  for (const Item& item : scene_.items) scene_objects.add(scene_, item);
}

Host::~Host() { current_.store(nullptr); }

void Host::index_items() {
  item_index_.clear();
  for (std::size_t i = 0; i < scene_.items.size(); ++i) item_index_.emplace(scene_.items[i].id, i);
}

std::size_t Host::position_of(const std::string& name) const {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < scene_.items.size(); ++i) {
    if (scene_.items[i].name == name) return i;
    names.push_back(scene_.items[i].name);
  }
  refuse_name("item", name, names);
}

Item& Host::item(const std::string& name) { return scene_.items[position_of(name)]; }

Item& Host::item(std::uint32_t id) {
  const auto found = item_index_.find(id);
  if (found == item_index_.end()) throw std::runtime_error("The scene has no item of this id");
  return scene_.items[found->second];
}

CameraSettings& Host::camera(const std::string& name) {
  std::vector<std::string> names;
  for (Item& item : scene_.items) {
    if (item.camera) {
      if (item.name == name) return *item.camera;
      names.push_back(item.name);
    }
  }
  refuse_name("camera", name, names);
}

LWItemID Host::id_of(const std::string& name) const { return id_of(scene_.items[position_of(name)]); }

LWItemID Host::id_of(const Item& item) noexcept { return reinterpret_cast<LWItemID>(item_kind | item.id); }

LWChanGroupID Host::channel_group_of(const Item& item) noexcept {
  return reinterpret_cast<LWChanGroupID>(group_kind | item.id);
}

const Item* Host::find(LWItemID id) const noexcept {
  const auto word = reinterpret_cast<std::uint64_t>(id);
  const auto number = static_cast<std::uint32_t>(word);
  if ((item_kind | number) != word) return nullptr;
  const auto found = item_index_.find(number);
  return found != item_index_.end() ? &scene_.items[found->second] : nullptr;
}

Item& Host::insert(Item item, std::optional<std::size_t> place) {
  // Before the place-th item of its kind, or after the last of them.
  std::size_t at = scene_.items.size();
  std::size_t seen = 0;
  for (std::size_t i = 0; i < scene_.items.size(); ++i) {
    if (scene_.items[i].kind == item.kind) {
      if (place && seen == *place) {
        at = i;
        break;
      }
      ++seen;
      at = i + 1;
    }
  }
  const auto inserted = scene_.items.insert(scene_.items.begin() + static_cast<std::ptrdiff_t>(at), std::move(item));
  index_items();
  return *inserted;
}

Item& Host::add_item(Item item, std::optional<std::size_t> place) {
  item.id = next_item_number_++;
  Item& added = insert(std::move(item), place);
  scene_objects.add(scene_, added);
  return added;
}

Item& Host::add_camera(const std::string& name, Vec3 position) {
  Item item;
  item.kind = ItemKind::camera;
  item.name = name;
  item.motion[0] = Envelope::constant(position.x);
  item.motion[1] = Envelope::constant(position.y);
  item.motion[2] = Envelope::constant(position.z);
  item.camera = CameraSettings{};
  return add_item(std::move(item));
}

void Host::remove_item(const std::string& name) { take_item(name); }

Item Host::take_item(const std::string& name) {
  const std::size_t position = position_of(name);
  Item item = std::move(scene_.items[position]);
  scene_.items.erase(scene_.items.begin() + static_cast<std::ptrdiff_t>(position));
  index_items();
  return item;
}

void Host::move_item(const std::string& name, std::size_t place) { insert(take_item(name), place); }

void Host::set_time(int frame, double seconds) {
  time_info()->frame = frame;
  time_info()->time = seconds;
  frame_ = frame;
  time_seconds_ = seconds;
}

GlobalFunc* Host::global() noexcept { return &Host::answer_service; }

void* Host::answer_service(const char* name, int use) {
  Host* host = current();
  if (host == nullptr || name == nullptr) {
    violation("GlobalFunc", "a service was asked for without a name");
    return nullptr;
  }
  {
    const std::lock_guard lock(host->mutex_);
    if (host->services_asked_.size() < most_entries_kept) host->services_asked_.emplace_back(name, use);
  }
  if (use != GFUSE_TRANSIENT && use != GFUSE_ACQUIRE && use != GFUSE_RELEASE)
    violation("GlobalFunc", std::string(name) + " was asked for with the unknown use " + std::to_string(use));
  if (host->withheld_.contains(name)) return nullptr;
  const std::string_view asked = name;
  if (asked == LWSYSTEMID_GLOBAL) return reinterpret_cast<void*>(static_cast<std::uintptr_t>(host->system_id_));
  if (asked == LWTIMEINFO_GLOBAL) return &*time_info();
  for (const Service& service : services())
    if (asked == service.name) return service.table;
  violation("GlobalFunc", "there is no service \"" + std::string(name) + "\"");
  return nullptr;
}

std::vector<std::pair<std::string, int>> Host::services_asked() const {
  const std::lock_guard lock(mutex_);
  return services_asked_;
}

VariantParameter& Host::find_parameter(const std::string& item_name, const std::string& channel_name) {
  std::vector<std::string> names;
  VariantParameter* newest = nullptr;
  for (VariantParameter* parameter : parameters.of(channel_group_of(item(item_name)))) {
    names.push_back(parameter->channel_name);
    newest = parameter->channel_name == channel_name ? parameter : newest;
  }
  if (newest == nullptr) refuse_name("parameter of " + item_name, channel_name, names);
  return *newest;
}

void Host::forget_module(const Module* module) {
  if (module_ != module) return;
  module_ = nullptr;
  std::vector<LWCameraEvaluatorID> forgotten;
  evaluators.table.for_each([&](LWCameraEvaluatorID id, Evaluator&) { forgotten.push_back(id); });
  for (LWCameraEvaluatorID id : forgotten) {
    // Destroying one instance may destroy further evaluators.
    if (Evaluator* evaluator = evaluators.table.find(id)) evaluator->instance.reset();
  }
}

std::vector<Message> Host::messages() const {
  const std::lock_guard lock(mutex_);
  return messages_;
}

void Host::record_message(Message message) {
  const std::lock_guard lock(mutex_);
  if (messages_.size() < most_entries_kept) messages_.push_back(std::move(message));
}

std::vector<std::string> Host::violations() const {
  std::vector<std::string> sentences = audit.violations();
  for (const Service& service : services())
    if (!service.untouched())
      sentences.push_back(std::string(service.name).append(": the module wrote to the service's table"));
  const Guarded<LWTimeInfo>& time = time_info();
  if (!time.intact() || time->frame != frame_ || time->time != time_seconds_)
    sentences.push_back(std::string(LWTIMEINFO_GLOBAL).append(": the module wrote to the host's time record"));
  for (const auto& mesh : scene_objects.meshes)
    if (!mesh->record.intact()) sentences.emplace_back("LWMeshInfo: the module wrote past the record");
  return sentences;
}

std::vector<std::string> Host::leaks() const {
  std::vector<std::string> sentences;
  parameters.table.for_each([&](LWVParmID, const VariantParameter& parameter) {
    sentences.push_back("VParm \"" + parameter.channel_name + "\" was created and not destroyed");
  });
  panels.table.for_each([&](LWXPanelID, const Panel& panel) {
    sentences.push_back("A panel with " + std::to_string(panel.controls.size()) + " controls was created and not destroyed");
  });
  evaluators.table.for_each([&](LWCameraEvaluatorID, const Evaluator& evaluator) {
    sentences.push_back("The evaluator of " + evaluator.camera_name + " was created and not destroyed");
  });
  for (const auto& mesh : scene_objects.meshes)
    if (!mesh->destroyed)
      sentences.push_back("The mesh of layer " + std::to_string(mesh->layer->number) + " was opened and not destroyed");
  if (const int living = living_instances.load(); living != 0)
    sentences.push_back(std::to_string(living) + " handler instances were created and not destroyed");
  return sentences;
}

}  // namespace standin
