#include "standin/session/session.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <utility>

#include "standin/host/hosted_camera.h"
#include "standin/host/plain_camera.h"
#include "standin/host/save_state.h"
#include "standin/scene/name_list.h"
#include "standin/scene/number_text.h"

namespace standin {
namespace {

Item& chosen_camera(Scene& scene, const std::string& name) {
  const Item* current = name.empty() ? scene.current_camera() : nullptr;
  std::vector<std::string> names;
  for (Item& item : scene.items) {
    if (item.camera) {
      if (name.empty() ? &item == current : item.name == name) return item;
      names.push_back(item.name);
    }
  }
  throw std::runtime_error("The scene has no camera" +
                           (names.empty() ? std::string() : " called \"" + name + "\"; it has: " + joined(names)));
}

/// One sentence for each camera server that the module lacks, with the cameras that use it.
std::vector<std::string> missing_servers(const Scene& scene, const Module& module) {
  std::map<std::string, std::vector<std::string>> cameras_of;
  for (const Item& item : scene.items) {
    if (!item.camera || !item.camera->handler) continue;
    const std::string& server = item.camera->handler->server_name;
    if (server == own_camera_name || module.find(LWCAMERA_HANDLER_CLASS, server) != nullptr) continue;
    cameras_of[server].push_back(item.name);
  }
  std::vector<std::string> sentences;
  sentences.reserve(cameras_of.size());
  for (const auto& [server, cameras] : cameras_of) {
    sentences.push_back("the module has no camera server \"" + server + "\", which the scene uses for " + joined(cameras) +
                        "; rendered as a plain perspective");
  }
  return sentences;
}

/// The scene with the options applied, and which of its cameras is rendered through which server.
struct Choice {
  Scene scene;
  std::uint32_t camera_number = 0;
  /// Empty for the host's own perspective camera.
  std::string server_name;
  /// The camera as the scene has it.
  Item untouched = {};
};

Choice choose(const SessionOptions& options) {
  Choice choice{read_scene_file(options.scene_file), 0, options.server_name};
  choice.scene.content_folder = options.content_folder;
  Item& item = chosen_camera(choice.scene, options.camera_name);
  choice.camera_number = item.id;
  choice.untouched = item;
  turn_camera(item, options.turn);
  CameraSettings& camera = *item.camera;
  if (options.width_pixels > 0) camera.width_pixels = options.width_pixels;
  if (options.height_pixels > 0) camera.height_pixels = options.height_pixels;
  if (choice.server_name.empty() && camera.handler) choice.server_name = camera.handler->server_name;
  if (choice.server_name == own_camera_name) choice.server_name.clear();
  return choice;
}

class LocalSession : public Session {
 public:
  explicit LocalSession(const SessionOptions& options) : LocalSession(options, choose(options)) {}

  ~LocalSession() override {
    if (camera_) camera_->clean_up();
  }

  void end() override {
    if (camera_) camera_->clean_up();
    camera_.reset();
    module_.reset();
    ended_ = true;
  }

  std::vector<std::string> take_warnings() override {
    const std::vector<Message> messages = host_.messages();
    for (; told_messages_ < messages.size(); ++told_messages_) {
      std::string sentence;
      for (const std::string& line : messages[told_messages_].lines) sentence += (sentence.empty() ? "" : ": ") + line;
      // Cameras that show each other give the same message again and again.
      if (told_.insert(sentence).second) warnings_.push_back(sentence);
    }
    for (const std::string& violation : host_.violations()) {
      const std::string sentence = "the module broke a rule of its host, which \"ovicam validate\" tells more of: " + violation;
      if (told_.insert(sentence).second) warnings_.push_back(sentence);
    }
    return std::exchange(warnings_, {});
  }

  std::vector<std::string> take_notes() override { return std::exchange(notes_, {}); }

