#include "standin/host/hosted_camera.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "standin/host/plain_camera.h"
#include "standin/scene/name_list.h"

namespace standin {
namespace {

void write_vector(LWDVector out, Vec3 value) {
  out[0] = value.x;
  out[1] = value.y;
  out[2] = value.z;
}

/// What every byte of a ray is when the host hands it over: what the module writes shows.
constexpr std::uint64_t untouched_byte = 0xA5;
constexpr std::uint64_t untouched_word = 0x0101010101010101 * untouched_byte;

void wipe(LWCameraRay& ray, std::size_t size_bytes = sizeof(LWCameraRay)) {
  std::memset(static_cast<void*>(&ray), static_cast<int>(untouched_byte), size_bytes);
}

/// Whether nothing was written from that byte on. Word by word and without a loop, for every ray comes here, and the C
/// library's comparison takes as long as the ray under Wine.
template <std::size_t offset>
bool untouched_behind(const LWCameraRay& ray) {
  constexpr std::size_t words = (sizeof ray - offset) / sizeof(std::uint64_t);
  static_assert(words * sizeof(std::uint64_t) == sizeof ray - offset);
  const auto word = [bytes = reinterpret_cast<const std::byte*>(&ray) + offset](std::size_t index) {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes + index * sizeof value, sizeof value);
    return value;
  };
  return [&]<std::size_t... index>(std::index_sequence<index...>) {
    return ((word(index) ^ untouched_word) | ...) == 0;
  }(std::make_index_sequence<words>());
}

/// What a ray consists of whose flags promise no more.
constexpr std::size_t three_vectors = offsetof(LWCameraRay, filter);

const Item& named_camera(Host& host, const std::string& name) {
  host.camera(name);
  return *host.scene().find_camera(name);
}

thread_local const HostedCamera* running_camera = nullptr;

class RunningScope {
 public:
  explicit RunningScope(const HostedCamera& camera) : outer_(std::exchange(running_camera, &camera)) {}
  ~RunningScope() { running_camera = outer_; }
  RunningScope(const RunningScope&) = delete;
  RunningScope& operator=(const RunningScope&) = delete;

 private:
  const HostedCamera* outer_;
};

/// The newest slot of the gizmo's table is reserved for the host; a module must not write to it.
int host_end(LWInstance /*instance*/, LWToolEvent* /*event*/, int /*index*/) { return 0; }

}  // namespace

LWCameraAccess camera_access(const Scene& scene, const Item& camera, double seconds) {
  const ItemPose pose = with_unit_axes(scene.world_pose(camera, seconds));
  LWCameraAccess access{};
  access.cameraID = Host::id_of(camera);
  write_vector(access.worldPos, pose.position);
  write_vector(access.toWorld[0], pose.right);
  write_vector(access.toWorld[1], pose.up);
  write_vector(access.toWorld[2], pose.forward);
  // The axes are perpendicular and of length 1: the inverse is the transpose.
  for (int row = 0; row < 3; ++row)
    for (int column = 0; column < 3; ++column) access.toCamera[row][column] = access.toWorld[column][row];
  const auto [width, height] = film_size(*camera.camera);
  access.filmSize[0] = width;
  access.filmSize[1] = height;
  return access;
}

double blur_seconds(const Scene& scene, const Item& camera, double start_seconds) {
  return camera.camera->blur_length.at(start_seconds) / scene.frames_per_second;
}

HostedCamera::HostedCamera(Host& host, const Module& module, const std::string& server_name, const std::string& camera_name)
    : HostedCamera(host, module, server_name, named_camera(host, camera_name)) {}

