#include "standin/validate/stage.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>

#include "standin/host/gizmo_drawing.h"
#include "standin/host/hosted_camera.h"

namespace standin::validate {
namespace {

Stage* current = nullptr;

/// The host's own table of a service.
template <class Table>
const Table& table_of(const char* service) {
  return *static_cast<const Table*>(Host::global()(service, GFUSE_TRANSIENT));
}

// --- Answers that no host should give, and that a module has to survive.

std::uint64_t next_random(std::uint64_t& state) {
  state += 0x9E3779B97F4A7C15U;
  std::uint64_t word = state;
  word = (word ^ (word >> 30)) * 0xBF58476D1CE4E5B9U;
  word = (word ^ (word >> 27)) * 0x94D049BB133111EBU;
  return word ^ (word >> 31);
}

bool is_to_be_spoilt() {
  HostAnswers& answers = current->answers;
  return answers.spoilt_share > 0.0 && static_cast<double>(next_random(answers.seed) >> 11) * 0x1p-53 < answers.spoilt_share;
}

double spoilt_or(double value) {
  constexpr std::array odd_numbers{0.0,
                                   -0.0,
                                   -1.0,
                                   1e300,
                                   -1e300,
                                   5e-324,
                                   std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity(),
                                   std::numeric_limits<double>::quiet_NaN()};
  return is_to_be_spoilt() ? odd_numbers[next_random(current->answers.seed) % odd_numbers.size()] : value;
}

template <class Pointer>
Pointer null_or(Pointer pointer) {
  return is_to_be_spoilt() ? nullptr : pointer;
}

LWItemInfo item_table() {
  LWItemInfo table = table_of<LWItemInfo>(LWITEMINFO_GLOBAL);
  table.first = [](LWItemType type, LWItemID parent) {
    return null_or(table_of<LWItemInfo>(LWITEMINFO_GLOBAL).first(type, parent));
  };
  table.next = [](LWItemID item) { return null_or(table_of<LWItemInfo>(LWITEMINFO_GLOBAL).next(item)); };
  table.name = [](LWItemID item) -> const char* {
    // A host may have one buffer for all names: the next one overwrites what a module kept the address of.
    static std::array<char, 256> buffer;
    const char* name = table_of<LWItemInfo>(LWITEMINFO_GLOBAL).name(item);
    buffer.fill('?');
    buffer.back() = '\0';
    if (name == nullptr || is_to_be_spoilt()) return nullptr;
    static_cast<void>(std::snprintf(buffer.data(), buffer.size(), "%s", name));
    return buffer.data();
  };
  table.param = [](LWItemID item, int code, LWTime time, double* out) {
    table_of<LWItemInfo>(LWITEMINFO_GLOBAL).param(item, code, time, out);
    for (int i = 0; i < 3; ++i) out[i] = spoilt_or(out[i]);
  };
  table.chanGroup = [](LWItemID item) { return null_or(table_of<LWItemInfo>(LWITEMINFO_GLOBAL).chanGroup(item)); };
  return table;
}

template <double (*LWCameraInfo::*function)(LWItemID, LWTime)>
double camera_number(LWItemID camera, LWTime time) {
  return spoilt_or((table_of<LWCameraInfo>(LWCAMERAINFO_GLOBAL).*function)(camera, time));
}

LWCameraInfo camera_table() {
  LWCameraInfo table = table_of<LWCameraInfo>(LWCAMERAINFO_GLOBAL);
  table.zoomFactor = camera_number<&LWCameraInfo::zoomFactor>;
  table.focalLength = camera_number<&LWCameraInfo::focalLength>;
  table.focalDistance = camera_number<&LWCameraInfo::focalDistance>;
  table.fStop = camera_number<&LWCameraInfo::fStop>;
  table.blurLength = camera_number<&LWCameraInfo::blurLength>;
  table.pixelAspect = camera_number<&LWCameraInfo::pixelAspect>;
  table.separation = camera_number<&LWCameraInfo::separation>;
  table.fovAngles = [](LWItemID camera, LWTime time, double* horizontal, double* vertical) {
    table_of<LWCameraInfo>(LWCAMERAINFO_GLOBAL).fovAngles(camera, time, horizontal, vertical);
    *horizontal = spoilt_or(*horizontal);
    *vertical = spoilt_or(*vertical);
  };
  table.resolution = [](LWItemID camera, int* width, int* height) {
    table_of<LWCameraInfo>(LWCAMERAINFO_GLOBAL).resolution(camera, width, height);
    constexpr std::array odd_sizes{0, -1, 1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
    for (int* size : {width, height})
      if (is_to_be_spoilt()) *size = odd_sizes[next_random(current->answers.seed) % odd_sizes.size()];
  };
  table.filmSize = [](LWItemID camera, double* width, double* height) {
    table_of<LWCameraInfo>(LWCAMERAINFO_GLOBAL).filmSize(camera, width, height);
    *width = spoilt_or(*width);
    *height = spoilt_or(*height);
  };
  return table;
}

LWVParmFuncs parameter_table() {
  LWVParmFuncs table = table_of<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL);
  table.create = [](int type, int texture) -> LWVParmID {
    return is_to_be_spoilt() ? nullptr : table_of<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL).create(type, texture);
  };
  table.getVal = [](LWVParmID parameter, LWTime time, void* micropolygon, double* result) {
    if (result == nullptr) ++current->values_without_result;
    const double value = spoilt_or(table_of<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL).getVal(parameter, time, micropolygon, result));
    if (result != nullptr) std::fill_n(result, 3, value);
    return value;
  };
  return table;
}