  FrameSetup begin_frame(int frame) override {
    if (ended_) throw std::runtime_error("The session has ended; open another one");
    const CameraSettings& settings = *item().camera;
    FrameOptions options = options_;
    options.motion_blur = options.motion_blur || settings.motion_blur != 0;
    options.depth_of_field = options.depth_of_field || settings.depth_of_field;
    const double start = host_.scene().time_of(frame);
    FrameSetup setup;
    setup.frame = frame;
    setup.start_seconds = start;
    setup.duration_seconds = options.motion_blur ? blur_seconds(host_.scene(), item(), start) : 0.0;
    setup.film_width = film_size(settings)[0];
    setup.film_height = film_size(settings)[1];
    setup.depth_of_field = options.depth_of_field;
    if (camera_) {
      setup.depth_of_field = options.depth_of_field && (camera_->flags() & LWCAMFLAG_DEPTH_OF_FIELD) != 0;
      camera_->begin_frame(frame, options);
      describe_values(setup);
    } else {
      host_.set_time(frame, start);
      plain_.begin_frame(start, setup.duration_seconds, setup.depth_of_field);
    }
    return setup;
  }

  void evaluate(std::span<const RayQuery> queries, std::span<RayAnswer> answers) override {
    if (queries.size() != answers.size()) throw std::runtime_error("A session needs space for one answer per query");
    if (camera_) {
      camera_->evaluate(queries, answers);
      return;
    }
    for (std::size_t i = 0; i < queries.size(); ++i) answers[i] = plain_.evaluate(queries[i]);
  }

  std::optional<std::pair<double, double>> project(Vec3 world, double fractional_time, Eye eye) override {
    return camera_ ? camera_->project(world, fractional_time, eye) : plain_.project(world, 0.0, 0.0, fractional_time, eye);
  }

  void project(std::span<const PointQuery> queries, std::span<PointAnswer> answers) override {
    if (queries.size() != answers.size()) throw std::runtime_error("A session needs space for one answer per point");
    if (camera_)
      camera_->project(queries, answers);
    else
      plain_.project(queries, answers);
  }

  std::vector<ControlDescription> panel() override {
    return camera_ ? describe_panel(host_, camera_->panel()) : std::vector<ControlDescription>();
  }

  AppliedSetting set(const std::string& name, const std::string& text) override {
    if (!camera_) throw std::runtime_error("The host's own perspective camera has no settings; choose a camera server");
    AppliedSetting applied = apply_setting(host_, *camera_, name, text);
    std::erase_if(settings_, [&](const auto& other) { return other.first == name; });
    settings_.emplace_back(name, text);
    camera_->clean_up();
    prepare();
    return applied;
  }

  void turn(const CameraTurn& by) override {
    Item turned = untouched_;
    turn_camera(turned, by);
    Item& camera = host_.item(camera_number_);
    camera.motion = std::move(turned.motion);
    camera.camera->zoom_factor = std::move(turned.camera->zoom_factor);
    if (!camera_) return;
    camera_->clean_up();
    // What a camera has taken over from the host's zoom when it was made is not taken over again.
    if (std::exchange(zoom_, by.zoom) != by.zoom) {
      const std::string server_name = camera_->server_name();
      camera_.reset();
      make_camera(server_name);
    }
    prepare();
  }

  std::vector<GizmoElement> draw_gizmo(Vec3 eye_position, Vec3 direction) override {
    if (!camera_) return {};
    GizmoDrawing drawing;
    LWCustomObjAccess& access = *drawing.access;
    std::ranges::copy(std::array{eye_position.x, eye_position.y, eye_position.z}, std::begin(access.viewPos));
    std::ranges::copy(std::array{direction.x, direction.y, direction.z}, std::begin(access.viewDir));
    camera_->draw_gizmo(drawing);
    return std::move(drawing.elements);
  }

  std::vector<std::string> saved_lines() override { return camera_ ? camera_->save_text() : std::vector<std::string>(); }

