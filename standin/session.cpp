#include "standin/session.h"

#include <charconv>
#include <cmath>
#include <stdexcept>

#include "standin/instance.h"
#include "standin/plain_camera.h"

namespace standin {
namespace {

constexpr const char* perspective_name = "Perspective";

std::string list(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text.empty() ? "none" : text;
}

double parse_number(const std::string& name, const std::string& text) {
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) {
    throw std::runtime_error("\"" + text + "\" is no number; give the setting \"" + name + "\" one such as 0.5");
  }
  return value;
}

/// A whole number, or the text of one of the choices.
int parse_choice(const Panel& panel, const PanelControl& control, const std::string& text) {
  const std::vector<std::string> choices = panel.choices(control.id);
  for (std::size_t i = 0; i < choices.size(); ++i) {
    if (choices[i] == text) {
      return static_cast<int>(i);
    }
  }
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) {
    throw std::runtime_error("\"" + text + "\" is no value of the setting \"" + control.label + "\"; give a whole number" +
                             (choices.empty() ? "" : " or one of: " + list(choices)));
  }
  return value;
}

/// Sets a panel value by its control's label; whether there is such a control with a value that can be set.
bool set_by_label(Host& host, const Panel& panel, const std::string& label, const std::string& text) {
  for (const PanelControl& control : panel.controls) {
    const PanelData* data = panel.data_of(control.id);
    if (control.label != label || data == nullptr) {
      continue;
    }
    if (data->type == "integer") {
      panel.set_integer(control.id, parse_choice(panel, control, text));
      return true;
    }
    if (data->type == "float") {
      panel.set_float(control.id, parse_number(label, text));
      return true;
    }
    if (data->type.ends_with("-env")) {
      if (Parameter* parameter = host.parameters.table.find(panel.get_envelope(control.id))) {
        parameter->set_constant(parse_number(label, text));
        return true;
      }
    }
  }
  return false;
}

void apply_setting(Host& host, CameraInstance& camera, const std::string& name, const std::string& text) {
  std::vector<std::string> names;
  for (Parameter* parameter : camera.parameters()) {
    if (parameter->channel_name == name) {
      parameter->set_constant(parse_number(name, text));
      return;
    }
    names.push_back(parameter->channel_name);
  }
  const Panel& panel = camera.panel();
  if (set_by_label(host, panel, name, text)) {
    return;
  }
  for (const PanelControl& control : panel.controls) {
    const PanelData* data = panel.data_of(control.id);
    if (data != nullptr && data->type != "string" && !control.label.empty()) {
      names.push_back(control.label);
    }
  }
  throw std::runtime_error(camera.server_name() + " has no setting called \"" + name + "\"; it has: " + list(names));
}

Item& chosen_camera(Scene& scene, const std::string& name) {
  std::vector<std::string> names;
  for (Item& item : scene.items) {
    if (item.camera) {
      if (name.empty() || item.name == name) {
        return item;
      }
      names.push_back(item.name);
    }
  }
  throw std::runtime_error("The scene has no camera" +
                           (names.empty() ? std::string() : " called \"" + name + "\"; it has: " + list(names)));
}

/// The scene as the options change it, and which camera of it is rendered through which server.
struct Choice {
  Scene scene;
  std::uint32_t camera_number = 0;
  /// Empty: the host's own perspective camera.
  std::string server_name;
};

Choice choose(const SessionOptions& options) {
  Choice choice{read_scene_file(options.scene_file), 0, options.server_name};
  Item& item = chosen_camera(choice.scene, options.camera_name);
  choice.camera_number = item.id;
  CameraSettings& camera = *item.camera;
  if (options.width_pixels > 0) {
    camera.width_pixels = options.width_pixels;
  }
  if (options.height_pixels > 0) {
    camera.height_pixels = options.height_pixels;
  }
  if (choice.server_name.empty() && camera.handler) {
    choice.server_name = camera.handler->server_name;
  }
  if (choice.server_name == perspective_name) {
    choice.server_name.clear();
  }
  return choice;
}

class LocalSession : public Session {
 public:
  explicit LocalSession(const SessionOptions& options) : LocalSession(options, choose(options)) {}

  ~LocalSession() override {
    if (camera_) {
      camera_->clean_up();
    }
  }

  FrameSetup begin_frame(int frame) override {
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
    } else {
      host_.set_time(frame, start);
      plain_.begin_frame(start, setup.duration_seconds, setup.depth_of_field);
    }
    return setup;
  }

  void evaluate(std::span<const RayQuery> queries, std::span<RayAnswer> answers) override {
    if (queries.size() != answers.size()) {
      throw std::runtime_error("A session needs room for one answer per query");
    }
    for (std::size_t i = 0; i < queries.size(); ++i) {
      answers[i] = camera_ ? camera_->evaluate(queries[i]) : plain_.evaluate(queries[i]);
    }
  }

  std::optional<std::pair<double, double>> project(Vec3 world, double fractional_time, Eye eye) override {
    return camera_ ? camera_->project(world, fractional_time, eye) : plain_.project(world, 0.0, 0.0, fractional_time, eye);
  }

 private:
  LocalSession(const SessionOptions& options, Choice choice)
      : camera_number_(choice.camera_number),
        options_{options.motion_blur, options.motion_steps, options.depth_of_field},
        host_(std::move(choice.scene)),
        plain_(host_.scene(), camera_number_) {
    if (choice.server_name.empty()) {
      if (!options.settings.empty()) {
        throw std::runtime_error("The host's own perspective camera has no settings; choose a camera server for \"" +
                                 options.settings.front().first + "\"");
      }
      return;
    }
    module_ = std::make_unique<Module>(options.module_file);
    camera_ = std::make_unique<CameraInstance>(host_, *module_, choice.server_name, item());
    camera_->load_saved();
    for (const auto& [name, value] : options.settings) {
      apply_setting(host_, *camera_, name, value);
    }
    camera_->init_render();
  }

  const Item& item() const { return *host_.scene().find(camera_number_); }

  std::uint32_t camera_number_;
  FrameOptions options_;
  Host host_;
  PlainCamera plain_;
  std::unique_ptr<Module> module_;
  std::unique_ptr<CameraInstance> camera_;
};

}  // namespace

std::unique_ptr<Session> open_session(const SessionOptions& options) { return std::make_unique<LocalSession>(options); }

}  // namespace standin