LWXPanelFuncs panel_table() {
  LWXPanelFuncs table = table_of<LWXPanelFuncs>(LWXPANELFUNCS_GLOBAL);
  table.create = [](int type, LWXPanelControl* controls) -> LWXPanelID {
    return is_to_be_spoilt() ? nullptr : table_of<LWXPanelFuncs>(LWXPANELFUNCS_GLOBAL).create(type, controls);
  };
  return table;
}

/// The table that stands before the host's own; null where none does.
void* table_before(const std::string& service) {
  // Modules keep their addresses: they are made once.
  static LWItemInfo items = item_table();
  static LWCameraInfo cameras = camera_table();
  static LWVParmFuncs parameters = parameter_table();
  static LWXPanelFuncs panels = panel_table();
  if (service == LWITEMINFO_GLOBAL) return &items;
  if (service == LWCAMERAINFO_GLOBAL) return &cameras;
  if (service == LWVPARMFUNCS_GLOBAL) return &parameters;
  if (service == LWXPANELFUNCS_GLOBAL) return &panels;
  return nullptr;
}

void* answer_service(const char* name, int use) {
  if (name == nullptr) return Host::global()(name, use);
  if (use == GFUSE_ACQUIRE) ++current->held_services[name];
  if (use == GFUSE_RELEASE) --current->held_services[name];
  void* own = Host::global()(name, use);
  if (own == nullptr) {
    const bool withheld = !current->host.offers(name);
    if (!withheld) current->unknown_services.emplace_back(name);
    return nullptr;
  }
  void* before = table_before(name);
  return before != nullptr ? before : own;
}

Envelope keys(std::initializer_list<std::pair<double, double>> times_and_values) {
  Envelope envelope;
  for (const auto& [time, value] : times_and_values) envelope.keys.push_back({value, time, Span::linear, {}});
  return envelope;
}

Item& add(Scene& scene, ItemKind kind, std::uint32_t id, const std::string& name, Vec3 position) {
  Item item;
  item.kind = kind;
  item.id = id;
  item.name = name;
  item.motion[0] = Envelope::constant(position.x);
  item.motion[1] = Envelope::constant(position.y);
  item.motion[2] = Envelope::constant(position.z);
  scene.items.push_back(item);
  return scene.items.back();
}