HostedCamera::HostedCamera(Host& host, const Module& module, const std::string& server_name, const Item& camera)
    : host_(&host), module_(&module), server_name_(server_name), item_(Host::id_of(camera)) {
  host.set_module(&module);
  const Server& server = module.server(LWCAMERA_HANDLER_CLASS, server_name);
  handler_->inst = &*instance_functions_;
  handler_->item = &*item_functions_;
  handler_->rend = &*render_functions_;
  require_activated(module.activate(server, LWCAMERA_HANDLER_VERSION, &*handler_), server);
  expect_intact(handler_.intact() && instance_functions_.intact() && item_functions_.intact() && render_functions_.intact(),
                "CameraHandler activation", "the handler record");
  first_parameter_ = host.parameters.created + 1;
  LWError error = nullptr;
  instance_ = instance_functions_->create(instance_functions_->priv, item_, &error);
  last_parameter_ = host.parameters.created + 1;
  if (instance_ == nullptr || error != nullptr) {
    if (instance_ != nullptr) instance_functions_->destroy(instance_);
    throw std::runtime_error(server_name + " cannot be created for " + camera.name + ": " +
                             (error != nullptr ? error : "the module gives no instance"));
  }
  ++host.living_instances;
}

HostedCamera::~HostedCamera() {
  if (panel_ != nullptr) host_->panels.destroy(panel_);
  if (has_gizmo_ && gizmo_functions_->done != nullptr) gizmo_functions_->done(instance_);
  expect_intact(access_.intact() && frame_info_.intact(), "rendering", "the camera access or frame record");
  expect_intact(interface_.intact() && gizmo_.intact() && gizmo_functions_.intact(), "panel or gizmo", "the local record");
  instance_functions_->destroy(instance_);
  --host_->living_instances;
}

void HostedCamera::check(LWError error, const char* call) const {
  if (error != nullptr) throw std::runtime_error(server_name_ + " answers " + call + " with: " + error);
}

void HostedCamera::expect_intact(bool intact, const char* call, const char* record) const {
  if (!intact) host_->audit.report(server_name_ + " " + call + ": the module wrote past " + record);
}

const Item& HostedCamera::camera_item() const {
  if (const Item* item = host_->find(item_)) return *item;
  throw std::runtime_error("The camera of this " + server_name_ + " is no longer in the scene");
}

VariantParameter& HostedCamera::parameter(const std::string& channel_name) {
  const std::vector<VariantParameter*> all = parameters();
  for (VariantParameter* parameter : all)
    if (parameter->channel_name == channel_name) return *parameter;
  std::vector<std::string> names;
  names.reserve(all.size());
  for (const VariantParameter* parameter : all) names.push_back(parameter->channel_name);
  throw std::runtime_error(server_name_ + " has no parameter called \"" + channel_name + "\"; it has: " + joined(names));
}

std::vector<VariantParameter*> HostedCamera::parameters() const {
  return host_->parameters.of(nullptr, first_parameter_, last_parameter_);
}

std::vector<std::string> HostedCamera::save_text() const {
  SaveState state(LWIO_TEXT);
  check(instance_functions_->save(instance_, state.record()), "save");
  host_->saved_states.add(server_name_, state.lines());
  return state.lines();
}

std::vector<SavedLine> HostedCamera::save_items() const {
  SaveState state(LWIO_TEXT);
  check(instance_functions_->save(instance_, state.record()), "save");
  return state.items();
}

std::vector<std::uint8_t> HostedCamera::save_binary() const {
  SaveState state(LWIO_BINARY);
  check(instance_functions_->save(instance_, state.record()), "save");
  host_->saved_states.add(server_name_, state.bytes());
  return state.bytes();
}

const char* HostedCamera::load(LoadState& state) {
  check(instance_functions_->load(instance_, state.record()), "load");
  if (state.short_reads() > 0) return "more was read than there is";
  if (!state.at_end()) return "not all was read";
  return nullptr;
}

void HostedCamera::audit_load(const char* trouble, bool own_state) const {
  if (trouble != nullptr && own_state)
    host_->audit.report(server_name_ + " load: of a state that a camera of this kind saved, " + trouble);
}

void HostedCamera::load_text(const std::vector<std::string>& lines) {
  LoadState state(lines);
  audit_load(load(state), host_->saved_states.has(server_name_, lines));
}

void HostedCamera::load_binary(const std::vector<std::uint8_t>& bytes) {
  LoadState state(bytes);
  audit_load(load(state), host_->saved_states.has(server_name_, bytes));
}

