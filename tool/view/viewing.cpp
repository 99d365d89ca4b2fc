#include "tool/view/viewing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>
#include <span>
#include <sstream>
#include <stdexcept>
#include <tbb/task_arena.h>

#include "standin/host/save_state.h"
#include "standin/remote/ray_service.h"
#include "standin/scene/file_bytes.h"
#include "standin/scene/number_text.h"
#include "standin/scene/scene_edit.h"
#include "standin/session/control_text.h"
#include "tool/output/json_output.h"
#include "tool/output/new_file.h"
#include "tool/output/panel_page.h"
#include "tool/output/shell_text.h"
#include "tool/render/frame_metadata.h"
#include "tool/render/frame_probe.h"
#include "tool/render/frame_renderer.h"
#include "tool/render/gizmo_picture.h"
#include "tool/render/tracer.h"
#include "tool/view/plain_perspective.h"

namespace tool {
namespace {

using nlohmann::json;
using standin::ControlDescription;
using standin::Quantity;
using standin::Vec3;

/// What the first picture after a change may take, so that dragging stays fluid.
constexpr double seconds_for_first_picture = 0.04;
constexpr int coarsest = 16;
constexpr auto patience_with_stage = std::chrono::seconds(2);

json point(Vec3 at) { return {at.x, at.y, at.z}; }

standin::Eye first_eye(ViewEye eye) {
  if (eye == ViewEye::centre) return standin::Eye::centre;
  return eye == ViewEye::right ? standin::Eye::right : standin::Eye::left;
}

}  // namespace

Viewing::Viewing(ViewSource source) : source_(std::move(source)) {
  thread_ = std::thread([this] {
    try {
      // Its own, so that what other threads compute does not hold it up.
      tbb::task_arena().execute([this] { run(); });
    } catch (...) {
      const std::lock_guard lock(mutex_);
      failed_ = std::current_exception();
      changed_.notify_all();
    }
  });
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return news_.state > 0 || failed_; });
  if (!failed_) return;
  lock.unlock();
  thread_.join();
  std::rethrow_exception(failed_);
}

Viewing::~Viewing() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
    cancelled_ = true;
    changed_.notify_all();
  }
  thread_.join();
}

std::uint64_t Viewing::change(ViewChange change) {
  const std::lock_guard lock(mutex_);
  if (pending_)
    pending_->join(std::move(change));
  else
    pending_ = std::move(change);
  cancelled_ = true;
  changed_.notify_all();
  return ++changes_;
}

Viewing::News Viewing::wait_for_news(News known, std::chrono::milliseconds longest) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, longest, [&] { return ending_ || news_ != known; });
  return news_;
}

std::string Viewing::state() const {
  const std::lock_guard lock(mutex_);
  return state_;
}

std::shared_ptr<const ViewPicture> Viewing::picture() const {
  const std::lock_guard lock(mutex_);
  return picture_;
}

Viewing::Watch::Watch(Viewing& viewing) : viewing_(viewing) {
  const std::lock_guard lock(viewing_.mutex_);
  ++viewing_.watchers_;
  viewing_.changed_.notify_all();
}

Viewing::Watch::~Watch() {
  const std::lock_guard lock(viewing_.mutex_);
  if (--viewing_.watchers_ == 0) viewing_.cancelled_ = true;
}

// --- Of the thread that renders.

void Viewing::run() {
  describe_servers();
  {
    const std::lock_guard stage(stage_);
    read_scene();
    const std::string& name = source_.session.camera_name;
    const standin::Item* item = name.empty() ? scene_->current_camera() : scene_->find_camera(name);
    const auto place = std::ranges::find(cameras_, item);
    if (item == nullptr || place == cameras_.end()) throw std::runtime_error("The scene has no such camera");
    choice_.camera = static_cast<std::size_t>(place - cameras_.begin());
    choice_.server = source_.session.server_name;
    choice_.frame = source_.frame.value_or(scene_->first_frame);
    choice_.samples = source_.samples;
    start_ = {choice_.camera, choice_.server};
    settings() = source_.session.settings;
    size_is_chosen_ = source_.session.width_pixels > 0;
    if (size_is_chosen_) {
      choice_.width = source_.session.width_pixels;
      choice_.height = source_.session.height_pixels;
    } else {
      fit_size_to_camera();
    }
    open();
    begin_frame();
  }
  publish_state();
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [this] { return ending_ || pending_ || !errands_.empty() || (watchers_ > 0 && !steps_.empty()); });
    if (ending_) return;
    const auto change = std::exchange(pending_, {});
    std::optional<std::packaged_task<void()>> errand;
    if (change) {
      applied_ = changes_;
    } else if (!errands_.empty()) {
      errand = std::move(errands_.front());
      errands_.pop_front();
    }
    cancelled_ = false;
    lock.unlock();
    if (change) {
      try {
        const std::lock_guard stage(stage_);
        apply(*change);
      } catch (const std::exception& error) {
        give_up(error);
      }
      publish_state();
    } else if (errand) {
      const std::lock_guard stage(stage_);
      (*errand)();
    } else {
      try {
        render_step();
      } catch (const std::exception& error) {
        give_up(error);
        publish_state();
      }
    }
    lock.lock();
  }
}