void expect_intact(Stage& stage, bool intact, const char* call) {
  stage.context.expect(intact, std::string(call) + ": the module wrote past a record of the host");
}

}  // namespace

bool is_untouched(const void* bytes, std::size_t size) {
  const auto* first = static_cast<const unsigned char*>(bytes);
  return std::all_of(first, first + size, [](unsigned char byte) { return byte == untouched_byte; });
}

Scene validation_scene() {
  Scene scene;
  add(scene, ItemKind::object, 10000000, "Cube", {0.5, 0.2, 4.0});
  add(scene, ItemKind::object, 10000001, "Ball", {-1.0, 0.4, 6.0});
  CameraSettings settings;
  settings.width_pixels = 320;
  settings.height_pixels = 240;
  for (int number = 0; number < 5; ++number) {
    const std::string name = number == 0 ? "Camera" : "Other " + std::to_string(number);
    Item& item = add(scene, ItemKind::camera, 30000000U + static_cast<std::uint32_t>(number), name,
                     {0.3 * number, 1.0 + 0.1 * number, -2.0});
    settings.zoom_factor = keys({{0.0, 2.5 + 0.1 * number}, {1.0, 3.0}});
    item.camera = settings;
    item.motion[0] = keys({{0.0, 0.1 * number}, {1.0, 1.0 + number}});
    item.motion[3] = keys({{0.0, 0.2}, {1.0, 0.5 + 0.1 * number}});
    item.motion[4] = Envelope::constant(0.1);
    item.motion[5] = Envelope::constant(0.05 * number);
  }
  return scene;
}

Stage::Stage(Context& context, Scene scene) : context(context), host(std::move(scene)) {
  if (current != nullptr) throw std::runtime_error("there is a stage already");
  current = this;
  // Made from the host's own tables, before any of them is withheld.
  table_before({});
  try {
    const Call call("loading and start-up");
    module_.emplace(context.module_file);
  } catch (...) {
    current = nullptr;
    throw;
  }
  host.set_module(&*module_);
}

Stage::~Stage() {
  for (const std::string& leak : host.leaks())
    if (!forgiving_) context.fail("At the end: " + leak);
  unload();
  if (!forgiving_) {
    for (const std::string& violation : host.violations()) context.fail(violation);
    for (const std::string& service : unknown_services)
      context.fail("The module asks for the service \"" + service + "\", which no host has");
  }
  current = nullptr;
}

void Stage::unload() {
  const Call call("shut-down and unloading");
  module_.reset();
}

GlobalFunc* Stage::global() noexcept { return &answer_service; }

HandlerRecords::HandlerRecords() {
  make_untouched(*instance);
  make_untouched(*item);
  make_untouched(*render);
  make_untouched(*handler);
  handler->inst = &*instance;
  handler->item = &*item;
  handler->rend = &*render;
}

bool Ray::finite() const {
  return std::ranges::all_of(words, [](double word) { return std::isfinite(word); });
}

double Ray::direction_length() const { return std::hypot(words[3], words[4], words[5]); }

Instance::Instance(Stage& stage, const std::string& item) : Instance(stage, item, stage.context.server) {}

Instance::Instance(Stage& stage, const std::string& item, const std::string& server) : stage_(stage), server_(server) {
  item_ = stage.host.id_of(item);
  const Server& offered = stage.module().server(LWCAMERA_HANDLER_CLASS, server);
  {
    const Call call("CameraHandler activation");
    require_activated(
        offered.activate(LWCAMERA_HANDLER_VERSION, Stage::global(), &*records_.handler, stage.module().server_data()), offered);
  }
  expect_intact(stage_, records_.intact(), "CameraHandler activation");
  if (is_untouched(functions().create) || functions().create == nullptr)
    throw std::runtime_error("the activation gives no function that creates an instance");
  first_parameter_ = stage.host.parameters.created + 1;
  LWError error = nullptr;
  {
    const Call call("create");
    instance_ = functions().create(functions().priv, item_, &error);
  }
  last_parameter_ = stage.host.parameters.created + 1;
  if (instance_ == nullptr) throw std::runtime_error("create gives no instance");
  ++stage.host.living_instances;
  make_untouched(*gizmo_functions_);
}