void HostedCamera::load_saved() {
  const auto& handler = camera_item().camera->handler;
  if (!handler || handler->server_name != server_name_ || handler->saved_lines.empty()) return;
  LoadState state(handler->saved_lines);
  if (const char* trouble = load(state)) {
    host_->record_message(
        {"warning",
         {"the settings that the scene keeps for " + camera_item().name + " may be damaged or of another version",
          std::string(trouble)}});
  }
}

void HostedCamera::copy_from(const HostedCamera& other) {
  check(instance_functions_->copy(instance_, other.instance_), "copy");
}

std::string HostedCamera::describe() const {
  const char* text = instance_functions_->descln != nullptr ? instance_functions_->descln(instance_) : nullptr;
  return text != nullptr ? text : "";
}

unsigned HostedCamera::flags() const { return handler_->flags != nullptr ? handler_->flags(instance_) : 0; }

const HostedCamera* HostedCamera::running() noexcept { return running_camera; }

void HostedCamera::init_render(LWRenderMode mode) {
  rendering_ = true;
  has_frame_ = false;
  if (render_functions_->init != nullptr) check(render_functions_->init(instance_, mode), "init");
}

void HostedCamera::clean_up() {
  rendering_ = false;
  if (render_functions_->cleanup != nullptr) render_functions_->cleanup(instance_);
}

void HostedCamera::new_time(int frame, double seconds) {
  host_->set_time(frame, seconds);
  tell_time(frame, seconds);
}

void HostedCamera::tell_time(int frame, double seconds) {
  has_frame_ = false;
  if (render_functions_->newTime != nullptr) check(render_functions_->newTime(instance_, frame, seconds), "new time");
}

void HostedCamera::new_frame(int frame, double start_seconds, double duration_seconds, unsigned motion_steps) {
  host_->frame_options.motion_blur = duration_seconds > 0.0;
  host_->frame_options.motion_steps = motion_steps;
  tell_frame(frame, start_seconds, duration_seconds, motion_steps);
}

void HostedCamera::tell_frame(int frame, double start_seconds, double duration_seconds, unsigned motion_steps) {
  *access_ = camera_access(host_->scene(), camera_item(), start_seconds);
  // The record's field is called frames per second, but holds seconds per frame.
  *frame_info_ = {frame, start_seconds, duration_seconds, 1.0 / host_->scene().frames_per_second, motion_steps};
  if (handler_->newFrame != nullptr) check(handler_->newFrame(instance_, &*frame_info_, &*access_), "new frame");
  expect_intact(access_.intact() && frame_info_.intact(), "new frame", "the camera access or frame record");
  has_frame_ = true;
}

void HostedCamera::begin_frame(int frame, const FrameOptions& options) {
  host_->frame_options = options;
  const double seconds = host_->scene().time_of(frame);
  new_time(frame, seconds);
  const double duration = options.motion_blur ? blur_seconds(host_->scene(), camera_item(), seconds) : 0.0;
  tell_frame(frame, seconds, duration, options.motion_steps);
}

RayAnswer HostedCamera::evaluate(const RayQuery& query) const {
  RayAnswer answer;
  evaluate({&query, 1}, {&answer, 1});
  return answer;
}

