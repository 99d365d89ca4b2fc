#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "standin/validate/checks.h"
#include "standin/validate/stage.h"

namespace standin::validate {
namespace {

/// Every call that a host can make, in any order.
class RandomCalls {
 public:
  /// `spoilt_share`: of the host's answers.
  RandomCalls(Stage& stage, double spoilt_share) : stage_(stage), spoilt_share_(spoilt_share) {}
  ~RandomCalls() { stage_.answers.spoilt_share = 0.0; }
  RandomCalls(const RandomCalls&) = delete;
  RandomCalls& operator=(const RandomCalls&) = delete;

  void make(int count) {
    for (int i = 0; i < count; ++i) {
      stage_.answers.spoilt_share = spoilt_share_;
      make_one();
    }
  }

 private:
  Context& context() { return stage_.context; }

  Instance* any() {
    return cameras_.empty() ? nullptr
                            : cameras_[static_cast<std::size_t>(context().index(static_cast<int>(cameras_.size())))].get();
  }

  void create() {
    constexpr std::size_t most = 6;
    if (cameras_.size() >= most) return;
    const std::array names{"Camera", "Other 1", "Other 2"};
    try {
      cameras_.push_back(std::make_unique<Instance>(stage_, names[static_cast<std::size_t>(context().index(3))]));
    } catch (const std::exception&) {
      // With answers like these it may be refused.
      if (spoilt_share_ == 0.0) throw;
    }
  }

  void make_one() {
    Context& context = this->context();
    if (cameras_.empty() || context.index(25) == 0) create();
    Instance* camera = any();
    if (camera == nullptr) return;
    const int frame = context.index(40) - 5;
    const double seconds = stage_.host.scene().time_of(frame);
    switch (context.index(20)) {
      case 0:
        camera->init(context.index(2) == 0 ? LWRM_PREVIEW : LWRM_RENDER);
        break;
      case 1:
        camera->clean_up();
        break;
      case 2:
      case 3:
        camera->new_time(frame, seconds);
        break;
      case 4:
      case 5:
        camera->new_frame(frame, seconds, context.uniform(0.0, 0.05), static_cast<unsigned>(context.index(8)));
        break;
      case 6:
      case 7:
      case 8:
      case 9:
        for (int i = 0; i < 4; ++i) camera->evaluate(random_query(context, camera->access()));
        break;
      case 10:
        camera->project({context.uniform(-5, 5), context.uniform(-5, 5), context.uniform(-5, 20)}, 0.1, 0.2,
                        context.uniform(0, 1), static_cast<Eye>(context.index(3)));
        break;
      case 11:
        camera->preview(0.0, 0.0, static_cast<Eye>(context.index(3)));
        break;
      case 12:
        kept_ = camera->save_binary();
        break;
      case 13: {
        LoadState state(kept_);
        camera->load(state);
        break;
      }
      case 14:
        camera->copy_from(*any());
        break;
      case 15:
        camera->draw_gizmo();
        break;
      case 16:
        use_panel(*camera);
        break;
      case 17:
        for (VariantParameter* parameter : camera->parameters()) parameter->set_constant(context.uniform(-2.0, 5.0));
        break;
      case 18:
        camera->flags();
        camera->describe();
        break;
      default:
        std::erase_if(cameras_, [&](const auto& owned) { return owned.get() == camera; });
    }
  }

  void use_panel(Instance& camera) {
    Panel* panel = nullptr;
    try {
      panel = camera.panel();
    } catch (const std::exception&) {
      if (spoilt_share_ == 0.0) throw;
    }
    if (panel == nullptr || panel->data.empty()) return;
    const PanelData& row = panel->data[static_cast<std::size_t>(context().index(static_cast<int>(panel->data.size())))];
    const Call call("a panel's value", {static_cast<double>(row.id)});
    panel->get(row.id);
    if (row.type == "integer") panel->set_integer(row.id, context().index(6) - 1);
    if (row.type == "float") panel->set_float(row.id, context().uniform(-10.0, 1000.0));
    panel->choices(row.id);
  }