Instance::~Instance() { destroy(); }

void Instance::destroy() {
  if (instance_ == nullptr) return;
  for (LWXPanelID panel : panels_) {
    const Call call("a panel's closing");
    stage_.host.panels.destroy(panel);
  }
  panels_.clear();
  if (has_gizmo_ && gizmo_functions_->done != nullptr) {
    const Call call("gizmo done");
    gizmo_functions_->done(instance_);
  }
  expect_intact(stage_, records_.intact() && access_.intact() && gizmo_functions_.intact(), "A callback");
  const Call call("destroy");
  functions().destroy(instance_);
  instance_ = nullptr;
  --stage_.host.living_instances;
}

std::vector<VariantParameter*> Instance::parameters() const {
  return stage_.host.parameters.of(nullptr, first_parameter_, last_parameter_);
}

void Instance::randomise() {
  Context& context = stage_.context;
  for (VariantParameter* parameter : parameters()) {
    const double value = parameter->at(0.0);
    parameter->set_constant(value * context.uniform(0.6, 1.4) + context.uniform(0.0, 0.02));
  }
  Panel* shown = panel();
  if (shown == nullptr) return;
  for (const PanelData& row : shown->data) {
    const Call call("a panel's value", {static_cast<double>(row.id)});
    if (row.type == "integer") {
      const auto choices = static_cast<int>(shown->choices(row.id).size());
      // The first entry is often "none".
      const int last = choices > 0 ? choices - 1 : 1;
      shown->set_integer(row.id, last > 0 && context.index(4) != 0 ? 1 + context.index(last) : 0);
    } else if (row.type == "float" && shown->get(row.id) != nullptr) {
      shown->set_float(row.id, shown->get_float(row.id) * context.uniform(0.6, 1.4));
    }
  }
}

LWError Instance::copy_from(const Instance& other) {
  const Call call("copy");
  return functions().copy(instance_, other.instance_);
}

std::vector<std::uint8_t> Instance::save_binary() {
  SaveState state(LWIO_BINARY);
  const Call call("save (binary)");
  functions().save(instance_, state.record());
  return state.bytes();
}

std::vector<std::string> Instance::save_text() {
  SaveState state(LWIO_TEXT);
  const Call call("save (text)");
  functions().save(instance_, state.record());
  return state.lines();
}

LWError Instance::load(LoadState& state) {
  const Call call(state.mode() == LWIO_TEXT ? "load (text)" : "load (binary)");
  return functions().load(instance_, state.record());
}

void Instance::init(LWRenderMode mode) {
  if (render_functions().init == nullptr) return;
  const Call call("init render", {static_cast<double>(mode)});
  render_functions().init(instance_, mode);
}

void Instance::clean_up() {
  if (render_functions().cleanup == nullptr) return;
  const Call call("clean-up");
  render_functions().cleanup(instance_);
}

LWError Instance::new_time(int frame, double seconds) {
  if (render_functions().newTime == nullptr) return nullptr;
  const Call call("new time", {static_cast<double>(frame), seconds});
  return render_functions().newTime(instance_, frame, seconds);
}

LWError Instance::new_frame(int frame, double seconds, double duration_seconds, unsigned motion_steps) {
  const Item* camera = stage_.host.find(item_);
  if (camera == nullptr) return nullptr;
  return new_frame({frame, seconds, duration_seconds, 1.0 / stage_.host.scene().frames_per_second, motion_steps},
                   camera_access(stage_.host.scene(), *camera, seconds));
}