void HostedCamera::evaluate(std::span<const RayQuery> queries, std::span<RayAnswer> answers) const {
  if (handler_->evaluate == nullptr) {
    std::ranges::fill(answers, RayAnswer{});
    return;
  }
  const RunningScope scope(*this);
  Guarded<LWCameraRay> ray;
  wipe(*ray);
  for (std::size_t i = 0; i < queries.size(); ++i) {
    const RayQuery& query = queries[i];
    RayAnswer& answer = answers[i];
    answer.result = handler_->evaluate(instance_, query.film_x, query.film_y, query.lens_x, query.lens_y, query.fractional_time,
                                       static_cast<LWCameraEye>(query.eye), &*ray, &*access_);
    const bool writes_deltas = (answer.result & LWCAMEVAL_RAY_DELTAS) != 0;
    const bool writes_more = !untouched_behind<three_vectors>(*ray);
    if (answer.result != LWCAMEVAL_NONE) {
      answer.position = {ray->rayPos[0], ray->rayPos[1], ray->rayPos[2]};
      answer.direction = {ray->rayDir[0], ray->rayDir[1], ray->rayDir[2]};
      answer.film_normal = {ray->filmNorm[0], ray->filmNorm[1], ray->filmNorm[2]};
    } else {
      answer = {};
      expect_intact(untouched_behind<0>(*ray), "evaluate", "what it may write without giving a ray");
    }
    if (writes_more || !ray.intact()) {
      expect_intact(ray.intact(), "evaluate", "the ray record");
      expect_intact(writes_deltas || !writes_more, "evaluate", "the ray's first three vectors");
      ray = {};
      wipe(*ray);
    } else {
      wipe(*ray, three_vectors);
    }
  }
}

std::optional<std::pair<double, double>> HostedCamera::project(Vec3 world, double fractional_time, Eye eye, double lens_x,
                                                               double lens_y) const {
  if (handler_->project == nullptr) return {};
  const RunningScope scope(*this);
  struct Film {
    LWDVector position{};
  };
  Guarded<Film> film;
  const LWDVector point{world.x, world.y, world.z};
  const int found = handler_->project(instance_, lens_x, lens_y, point, fractional_time, static_cast<LWCameraEye>(eye),
                                      film->position, &*access_);
  expect_intact(film.intact(), "project", "the film position");
  if (found == 0) return {};
  return std::pair{film->position[0], film->position[1]};
}

void HostedCamera::project(std::span<const PointQuery> queries, std::span<PointAnswer> answers) const {
  for (std::size_t i = 0; i < queries.size(); ++i) {
    const auto film = project(queries[i].world, queries[i].fractional_time, queries[i].eye);
    answers[i] = film ? PointAnswer{film->first, film->second, 1} : PointAnswer{};
  }
}

int HostedCamera::preview(LWDMatrix4 projection, Eye eye, double lens_x, double lens_y) const {
  if (handler_->preview == nullptr) return 0;
  const RunningScope scope(*this);
  return handler_->preview(instance_, lens_x, lens_y, static_cast<LWCameraEye>(eye), projection, &*access_);
}

Panel& HostedCamera::panel() {
  if (panel_ == nullptr) {
    const Server& server = module_->server(LWCAMERA_INTERFACE_CLASS, server_name_);
    interface_->inst = instance_;
    require_activated(module_->activate(server, LWCAMERA_INTERFACE_VERSION, &*interface_), server);
    expect_intact(interface_.intact(), "CameraInterface activation", "the local record");
    panel_ = interface_->panel;
  }
  if (Panel* panel = host_->panels.table.find(panel_)) return *panel;
  throw std::runtime_error(server_name_ + " has no panel");
}

LWGizmo& HostedCamera::gizmo() {
  if (!has_gizmo_) {
    const Server& server = module_->server(LWCAMERA_GIZMO_CLASS, server_name_);
    gizmo_->instance = instance_;
    gizmo_->gizmo = &*gizmo_functions_;
    gizmo_functions_->end = host_end;
    require_activated(module_->activate(server, LWCAMERA_GIZMO_VERSION, &*gizmo_), server);
    expect_intact(gizmo_.intact() && gizmo_functions_.intact(), "CameraGizmo activation", "the local record");
    if (gizmo_functions_->end != host_end)
      host_->audit.report(server_name_ + " CameraGizmo activation: the module wrote to the slot that is reserved for the host");
    has_gizmo_ = true;
  }
  return *gizmo_;
}

LWGizmoFuncs& HostedCamera::gizmo_functions() {
  gizmo();
  return *gizmo_functions_;
}

void HostedCamera::draw_gizmo(GizmoDrawing& drawing) {
  if (gizmo_functions().draw != nullptr) gizmo_functions_->draw(instance_, &*drawing.access);
  expect_intact(drawing.access.intact(), "gizmo draw", "the drawing record");
}

}  // namespace standin