/// A module that runs elsewhere may have died: the next change opens the camera again.
void Viewing::give_up(const std::exception& error) {
  const std::lock_guard stage(stage_);
  trouble_ = error.what();
  steps_.clear();
  session_.reset();
}

void Viewing::describe_servers() { module_ = standin::describe_module_for(source_.session.module_file); }

/// Again only when the file is another one.
void Viewing::read_scene() {
  const auto time = std::filesystem::last_write_time(source_.session.scene_file);
  if (scene_ != nullptr && time == scene_time_) return;
  auto scene = std::make_unique<standin::Scene>(standin::read_scene_file(source_.session.scene_file));
  scene->content_folder = source_.session.content_folder;
  std::ostringstream told;
  auto render_scene = std::make_unique<RenderScene>(*scene, told);
  if (scene->current_camera() == nullptr)
    throw std::runtime_error(source_.session.scene_file.string() + ": the scene has no camera");
  if (!render_scene->has_objects())
    throw std::runtime_error(source_.session.scene_file.string() +
                             ": there is nothing to be seen: the scene has no object with polygons, or none was found "
                             "(--content names the folder of all content)");
  layers_.clear();
  render_scene_ = std::move(render_scene);
  scene_ = std::move(scene);
  scene_time_ = time;
  cameras_.clear();
  untouched_.reset();
  for (standin::Item& item : scene_->items)
    if (item.camera) cameras_.push_back(&item);
  camera_count_ = cameras_.size();
  choice_.camera = std::min(choice_.camera, cameras_.size() - 1);
  warnings_ = scene_->notes.warnings;
  std::istringstream lines(told.str());
  for (std::string line; std::getline(lines, line);) warnings_.push_back(line);
}

standin::CameraTurn Viewing::turn() const {
  return standin::turn_of_degrees({choice_.turn[0], choice_.turn[1], choice_.turn[2]}, choice_.zoom);
}

/// Whatever is attached to the camera turns with it.
void Viewing::turn_scene() {
  if (untouched_)
    for (standin::Item* item : cameras_)
      if (item->id == untouched_->id) *item = *untouched_;
  untouched_.reset();
  if (turn() == standin::CameraTurn()) return;
  standin::Item& item = *cameras_.at(choice_.camera);
  untouched_ = item;
  standin::turn_camera(item, turn());
}

/// A camera that shows others may not follow its own direction, and many have no zoom.
void Viewing::tell_of_turn_without_effect(const ViewChoice& before, const std::vector<standin::RayAnswer>& rays_before) {
  if (!same_rays(rays_before, probe_frame(*session_, setup_, first_eye(choice_.eye)))) return;
  trouble_ =
      before.turn != choice_.turn
          ? "This camera does not look where it is turned to: it shows what other cameras see, or the surface of an object"
          : "This camera does not follow the zoom; what it takes in is set on its panel";
}

std::string Viewing::server_name() const {
  std::string name = choice_.server;
  if (name.empty() && camera().camera->handler) name = camera().camera->handler->server_name;
  return name == standin::own_camera_name ? std::string() : name;
}

/// The camera's own size, or one of the same shape that a page can show.
void Viewing::fit_size_to_camera() {
  double width = std::max(1, camera().camera->width_pixels);
  double height = std::max(1, camera().camera->height_pixels);
  const double scale = std::min({1.0, most_view_side / width, most_view_side / height,
                                 std::sqrt(static_cast<double>(most_view_pixels) / (width * height))});
  choice_.width = std::max(1, static_cast<int>(width * scale));
  choice_.height = std::max(1, static_cast<int>(height * scale));
}