LWError Instance::new_frame(const LWFrameInfo& frame, const LWCameraAccess& access) {
  *access_ = access;
  if (handler().newFrame == nullptr) return nullptr;
  Guarded<LWFrameInfo> record(frame);
  const Call call("new frame",
                  {static_cast<double>(frame.frame), frame.start, frame.duration,
                   static_cast<double>(static_cast<int>(frame.motionSteps)), access.filmSize[0], access.filmSize[1]});
  const LWError error = handler().newFrame(instance_, &*record, &*access_);
  expect_intact(stage_, record.intact() && access_.intact(), "new frame");
  return error;
}

void Instance::begin_frame(int frame, double duration_seconds, unsigned motion_steps) {
  const double seconds = stage_.host.scene().time_of(frame);
  stage_.host.set_time(frame, seconds);
  new_time(frame, seconds);
  new_frame(frame, seconds, duration_seconds, motion_steps);
}

void Instance::prepare(int frame, unsigned motion_steps) {
  init();
  stage_.host.frame_options.motion_blur = true;
  stage_.host.frame_options.motion_steps = motion_steps;
  begin_frame(frame, 0.5 / stage_.host.scene().frames_per_second, motion_steps);
}

Ray Instance::evaluate(const RayQuery& query, const LWCameraAccess* access) const {
  Ray ray;
  if (records_.handler->evaluate == nullptr) return ray;
  Guarded<LWCameraRay> record;
  make_untouched(*record);
  {
    const Call call("evaluate", {query.film_x, query.film_y, query.lens_x, query.lens_y, query.fractional_time,
                                 static_cast<double>(query.eye)});
    ray.result = records_.handler->evaluate(instance_, query.film_x, query.film_y, query.lens_x, query.lens_y,
                                            query.fractional_time, static_cast<LWCameraEye>(query.eye), &*record, access);
  }
  const auto* bytes = reinterpret_cast<const std::byte*>(&*record);
  constexpr std::size_t three_vectors = offsetof(LWCameraRay, filter);
  Context& context = stage_.context;
  expect_intact(stage_, record.intact(), "evaluate");
  context.expect((ray.result & ~0xF) == 0, "evaluate: its answer has bits that the host does not know");
  if ((ray.result & LWCAMEVAL_RAY_DELTAS) == 0)
    context.expect(is_untouched(bytes + three_vectors, sizeof(LWCameraRay) - three_vectors),
                   "evaluate: the module wrote beyond the ray's first three vectors");
  if (ray.result == LWCAMEVAL_NONE)
    context.expect(is_untouched(bytes, three_vectors), "evaluate: the module gave no ray, and yet wrote into it");
  else
    std::memcpy(ray.words.data(), bytes, sizeof ray.words);
  return ray;
}

FilmPosition Instance::project(Vec3 world, double lens_x, double lens_y, double fractional_time, Eye eye) const {
  FilmPosition film;
  if (records_.handler->project == nullptr) return film;
  struct Position {
    LWDVector words;
  };
  Guarded<Position> record;
  make_untouched(*record);
  const LWDVector point{world.x, world.y, world.z};
  {
    const Call call("project", {world.x, world.y, world.z, lens_x, lens_y, fractional_time, static_cast<double>(eye)});
    film.result = records_.handler->project(instance_, lens_x, lens_y, point, fractional_time, static_cast<LWCameraEye>(eye),
                                            record->words, &*access_);
  }
  expect_intact(stage_, record.intact(), "project");
  Context& context = stage_.context;
  context.expect(film.result == 0 || film.result == 1, "project: its answer is neither 0 nor 1");
  if (film.result == 0)
    context.expect(is_untouched(record->words, sizeof record->words),
                   "project: the module gave no film position, and yet wrote one");
  else
    std::copy_n(record->words, 3, film.words.begin());
  return film;
}