  Stage& stage_;
  double spoilt_share_;
  std::vector<std::unique_ptr<Instance>> cameras_;
  std::vector<std::uint8_t> kept_;
};

// --- order

void check_order(Context& context) {
  for (int round = 0; round < 4; ++round) {
    Stage stage(context);
    RandomCalls(stage, 0.0).make(context.times(300));
  }
}

// --- hostile-host

void check_hostile_host(Context& context) {
  for (const double share : {0.05, 0.5, 1.0}) {
    Stage stage(context);
    stage.answers.seed = context.random();
    RandomCalls(stage, share).make(context.times(400));
  }
  // Items that vanish while they are looked through, and names without an end in sight.
  for (int round = 0; round < context.times(10); ++round) {
    Stage stage(context);
    stage.forgive();
    stage.host.item("Other 2").name = std::string(static_cast<std::size_t>(1 + context.index(2000)), 'x');
    stage.host.item("Ball").name = "";
    Instance camera(stage, "Other 1");
    camera.randomise();
    camera.prepare();
    for (int i = 0; i < 10; ++i) camera.evaluate(random_query(context, camera.access()));
    stage.host.remove_item("Camera");
    if (round % 2 == 0) stage.host.remove_item("Cube");
    for (int i = 0; i < 10; ++i) camera.evaluate(random_query(context, camera.access()));
    camera.prepare(2, 3);
    for (int i = 0; i < 10; ++i) camera.evaluate(random_query(context, camera.access()));
    if (Panel* panel = camera.panel())
      for (const PanelControl& control : panel->controls) panel->choices(control.id);
    const LWCameraAccess access = camera.access();
    stage.host.remove_item("Other 1");
    camera.new_time(3, 0.1);
    camera.new_frame({3, 0.1, 0.01, 1.0 / 30.0, 3}, access);
    for (int i = 0; i < 10; ++i) camera.evaluate(random_query(context, access), &access);
    camera.draw_gizmo();
    camera.save_binary();
    camera.clean_up();
  }
}

// --- null

/// Callbacks with nothing to work on answer, and do nothing.
void check_null(Context& context) {
  Stage stage(context);
  Instance camera(stage);
  camera.prepare();
  const LWCameraHandler& handler = camera.handler();
  const LWInstanceFuncs& functions = camera.functions();
  const LWRenderFuncs& render = camera.render_functions();
  LWCameraRay ray{};
  LWDVector vector{};
  LWDMatrix4 matrix{};
  const LWFrameInfo frame{1, 0.0, 0.01, 1.0 / 30.0, 3};
  const LWCameraAccess& access = camera.access();
  SaveState saved(LWIO_BINARY);
  LoadState state(std::vector<std::uint8_t>{});
  const auto call = [](const char* name, const auto& make) {
    const Call named(name);
    make();
  };
  call("evaluate without an instance", [&] {
    context.expect(handler.evaluate(nullptr, 0, 0, 0, 0, 0, LWCAMEYE_CENTER, &ray, &access) == 0,
                   "evaluate: without an instance it gives a ray");
  });
  call("evaluate without a ray", [&] { handler.evaluate(camera.raw(), 0, 0, 0, 0, 0, LWCAMEYE_CENTER, nullptr, &access); });
  call("evaluate without an access record",
       [&] { handler.evaluate(camera.raw(), 0, 0, 0, 0, 0, LWCAMEYE_CENTER, &ray, nullptr); });
  if (handler.project != nullptr) {
    call("project without an instance", [&] {
      context.expect(handler.project(nullptr, 0, 0, vector, 0, LWCAMEYE_CENTER, vector, &access) == 0,
                     "project: without an instance it gives a film position");
    });
    call("project without a point", [&] { handler.project(camera.raw(), 0, 0, nullptr, 0, LWCAMEYE_CENTER, vector, &access); });
    call("project without a film position",
         [&] { handler.project(camera.raw(), 0, 0, vector, 0, LWCAMEYE_CENTER, nullptr, &access); });
    call("project without an access record",
         [&] { handler.project(camera.raw(), 0, 0, vector, 0, LWCAMEYE_CENTER, vector, nullptr); });
  }
  if (handler.preview != nullptr)
    call("preview without an instance", [&] { handler.preview(nullptr, 0, 0, LWCAMEYE_CENTER, matrix, &access); });
  call("new frame without an instance", [&] { handler.newFrame(nullptr, &frame, &access); });
  call("new frame without a frame", [&] { handler.newFrame(camera.raw(), nullptr, &access); });
  call("new frame without an access record", [&] { handler.newFrame(camera.raw(), &frame, nullptr); });
  if (handler.flags != nullptr) call("flags without an instance", [&] { handler.flags(nullptr); });
  call("destroy without an instance", [&] { functions.destroy(nullptr); });
  call("save without an instance", [&] { functions.save(nullptr, saved.record()); });
  call("save without a state", [&] { functions.save(camera.raw(), nullptr); });
  call("load without an instance", [&] { functions.load(nullptr, state.record()); });
  call("load without a state", [&] { functions.load(camera.raw(), nullptr); });
  if (functions.descln != nullptr) call("describe without an instance", [&] { functions.descln(nullptr); });
  if (render.init != nullptr) call("init render without an instance", [&] { render.init(nullptr, LWRM_RENDER); });
  if (render.cleanup != nullptr) call("clean-up without an instance", [&] { render.cleanup(nullptr); });
  if (render.newTime != nullptr) call("new time without an instance", [&] { render.newTime(nullptr, 1, 0.0); });
  camera.clean_up();
}

// --- evaluators

/// Chooses other cameras wherever the panel offers some.
bool choose_cameras(Instance& camera, int first) {
  Panel* panel = camera.panel();
  bool chosen = false;
  if (panel == nullptr) return false;
  for (const PanelData& row : panel->data) {
    const Call call("a panel's value", {static_cast<double>(row.id)});
    const std::vector<std::string> choices = panel->choices(row.id);
    const bool offers_cameras = std::ranges::any_of(choices, [](const std::string& text) { return text.starts_with("Other"); });
    if (row.type != "integer" || !offers_cameras) continue;
    panel->set_integer(row.id, 1 + first++ % (static_cast<int>(choices.size()) - 1));
    chosen = true;
  }
  return chosen;
}

void check_evaluators(Context& context) {
  {
    Stage stage(context);
    EvaluatorService& service = stage.host.evaluators;
    Instance camera(stage);
    if (!choose_cameras(camera, 0)) return;
    for (const LWRenderMode mode : {LWRM_RENDER, LWRM_PREVIEW, LWRM_RENDER}) {
      camera.init(mode);
      for (int frame = 1; frame < 4; ++frame) {
        camera.begin_frame(frame, 0.01, 3);
        for (int i = 0; i < 50; ++i) {
          const Ray ray = camera.evaluate(random_query(context, camera.access()));
          if (ray.result != 0)
            camera.project(
                Vec3{ray.words[0] + 5 * ray.words[3], ray.words[1] + 5 * ray.words[4], ray.words[2] + 5 * ray.words[5]}, 0, 0,
                0, Eye::centre);
        }
        camera.preview(0, 0, Eye::centre);
      }
      camera.clean_up();
    }
    for (const std::string& misuse : service.misuses()) context.fail(misuse);
    context.numbers["evaluators"] = static_cast<double>(service.table.alive());
    context.numbers["evaluations of other cameras"] = static_cast<double>(service.evaluations.load());
    camera.destroy();
    context.expect(service.table.alive() == 0, "destroy: evaluators of other cameras are left behind");
  }
  {
    // Another choice, a copy and a state in the middle of a render.
    Stage stage(context);
    Instance camera(stage);
    choose_cameras(camera, 0);
    camera.prepare();
    choose_cameras(camera, 1);
    for (int i = 0; i < 20; ++i) camera.evaluate(random_query(context, camera.access()));
    Instance other(stage, "Other 1");
    other.copy_from(camera);
    other.prepare();
    for (int i = 0; i < 20; ++i) other.evaluate(random_query(context, other.access()));
    camera.copy_from(other);
    LoadState state(other.save_binary());
    camera.load(state);
    camera.prepare();
    camera.clean_up();
    // The camera that is looked through leaves the scene.
    stage.host.remove_item("Other 2");
    camera.prepare();
    for (int i = 0; i < 20; ++i) camera.evaluate(random_query(context, camera.access()));
    camera.clean_up();
  }
  // Cameras that show one another come to an end.
  Scene ring = validation_scene();
  std::vector<std::string> lines;
  {
    Stage stage(context);
    Instance camera(stage);
    choose_cameras(camera, 0);
    lines = camera.save_text();
  }
  for (Item& item : ring.items)
    if (item.camera) item.camera->handler = PluginBlock{LWCAMERA_HANDLER_CLASS, 1, context.server, lines};
  Stage stage(context, ring);
  // Enough for a ring to close several times, and with sanitizers an eighth of the time.
  stage.host.evaluators.most_alive = 64;
  Instance camera(stage);
  choose_cameras(camera, 0);
  camera.prepare();
  for (int i = 0; i < 5; ++i) camera.evaluate(random_query(context, camera.access()));
  camera.clean_up();
}

// --- sessions

/// A host renders a sequence, a preview and a sequence again; the frames of the first come out the same.
void check_sessions(Context& context) {
  Stage stage(context);
  Instance camera(stage);
  camera.randomise();
  Instance neighbour(stage, "Other 1");
  std::vector<RayQuery> queries(100);
  camera.prepare();
  for (RayQuery& query : queries) query = random_query(context, camera.access());
  camera.clean_up();
  std::vector<Ray> first;
  for (int session = 0; session < std::max(3, context.times(6)); ++session) {
    camera.init(session % 2 == 0 ? LWRM_RENDER : LWRM_PREVIEW);
    neighbour.init(LWRM_RENDER);
    std::vector<Ray> rays;
    for (int frame = 0; frame < 3; ++frame) {
      for (Instance* each : {&neighbour, &camera}) each->begin_frame(frame, 0.01, 4);
      for (const RayQuery& query : queries) {
        rays.push_back(camera.evaluate(query));
        neighbour.evaluate(query);
      }
    }
    camera.clean_up();
    // A host may clean up more than once, and not at all.
    if (session % 3 != 0) neighbour.clean_up();
    if (session == 0) first = rays;
    context.expect(session % 2 != 0 || rays == first, "A second render of the same frames gives other rays");
  }
}

}  // namespace

const std::vector<Test>& conduct_checks() {
  static const std::vector<Test> checks{
      {"order", "callbacks in any order do no harm", true, false, check_order},
      {"hostile-host", "answers that change, vanish, are null, huge or no numbers do no harm", true, false, check_hostile_host},
      {"null", "callbacks with nothing to work on answer and do nothing", true, false, check_null},
      {"evaluators", "evaluators of other cameras are prepared before they are used, and destroyed", true, false,
       check_evaluators},
      {"sessions", "several renders in one session give the same frames", true, false, check_sessions},
  };
  return checks;
}

}  // namespace standin::validate