void Viewing::open() {
  steps_.clear();
  rows_.clear();
  // There is one host at a time.
  session_.reset();
  read_scene();
  standin::SessionOptions options = source_.session;
  options.camera_name = camera().name;
  options.server_name = choice_.server;
  options.settings = settings();
  options.width_pixels = choice_.width;
  options.height_pixels = choice_.height;
  options.turn = turn();
  turn_scene();
  session_ = standin::open_session_for(options);
}

void Viewing::begin_frame() {
  setup_ = session_->begin_frame(choice_.frame);
  render_scene_->set_frame(setup_.start_seconds, setup_.duration_seconds);
  rows_ = session_->panel();
  measures_ = measure_lens(*session_, setup_, first_eye(choice_.eye));
  plan_steps();
}

void Viewing::apply(const ViewChange& change) {
  trouble_.clear();
  const ViewChoice before = choice_;
  if (change.camera && *change.camera >= cameras_.size()) throw std::runtime_error("The scene has no such camera any more");
  if (change.camera) {
    choice_.camera = *change.camera;
    choice_.server.clear();
    choice_.turn = {};
    choice_.zoom = 1.0;
  }
  if (change.server) choice_.server = *change.server;
  choice_.frame = change.frame.value_or(choice_.frame);
  choice_.eye = change.eye.value_or(choice_.eye);
  choice_.samples = change.samples.value_or(choice_.samples);
  choice_.gizmo = change.gizmo.value_or(choice_.gizmo);
  choice_.turn = change.turn.value_or(choice_.turn);
  choice_.zoom = change.zoom.value_or(choice_.zoom);
  choice_.compare = change.compare.value_or(choice_.compare);
  if (change.size) {
    size_is_chosen_ = true;
    std::tie(choice_.width, choice_.height) = *change.size;
  }
  if (!size_is_chosen_) fit_size_to_camera();
  if (change.reset) settings() = PanelKey{choice_.camera, choice_.server} == start_ ? source_.session.settings : Settings();
  const bool is_another = choice_.camera != before.camera || choice_.server != before.server || choice_.width != before.width ||
                          choice_.height != before.height;
  const bool is_turned = choice_.turn != before.turn || choice_.zoom != before.zoom;
  std::optional<std::vector<standin::RayAnswer>> rays_before;
  if (session_ == nullptr || is_another || change.reset) {
    open();
  } else if (is_turned) {
    if (change.settings.empty() && !change.frame && !change.eye)
      rays_before = probe_frame(*session_, setup_, first_eye(choice_.eye));
    turn_scene();
    session_->turn(turn());
  }
  for (const auto& [name, text] : change.settings) {
    try {
      const standin::AppliedSetting applied = session_->set(name, text);
      add_setting(settings(), {name, text});
      if (!applied.warning.empty()) trouble_ = applied.warning;
    } catch (const std::exception& error) {
      trouble_ = error.what();
    }
  }
  begin_frame();
  if (rays_before) tell_of_turn_without_effect(before, *rays_before);
}

void Viewing::publish_state() {
  if (session_ != nullptr)
    for (std::string& warning : session_->take_warnings())
      if (std::ranges::find(warnings_, warning) == warnings_.end()) warnings_.push_back(std::move(warning));
  std::string text = json_line(state_json());
  const std::lock_guard lock(mutex_);
  state_ = std::move(text);
  ++news_.state;
  changed_.notify_all();
}

json Viewing::row_json(const ControlDescription& row) const {
  const Quantity quantity = standin::quantity_of(row);
  const standin::DisplayedValue shown = standin::displayed_value(row);
  json object{{"id", row.id},
              {"name", row.label.empty() ? row.channel_name : row.label},
              {"label", row.label},
              {"quantity", standin::name_of(quantity)},
              {"value", row.value},
              {"shown", shown.value},
              {"unit", shown.unit},
              {"choices", row.choices},
              {"animated", row.animated},
              {"divider", row.divider_below}};
  const bool has_channel = row.data_type.ends_with("-env");
  object["envelope"] = has_channel;
  if (row.drawing) {
    json texts = json::array();
    for (const auto& text : row.drawing->texts) texts.push_back({{"text", text.text}, {"x", text.x}, {"y", text.y}});
    object["drawing"] = {{"source", png_data_uri(*row.drawing)},
                         {"width", row.drawing->width()},
                         {"height", row.drawing->height()},
                         {"texts", std::move(texts)}};
  }
  // What the module clamps to is found once; the panel's own rows have the limits that the hints give.
  std::optional<double> minimum = row.minimum;
  std::optional<double> maximum = row.maximum;
  const auto known = std::ranges::find(module_.cameras, server_name(), &standin::CameraDescription::server_name);
  if (known != module_.cameras.end()) {
    const auto same = std::ranges::find(known->panel_rows, row.id, &ControlDescription::id);
    if (same != known->panel_rows.end()) {
      if (!minimum) minimum = same->minimum;
      if (!maximum) maximum = same->maximum;
    }
  }
  if (minimum) object["minimum"] = *minimum;
  if (maximum) object["maximum"] = *maximum;
  return object;
}