int Instance::preview(double lens_x, double lens_y, Eye eye) {
  if (handler().preview == nullptr) return 0;
  struct Matrix {
    LWDMatrix4 words;
  };
  Guarded<Matrix> record;
  make_untouched(*record);
  const Call call("preview", {lens_x, lens_y, static_cast<double>(eye)});
  const int answer = handler().preview(instance_, lens_x, lens_y, static_cast<LWCameraEye>(eye), record->words, &*access_);
  expect_intact(stage_, record.intact(), "preview");
  return answer;
}

unsigned Instance::flags() {
  if (handler().flags == nullptr) return 0;
  const Call call("flags");
  return handler().flags(instance_);
}

const char* Instance::describe() {
  if (functions().descln == nullptr) return nullptr;
  const Call call("describe");
  return functions().descln(instance_);
}

LWXPanelID Instance::open_panel() {
  const Server* offered = stage_.module().find(LWCAMERA_INTERFACE_CLASS, server_);
  if (offered == nullptr) return nullptr;
  Guarded<LWInterface> interface;
  make_untouched(*interface);
  interface->inst = instance_;
  {
    const Call call("CameraInterface activation");
    require_activated(
        offered->activate(LWCAMERA_INTERFACE_VERSION, Stage::global(), &*interface, stage_.module().server_data()), *offered);
  }
  expect_intact(stage_, interface.intact(), "CameraInterface activation");
  Context& context = stage_.context;
  context.expect(!is_untouched(interface->panel), "CameraInterface activation: the panel is left out");
  context.expect(!is_untouched(interface->options) && !is_untouched(interface->command),
                 "CameraInterface activation: the options or the command function is left out");
  if (is_untouched(interface->panel) || stage_.host.panels.table.find(interface->panel) == nullptr) return nullptr;
  panels_.push_back(interface->panel);
  return interface->panel;
}

Panel* Instance::panel() {
  if (panels_.empty() && open_panel() == nullptr) return nullptr;
  return stage_.host.panels.table.find(panels_.front());
}

const LWGizmoFuncs* Instance::gizmo() {
  const Server* offered = stage_.module().find(LWCAMERA_GIZMO_CLASS, server_);
  if (offered == nullptr) return nullptr;
  if (has_gizmo_) return &*gizmo_functions_;
  Guarded<LWGizmo> record;
  make_untouched(*record);
  record->instance = instance_;
  record->gizmo = &*gizmo_functions_;
  record->pickItems = nullptr;
  const Call call("CameraGizmo activation");
  require_activated(offered->activate(LWCAMERA_GIZMO_VERSION, Stage::global(), &*record, stage_.module().server_data()),
                    *offered);
  expect_intact(stage_, record.intact() && gizmo_functions_.intact(), "CameraGizmo activation");
  has_gizmo_ = true;
  return &*gizmo_functions_;
}

void Instance::draw_gizmo() {
  const LWGizmoFuncs* functions = gizmo();
  if (functions == nullptr || functions->draw == nullptr) return;
  GizmoDrawing drawing;
  const Call call("gizmo draw");
  functions->draw(instance_, &*drawing.access);
  expect_intact(stage_, drawing.access.intact(), "gizmo draw");
}

RayQuery random_query(Context& context, const LWCameraAccess& access) {
  RayQuery query;
  query.film_x = context.uniform(-0.5, 0.5) * access.filmSize[0];
  query.film_y = context.uniform(-0.5, 0.5) * access.filmSize[1];
  const double radius = std::sqrt(context.uniform(0.0, 1.0));
  const double angle = context.uniform(0.0, 2.0 * std::numbers::pi);
  query.lens_x = radius * std::cos(angle);
  query.lens_y = radius * std::sin(angle);
  query.fractional_time = context.uniform(0.0, 1.0);
  query.eye = static_cast<Eye>(context.index(3));
  return query;
}

}  // namespace standin::validate