 private:
  LocalSession(const SessionOptions& options, Choice choice)
      : camera_number_(choice.camera_number),
        untouched_(std::move(choice.untouched)),
        settings_(options.settings),
        zoom_(options.turn.zoom),
        options_{options.motion_blur, options.motion_steps, options.depth_of_field},
        host_(std::move(choice.scene)),
        plain_(host_.scene(), camera_number_) {
    if (!choice.server_name.empty()) {
      module_ = std::make_unique<Module>(options.module_file);
      warnings_ = missing_servers(host_.scene(), *module_);
    }
    const bool is_missing = options.server_name.empty() && module_ != nullptr &&
                            module_->find(LWCAMERA_HANDLER_CLASS, choice.server_name) == nullptr;
    if (module_ == nullptr || is_missing) {
      if (!options.settings.empty()) {
        throw std::runtime_error((is_missing ? "The module has no camera server \"" + choice.server_name + "\", and the host's"
                                             : std::string("The host's")) +
                                 " own perspective camera has no settings; choose a camera server for \"" +
                                 options.settings.front().first + "\"");
      }
      return;
    }
    for (AppliedSetting& applied : make_camera(choice.server_name)) {
      notes_.push_back(std::move(applied.shown));
      if (!applied.warning.empty()) warnings_.push_back(std::move(applied.warning));
    }
    prepare();
  }

  std::vector<AppliedSetting> make_camera(const std::string& server_name) {
    camera_ = std::make_unique<HostedCamera>(host_, *module_, server_name, item());
    camera_->load_saved();
    std::vector<AppliedSetting> applied;
    for (const auto& [name, value] : settings_) applied.push_back(apply_setting(host_, *camera_, name, value));
    return applied;
  }

  void prepare() {
    show_panel();
    camera_->init_render();
  }

  const Item& item() const {
    const Item* camera = host_.scene().find_camera(camera_number_);
    if (camera == nullptr) throw std::runtime_error("The camera is not in the scene any more");
    return *camera;
  }

  /// A person opens a camera's panel before rendering it. Some values are only updated then: the print camera computes its film
  /// while the panel shows the resolution.
  void show_panel() {
    const int frame = host_.scene().first_frame;
    camera_->new_time(frame, host_.scene().time_of(frame));
    const Panel& panel = camera_->panel();
    for (const PanelData& row : panel.data) panel.get(row.id);
  }

  void describe_values(FrameSetup& setup) const {
    setup.server_name = camera_->server_name();
    for (const VariantParameter* parameter : camera_->parameters())
      setup.parameters.emplace_back(parameter->channel_name, parameter->at(setup.start_seconds));
    const Panel& panel = camera_->panel();
    for (const PanelControl& control : panel.controls) {
      const PanelData* data = panel.data_of(control.id);
      if (data == nullptr || control.label.empty() || panel.get(control.id) == nullptr) continue;
      if (data->type == "integer") {
        const int value = panel.get_integer(control.id);
        const std::vector<std::string> choices = panel.choices(control.id);
        const bool is_choice = value >= 0 && static_cast<std::size_t>(value) < choices.size();
        setup.settings.emplace_back(control.label,
                                    is_choice ? choices[static_cast<std::size_t>(value)] : std::to_string(value));
      } else if (data->type == "float") {
        setup.settings.emplace_back(control.label, shortest(panel.get_float(control.id)));
      } else if (data->type == "string" && control.label == "Version") {
        setup.module_version = panel.get_text(control.id);
      } else if (data->type == "string") {
        setup.settings.emplace_back(control.label, panel.get_text(control.id));
      }
    }
  }

  std::uint32_t camera_number_;
  Item untouched_;
  /// What was set on the camera, each name once, and what its zoom is multiplied by.
  std::vector<std::pair<std::string, std::string>> settings_;
  double zoom_;
  FrameOptions options_;
  Host host_;
  PlainCamera plain_;
  std::unique_ptr<Module> module_;
  std::unique_ptr<HostedCamera> camera_;
  bool ended_ = false;
  std::vector<std::string> warnings_;
  std::vector<std::string> notes_;
  std::size_t told_messages_ = 0;
  std::set<std::string> told_;
};

}  // namespace

std::unique_ptr<Session> open_session(const SessionOptions& options) { return std::make_unique<LocalSession>(options); }

}  // namespace standin