json Viewing::state_json() const {
  json cameras = json::array();
  for (const standin::Item* item : cameras_)
    cameras.push_back({{"name", item->name},
                       {"server", item->camera->handler ? item->camera->handler->server_name : standin::own_camera_name}});
  json servers = json::array({{{"name", standin::own_camera_name}, {"title", "Perspective of the host"}}});
  for (const auto& described : module_.cameras)
    servers.push_back({{"name", described.server_name},
                       {"title", described.user_name.empty() ? described.server_name : described.user_name}});
  json rows = json::array();
  for (const ControlDescription& row : rows_) rows.push_back(row_json(row));
  const std::string server = server_name();
  return {{"change", applied_},
          {"trouble", trouble_},
          {"warnings", warnings_},
          {"scene", source_.session.scene_file.string()},
          {"cameras", std::move(cameras)},
          {"servers", std::move(servers)},
          {"server", server.empty() ? standin::own_camera_name : server},
          {"choice",
           {{"camera", choice_.camera},
            {"server", choice_.server},
            {"frame", choice_.frame},
            {"eye", name_of(choice_.eye)},
            {"size", {choice_.width, choice_.height}},
            {"samples", choice_.samples},
            {"gizmo", choice_.gizmo},
            {"turn", choice_.turn},
            {"zoom", choice_.zoom},
            {"compare", choice_.compare}}},
          {"scene_size", {camera().camera->width_pixels, camera().camera->height_pixels}},
          {"frames", {{"first", scene_->first_frame}, {"last", scene_->last_frame}, {"per_second", scene_->frames_per_second}}},
          {"film", {setup_.film_width, setup_.film_height}},
          {"full_sphere", measures_.panorama == PanoramaCover::sphere},
          {"degrees_per_height", measures_.degrees_per_height ? json(*measures_.degrees_per_height) : json()},
          {"rows", std::move(rows)},
          {"command", command_line()}};
}

std::string Viewing::command_line() const {
  std::vector<std::string> words = source_.command;
  const auto add = [&](const char* option, std::string value) { words.insert(words.end(), {option, std::move(value)}); };
  add("--camera", camera().name);
  if (!choice_.server.empty()) add("--server", choice_.server);
  if (const auto found = settings_.find({choice_.camera, choice_.server}); found != settings_.end())
    for (const auto& [name, text] : found->second) add("--set", name + "=" + text);
  // Every digit, so that the command turns by the very same.
  if (choice_.turn != std::array<double, 3>{}) {
    std::string& turn = words.emplace_back("--turn=");
    for (const double angle : choice_.turn) (turn += turn.ends_with('=') ? "" : ",") += standin::shortest(angle);
  }
  if (choice_.zoom != 1.0) add("--zoom", standin::shortest(choice_.zoom));
  add("--frames", std::to_string(choice_.frame));
  add("--size", std::to_string(choice_.width) + "x" + std::to_string(choice_.height));
  if (choice_.gizmo) {
    words.emplace_back("--gizmo");
  } else {
    add("--samples", std::to_string(choice_.samples));
    if (choice_.eye != ViewEye::centre) add("--eye", std::string(name_of(choice_.eye)));
  }
  add("-o", "picture.png");
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + as_shell_word(word);
  return line;
}

int Viewing::pictures_at_once() const { return (choice_.eye == ViewEye::red_cyan ? 2 : 1) * (choice_.compare ? 2 : 1); }

int Viewing::coarse(int side, const Step& step) { return (side + step.coarseness - 1) / step.coarseness; }

