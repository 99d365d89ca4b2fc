#include "standin/host/evaluators.h"

#include <exception>
#include <utility>

#include "standin/host/hosted_camera.h"
#include "standin/host/plain_camera.h"
#include "standin/host/save_state.h"
#include "standin/host/services.h"
#include "standin/scene/number_text.h"

namespace standin {
namespace {

/// How deeply nested in evaluators this thread is: 0 in the camera that is rendered.
thread_local int running_depth = 0;

class DepthScope {
 public:
  explicit DepthScope(int depth) : outer_(std::exchange(running_depth, depth)) {}
  ~DepthScope() { running_depth = outer_; }
  DepthScope(const DepthScope&) = delete;
  DepthScope& operator=(const DepthScope&) = delete;

 private:
  int outer_;
};

void warn(Host& host, const std::string& what, const std::string& why) { host.record_message({"warning", {what, why}}); }

/// Whether the camera renders through a handler of the module that the host has loaded.
bool has_module_handler(const Host& host, const Item& camera) {
  return camera.camera->handler && host.module() != nullptr &&
         host.module()->find(LWCAMERA_HANDLER_CLASS, camera.camera->handler->server_name) != nullptr;
}

std::unique_ptr<Evaluator> make_evaluator(Host& host, const Item& camera) {
  auto evaluator = std::make_unique<Evaluator>();
  evaluator->camera_name = camera.name;
  evaluator->camera = Host::id_of(camera);
  evaluator->depth = running_depth + 1;
  const DepthScope scope(evaluator->depth);
  if (has_module_handler(host, camera)) {
    try {
      evaluator->instance = std::make_unique<HostedCamera>(host, *host.module(), camera.camera->handler->server_name, camera);
      evaluator->instance->load_saved();
      return evaluator;
    } catch (const std::exception& error) {
      evaluator->instance.reset();
      warn(host, camera.name + " is evaluated through the host's own perspective camera", error.what());
    }
  }
  evaluator->plain = std::make_unique<PlainCamera>(host.scene(), camera.id);
  return evaluator;
}

LWCameraEvaluatorID create(LWItemID id) {
  Host* host = Host::current();
  const Item* camera = require_item(id, "LW Camera Evaluation Funcs create");
  if (host == nullptr || camera == nullptr) return nullptr;
  if (!camera->camera) {
    violation("LW Camera Evaluation Funcs create", "the item \"" + camera->name + "\" is not a camera");
    return nullptr;
  }
  if (host->evaluators.refusal.refuses()) return nullptr;
  if (running_depth >= EvaluatorService::max_depth || host->evaluators.table.alive() >= host->evaluators.most_alive) {
    warn(*host, "No evaluator of " + camera->name + " is created",
         "too many cameras show other cameras; choose cameras that do not lead back to one another");
    return nullptr;
  }
  host->evaluators.log("create " + camera->name);
  return host->evaluators.table.add(make_evaluator(*host, *camera));
}

void destroy(LWCameraEvaluatorID id) {
  Host* host = Host::current();
  if (host == nullptr) return;
  const std::unique_ptr<Evaluator> evaluator = host->evaluators.table.take(id);
  if (evaluator == nullptr) {
    violation("LW Camera Evaluation Funcs destroy", "the handle " + handle_text(id) + " is stale or was never given out");
    return;
  }
  host->evaluators.log("destroy " + evaluator->camera_name);
}

/// Runs one step of an evaluator's life cycle; a failure becomes an error text that the evaluator keeps.
template <class Step>
LWError guarded_step(Evaluator& evaluator, Step&& step) {
  const DepthScope scope(evaluator.depth);
  if (Host::current()->find(evaluator.camera) == nullptr) return "The camera is no longer in the scene";
  try {
    step();
    return nullptr;
  } catch (const std::exception& error) {
    evaluator.error = error.what();
    return evaluator.error.c_str();
  }
}

LWError init(LWCameraEvaluatorID id, int mode) {
  Evaluator* evaluator = require(&Host::evaluators, id, "LW Camera Evaluation Funcs init");
  if (evaluator == nullptr) return "There is no such evaluator";
  Host::current()->evaluators.log("init " + evaluator->camera_name + ' ' + std::to_string(mode));
  evaluator->rendering = true;
  return guarded_step(*evaluator, [&] {
    if (evaluator->instance) evaluator->instance->init_render(static_cast<LWRenderMode>(mode));
  });
}

void clean_up(LWCameraEvaluatorID id) {
  Evaluator* evaluator = require(&Host::evaluators, id, "LW Camera Evaluation Funcs cleanUp");
  if (evaluator == nullptr) return;
  Host::current()->evaluators.log("cleanUp " + evaluator->camera_name);
  evaluator->rendering = false;
  const DepthScope scope(evaluator->depth);
  if (evaluator->instance) evaluator->instance->clean_up();
}

LWError tell_time(Evaluator& evaluator, int frame, double seconds) {
  evaluator.frame = frame;
  evaluator.time_seconds = seconds;
  evaluator.has_time = true;
  evaluator.has_frame = false;
  evaluator.ready = false;
  return guarded_step(evaluator, [&] {
    if (evaluator.instance) evaluator.instance->tell_time(frame, seconds);
  });
}

LWError tell_frame(Evaluator& evaluator) {
  const Host& host = *Host::current();
  if (!evaluator.has_time) tell_time(evaluator, host.frame(), host.time_seconds());
  return guarded_step(evaluator, [&] {
    const FrameOptions& options = host.frame_options;
    const double start = evaluator.time_seconds;
    const double duration = options.motion_blur ? blur_seconds(host.scene(), *host.find(evaluator.camera), start) : 0.0;
    if (evaluator.instance)
      evaluator.instance->tell_frame(evaluator.frame, start, duration, options.motion_steps);
    else
      evaluator.plain->begin_frame(start, duration, options.depth_of_field);
    evaluator.ready.store(true, std::memory_order_release);
  });
}

LWError new_time(LWCameraEvaluatorID id, LWFrame frame, LWTime time) {
  Evaluator* evaluator = require(&Host::evaluators, id, "LW Camera Evaluation Funcs newTime");
  if (evaluator == nullptr) return "There is no such evaluator";
  Host::current()->evaluators.log("newTime " + evaluator->camera_name + ' ' + std::to_string(frame) + ' ' + shortest(time));
  return tell_time(*evaluator, frame, time);
}

LWError new_frame(LWCameraEvaluatorID id) {
  Evaluator* evaluator = require(&Host::evaluators, id, "LW Camera Evaluation Funcs newFrame");
  if (evaluator == nullptr) return "There is no such evaluator";
  Host::current()->evaluators.log("newFrame " + evaluator->camera_name);
  evaluator->has_frame = true;
  return tell_frame(*evaluator);
}

/// These two have always left the frame to the host: their rays are those of the other camera as of the last new time.
bool leaves_frames_to_the_host(const HostedCamera& camera) {
  const auto is = [&](const char* server_name, const char* user_name) {
    const Server* server =
        camera.server_name() == server_name ? camera.module().find(LWCAMERA_HANDLER_CLASS, server_name) : nullptr;
    return server != nullptr && server->user_name() == user_name;
  };
  return is("QuorinOverscanCam", "Quorin Overscan Camera") || is("QuorinDpiCam", "Quorin DPI Camera");
}

/// Notes what the module has left out before this use. A mistake made for every pixel is noted once.
void note_misuse(Evaluator& evaluator, const char* use) {
  const bool has_left = Host::current()->find(evaluator.camera) == nullptr;
  const char* what = has_left               ? "after its camera has left the scene"
                     : !evaluator.rendering ? "before init or after cleanUp"
                     : !evaluator.has_frame ? "before newFrame"
                                            : nullptr;
  if (what == nullptr || evaluator.misused.exchange(true, std::memory_order_relaxed)) return;
  const std::string sentence =
      "LW Camera Evaluation Funcs " + std::string(use) + ": the evaluator of " + evaluator.camera_name + " is used " + what;
  Host::current()->evaluators.note_misuse(sentence);
  // A host that asks a camera out of order, or lets another leave in the middle of a frame, gets what it asked for.
  const HostedCamera* user = HostedCamera::running();
  if (user == nullptr || !user->prepared() || has_left) return;
  if (evaluator.rendering && leaves_frames_to_the_host(*user)) return;
  Host::current()->audit.report(sentence);
}

/// Prepares the frame if that has not been done: once, however many threads ask for it.
bool prepared(Evaluator& evaluator) {
  if (evaluator.ready.load(std::memory_order_acquire)) return true;
  const std::lock_guard lock(evaluator.preparing);
  return evaluator.ready.load(std::memory_order_acquire) || tell_frame(evaluator) == nullptr;
}

int evaluate(LWCameraEvaluatorID id, double film_x, double film_y, double lens_x, double lens_y, double fractional_time,
             LWCameraEye eye, LWCameraRay* ray) {
  Evaluator* evaluator = require(&Host::evaluators, id, "LW Camera Evaluation Funcs evaluate");
  if (evaluator == nullptr) return LWCAMEVAL_NONE;
  note_misuse(*evaluator, "evaluate");
  EvaluatorService& service = Host::current()->evaluators;
  service.evaluations.fetch_add(1, std::memory_order_relaxed);
  const RayQuery query{film_x, film_y, lens_x, lens_y, fractional_time, static_cast<Eye>(eye)};
  if (service.recording()) service.record({evaluator->camera_name, query});
  if (!prepared(*evaluator)) return LWCAMEVAL_NONE;
  const DepthScope scope(evaluator->depth);
  const RayAnswer answer = evaluator->instance ? evaluator->instance->evaluate(query) : evaluator->plain->evaluate(query);
  if (answer.result != LWCAMEVAL_NONE) {
    const auto write = [](LWDVector& out, Vec3 value) {
      out[0] = value.x;
      out[1] = value.y;
      out[2] = value.z;
    };
    write(ray->rayPos, answer.position);
    write(ray->rayDir, answer.direction);
    write(ray->filmNorm, answer.film_normal);
  }
  return answer.result;
}

int project(LWCameraEvaluatorID id, double lens_x, double lens_y, const LWDVector world, double fractional_time,
            LWCameraEye eye, LWDVector film) {
  Evaluator* evaluator = require(&Host::evaluators, id, "LW Camera Evaluation Funcs project");
  if (evaluator == nullptr) return 0;
  note_misuse(*evaluator, "project");
  Host::current()->evaluators.projections.fetch_add(1, std::memory_order_relaxed);
  if (!prepared(*evaluator)) return 0;
  const DepthScope scope(evaluator->depth);
  const Vec3 point{world[0], world[1], world[2]};
  const auto found = evaluator->instance
                         ? evaluator->instance->project(point, fractional_time, static_cast<Eye>(eye), lens_x, lens_y)
                         : evaluator->plain->project(point, lens_x, lens_y, fractional_time, static_cast<Eye>(eye));
  if (!found) return 0;
  film[0] = found->first;
  film[1] = found->second;
  film[2] = 0.0;
  return 1;
}

int preview(LWCameraEvaluatorID id, double lens_x, double lens_y, LWCameraEye eye, LWDMatrix4 projection) {
  Evaluator* evaluator = require(&Host::evaluators, id, "LW Camera Evaluation Funcs preview");
  if (evaluator == nullptr) return 0;
  note_misuse(*evaluator, "preview");
  Host::current()->evaluators.log("preview " + evaluator->camera_name);
  if (!prepared(*evaluator)) return 0;
  const DepthScope scope(evaluator->depth);
  if (evaluator->instance) return evaluator->instance->preview(projection, static_cast<Eye>(eye), lens_x, lens_y);
  evaluator->plain->preview(projection);
  return 1;
}

LWCameraEvaluationFuncs evaluator_table() {
  LWCameraEvaluationFuncs functions{};
  functions.create = create;
  functions.destroy = destroy;
  functions.init = init;
  functions.cleanUp = clean_up;
  functions.newTime = new_time;
  functions.preview = preview;
  functions.newFrame = new_frame;
  functions.evaluate = evaluate;
  functions.project = project;
  functions.sampledProject = unsupported_slot;
  return functions;
}

}  // namespace

Evaluator::Evaluator() = default;
Evaluator::~Evaluator() = default;

std::vector<std::string> EvaluatorService::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

void EvaluatorService::log(const std::string& call) {
  const std::lock_guard lock(mutex_);
  // A long render must not fill the memory: the newer half is kept.
  constexpr std::size_t most_kept = 1000;
  if (calls_.size() == most_kept) calls_.erase(calls_.begin(), calls_.begin() + most_kept / 2);
  calls_.push_back(call);
}

std::vector<std::string> EvaluatorService::misuses() const {
  const std::lock_guard lock(mutex_);
  return {misuses_.begin(), misuses_.end()};
}

void EvaluatorService::note_misuse(const std::string& sentence) {
  const std::lock_guard lock(mutex_);
  misuses_.insert(sentence);
}

void EvaluatorService::record(const EvaluatorRequest& request) {
  const std::lock_guard lock(mutex_);
  requests_.push_back(request);
}

std::vector<EvaluatorRequest> EvaluatorService::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

Service evaluator_service() {
  static ServiceTable<LWCameraEvaluationFuncs> handed(evaluator_table());
  return handed.service(LWCAMERAEVALUATION_GLOBAL);
}

}  // namespace standin