void Viewing::plan_steps() {
  steps_.clear();
  is_first_step_ = true;
  if (choice_.gizmo) {
    steps_ = {{}};
    return;
  }
  steps_.push_back({1, choice_.samples});
  const double pixels = static_cast<double>(choice_.width) * choice_.height * pictures_at_once();
  for (int coarseness = 1; coarseness <= coarsest; coarseness *= 2) {
    if (choice_.samples > 1 || coarseness > 1) steps_.push_back({coarseness, 1});
    if (pixels / (coarseness * coarseness) * seconds_per_ray_ < seconds_for_first_picture) break;
  }
}

void Viewing::render_step() {
  const Step step = steps_.back();
  if (choice_.gizmo) {
    render_gizmo();
    steps_.clear();
    return;
  }
  const auto start = std::chrono::steady_clock::now();
  auto pixels = render(*session_, setup_, step, !is_first_step_);
  if (!pixels) return;
  ViewPicture picture;
  picture.coarseness = step.coarseness;
  picture.refined = steps_.size() == 1;
  const int width = coarse(choice_.width, step);
  const int height = coarse(choice_.height, step);
  const auto form_of = [&](const standin::FrameSetup& setup) {
    return picture.refined ? finished_form(setup) : PictureForm{.width = width, .height = height};
  };
  if (choice_.compare) {
    PlainPerspective plain(*scene_, camera(), setup_);
    const auto plain_pixels = render(plain, plain.setup(), step, !is_first_step_);
    if (!plain_pixels) return;
    picture.plain_png = png_bytes(*plain_pixels, form_of(plain.setup()));
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const double rays = static_cast<double>(width) * height * step.samples * pictures_at_once();
  // Tiny pictures cost more for each ray than those that the estimate is for.
  if (rays > 4096) seconds_per_ray_ = seconds / rays;
  steps_.pop_back();
  is_first_step_ = false;
  picture.form = form_of(setup_);
  if (picture.refined && measures_.panorama)
    picture.form.metadata.xmp = panorama_packet(panorama_properties({*measures_.panorama, choice_.width, choice_.height}));
  picture.png = png_bytes(*pixels, picture.form);
  if (picture.refined) picture.pixels = std::move(*pixels);
  publish_picture(std::move(picture));
}

PictureForm Viewing::finished_form(const standin::FrameSetup& setup) const {
  const standin::Eye eye = choice_.eye == ViewEye::red_cyan ? standin::Eye::centre : first_eye(choice_.eye);
  return {.width = choice_.width,
          .height = choice_.height,
          .metadata = frame_metadata(*scene_, source_.session.scene_file.string(), camera(), setup, choice_.width,
                                     choice_.height, eye)};
}

std::optional<std::vector<Pixel>> Viewing::render(standin::Session& session, const standin::FrameSetup& setup, const Step& step,
                                                  bool can_be_cancelled) {
  const int width = coarse(choice_.width, step);
  const int height = coarse(choice_.height, step);
  std::vector<Pixel> pixels;
  pixels.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  const bool red_cyan = choice_.eye == ViewEye::red_cyan;
  const FrameJob job{.session = session,
                     .scene = *render_scene_,
                     .setup = setup,
                     .width = width,
                     .height = height,
                     .part = {0, 0, width, height},
                     .samples_per_pixel = step.samples,
                     .eye = first_eye(choice_.eye),
                     .second_eye = red_cyan ? std::optional(standin::Eye::right) : std::nullopt,
                     .red_cyan = red_cyan};
  const FrameOutput output{[&](std::span<const Pixel> rows, std::span<const float> /*more*/) {
                             pixels.insert(pixels.end(), rows.begin(), rows.end());
                           },
                           [](std::uint64_t /*rays*/) {}, [&] { return can_be_cancelled && cancelled_; }};
  if (!render_frame(job, output)) return std::nullopt;
  return pixels;
}

void Viewing::render_gizmo() {
  if (layers_.empty()) {
    // What there is to tell of them has been told when the scene was read.
    std::ostringstream told_before;
    layers_ = placed_layers(*scene_, told_before);
  }
  std::vector<standin::GizmoElement> elements;
  ViewLine line;
  {
    const std::lock_guard stage(stage_);
    // Where to look from follows from what the gizmo draws.
    line = view_of_gizmo(scene_->world_pose(camera(), setup_.start_seconds), session_->draw_gizmo({}, {0.0, 0.0, 1.0}));
    elements = session_->draw_gizmo(line.from, normalized(line.at - line.from));
  }
  std::vector<std::byte> png;
  write_gizmo_picture({*scene_, layers_, camera(), elements, line, setup_.start_seconds, choice_.width, choice_.height},
                      [&](std::span<const std::byte> bytes) { png.insert(png.end(), bytes.begin(), bytes.end()); });
  ViewPicture picture;
  picture.png = std::move(png);
  picture.refined = true;
  publish_picture(std::move(picture));
}

void Viewing::publish_picture(ViewPicture picture) {
  const std::lock_guard lock(mutex_);
  picture.number = ++news_.picture;
  picture.change = applied_;
  picture_ = std::make_shared<const ViewPicture>(std::move(picture));
  changed_.notify_all();
}

std::optional<std::string> Viewing::save_scene(const SceneCopy& copy) {
  const std::filesystem::path file = scene_copy_file(source_.session.scene_file, copy.name);
  bool is_taken = false;
  std::packaged_task<void()> errand([&] {
    is_taken = !copy.replace && std::filesystem::exists(file);
    if (!is_taken) write_scene_copy(copy, file);
  });
  auto done = errand.get_future();
  {
    const std::lock_guard lock(mutex_);
    errands_.push_back(std::move(errand));
    cancelled_ = true;
    changed_.notify_all();
  }
  done.get();
  return is_taken ? std::nullopt : std::optional(file.string());
}

void Viewing::write_scene_copy(const SceneCopy& copy, const std::filesystem::path& file) {
  if (session_ == nullptr) throw std::runtime_error("The camera is not open; change something on its panel and save again");
  const std::filesystem::path& scene_file = source_.session.scene_file;
  if (std::filesystem::last_write_time(scene_file) != scene_time_)
    throw std::runtime_error("The scene file has been changed meanwhile; choose the camera again to read it, and save again");
  standin::CameraEdit edit;
  const auto& handler = camera().camera->handler;
  const std::string server = server_name();
  if (!server.empty() || (handler && handler->server_name != standin::own_camera_name)) {
    edit.handler = {.server_class = "CameraHandler",
                    .slot = handler ? handler->slot : 1,
                    .server_name = server.empty() ? standin::own_camera_name : server,
                    .saved_lines = session_->saved_lines()};
  }
  if (copy.frame_size) edit.frame_size = {choice_.width, choice_.height};
  if (copy.turn) edit.turn = turn();
  const std::string text = standin::read_file_bytes(scene_file);
  write_text_file(file, standin::edited_scene(text, scene_file.string(), camera().id, edit));
}

std::string Viewing::look_at(double x, double y) const {
  const std::shared_lock stage(stage_, patience_with_stage);
  if (!stage.owns_lock() || session_ == nullptr)
    throw std::runtime_error("The camera is not ready; point at the picture again");
  if (!(x >= 0.0 && y >= 0.0 && x <= choice_.width && y <= choice_.height))
    throw std::runtime_error("This place is not in the frame");
  const std::array query{standin::RayQuery{
      .film_x = setup_.film_x(x / choice_.width), .film_y = setup_.film_y(y / choice_.height), .eye = first_eye(choice_.eye)}};
  std::array<standin::RayAnswer, 1> answer;
  session_->evaluate(query, answer);
  json seen{{"film", {query[0].film_x, query[0].film_y}}};
  const auto ray = answer[0].result != 0 ? view_ray(*render_scene_, answer[0], 0.0) : std::nullopt;
  if (ray) {
    seen["position"] = point(ray->position);
    seen["direction"] = point(ray->direction);
    RTCRayHit met;
    RenderScene::set_ray(met, ray->position, ray->direction, 0.0);
    render_scene_->trace(std::span(&met, 1));
    if (Hit hit; render_scene_->find_hit(met, ray->position, ray->direction, hit)) {
      seen["hit"] = point(hit.position);
      seen["distance"] = length(hit.position - ray->position);
      if (const auto film = session_->project(hit.position, 0.0, query[0].eye)) {
        seen["projected"] = {film->first, film->second};
        if (setup_.film_width > 0.0 && setup_.film_height > 0.0)
          seen["projected_pixel"] = {(film->first / setup_.film_width + 0.5) * choice_.width,
                                     (0.5 - film->second / setup_.film_height) * choice_.height};
      }
    }
  }
  return seen.dump();
}

}  // namespace tool
