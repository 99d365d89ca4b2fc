#pragma once

#include <array>
#include <bit>
#include <cstring>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "framework/camera_readings.h"
#include "framework/host_services.h"
#include "framework/lens.h"
#include "framework/motion_samples.h"
#include "framework/parameters.h"
#include "framework/pose_cache.h"
#include "framework/scene_items.h"

namespace framework {

inline Vector to_vector(const double* v) { return {v[0], v[1], v[2]}; }

inline void store(Vector from, double* to) {
  to[0] = from.x;
  to[1] = from.y;
  to[2] = from.z;
}

inline void store(const Ray& ray, LWCameraRay& record) {
  store(ray.position, record.rayPos);
  store(ray.direction, record.rayDir);
  store(ray.film_normal, record.filmNorm);
}

/// 1 with the film point stored, 0 without one.
inline int store(const std::optional<FilmPoint>& point, double* film) {
  if (!point) return 0;
  store(Vector{point->x, point->y, 0.0}, film);
  return 1;
}

inline Film film_of(const LWCameraAccess& access) { return {access.filmSize[0], access.filmSize[1]}; }

/// The record of a camera of which nothing but the item is known yet.
inline LWCameraAccess only_item(LWItemID item) {
  LWCameraAccess access{};
  access.cameraID = item;
  return access;
}

/// Bit for bit, word by word: the records' padding does not count.
inline bool same_frame(const LWFrameInfo& a, const LWFrameInfo& b) {
  const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
  return a.frame == b.frame && bits(a.start) == bits(b.start) && bits(a.duration) == bits(b.duration) &&
         bits(a.fps) == bits(b.fps) && a.motionSteps == b.motionSteps;
}

/// Byte for byte: a zero of the other sign counts as a change, and the record has no padding.
inline bool same_access(const LWCameraAccess& a, const LWCameraAccess& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;  // NOLINT(*-suspicious-memory-comparison,cert-exp42-c,cert-flp37-c)
}

/// What a camera keeps beside its lens values: `Camera::State`, or nothing.
template <class Camera>
struct StateOf {
  struct Type {};
};
template <class Camera>
requires requires { typename Camera::State; }
struct StateOf<Camera> {
  using Type = typename Camera::State;
};

/// What the host asks of one evaluation.
struct Sample {
  FilmPoint film;
  LensPoint lens;
  /// 0 to 1 across the frame's motion-blur interval.
  double time = 0.0;
  LWCameraEye eye = LWCAMEYE_CENTER;
};

/// One camera of the host's scene: the state and the behaviour that the lens cameras share. `Camera` describes one of them:
///
///   Lens                    struct of values with their defaults; read by the mapping
///   server_name, description, flags
///   parameters, saved       tables: the envelopes in order of creation, the scene data in order of saving
///
/// and beside `Lens`, in its namespace, the mapping `map` and its inverse `project`. What a camera does in its own way it
/// says by a static function of the names asked for below; a camera without a mapping gives no ray.
///
/// Threads: evaluation and projection from any number at once; everything else from one at a time, with no evaluation
/// meanwhile. Nothing throws but the constructor.
template <class Camera>
class CameraInstance {
 public:
  using Lens = typename Camera::Lens;
  using PoseType = typename Camera::PoseType;
  using Scalar = decltype(PoseType{}.position.x);
  /// Position, right, up, forward, and what else the camera tracks.
  static constexpr std::size_t vector_count = sizeof(PoseType) / sizeof(BasicVector<Scalar>);

  /// `item` is the camera's own item in the host's scene.
  explicit CameraInstance(void* item);
  ~CameraInstance() { CleanUp(); }
  CameraInstance(const CameraInstance&) = delete;

  /// Takes over records, values and envelope contents; motion samples and cached pose are left empty, the own envelopes
  /// stay. Copying to itself changes nothing.
  CameraInstance& operator=(const CameraInstance& from);

  /// Samples the camera's motion over the frame: `steps` samples, the last of them one step short of the frame's end.
  void SetUp(unsigned steps);
  void CleanUp();
  void NewFrame(const LWFrameInfo* frame, const LWCameraAccess* record);
  /// One 3-vector at a fractional time, from one of the sample arrays, which must not be empty.
  void interpolate(const double* samples, double time, double* out) const { interpolate_samples(samples, blend_at(time), out); }
  SampleBlend blend_at(double time) const {
    constexpr bool by_reciprocal = requires { Camera::weighs_by_reciprocal; };
    return blend_samples(sample_count, time, by_reciprocal);
  }

  /// Destroys the envelopes, which the host owns, before the instance goes.
  void release();
  void load(const LWLoadState& state) { load(state, Camera::saved); }
  void save(const LWSaveState& state) const { save(state, Camera::saved); }
  /// The same for a table of saved items of the caller's choice.
  template <std::size_t Count>
  void load(const LWLoadState& state, const std::array<SavedItem<Lens>, Count>& items);
  template <std::size_t Count>
  void save(const LWSaveState& state, const std::array<SavedItem<Lens>, Count>& items) const;
  void init_render(int mode) {
    render_mode = mode;
    if constexpr (requires { Camera::init_render(*this); }) Camera::init_render(*this);
  }
  void clean_up() {
    if constexpr (requires { Camera::clean_up(*this); }) Camera::clean_up(*this);
  }
  void new_time(LWFrame frame, LWTime time);
  void new_frame(const LWFrameInfo& frame, const LWCameraAccess& record);
  /// Inlined by force into the one callback that calls it: handing a sample over through memory is felt in every ray.
  [[gnu::always_inline]] int evaluate(const Sample& sample, LWCameraRay& ray, const LWCameraAccess* record);
  int project_point(LensPoint lens_point, Vector world, double time, LWCameraEye eye, double* film,
                    const LWCameraAccess& record) const;
  int preview(LensPoint lens_point, LWCameraEye eye, double (*projection)[4]) {
    if constexpr (requires { Camera::preview(*this, lens_point, eye, projection); }) {
      return Camera::preview(*this, lens_point, eye, projection);
    }
    return 0;
  }

  void draw_gizmo(LWCustomObjAccess& access) {
    if constexpr (requires { Camera::draw_gizmo(*this, access); }) Camera::draw_gizmo(*this, access);
  }

  /// Reads every envelope into its value, at a time.
  void get_vpValues(LWTime time);
  /// The same, whatever the camera does in its own way.
  void read_parameters(LWTime time);
  void read_envelope(double Lens::*value, LWTime time);
  LWVParmID envelope(double Lens::*value) const;

  /// Position and axes at a fractional time; before there are motion samples, the cached ones.
  PoseType pose_at(double time) const;
  /// The same through the cache.
  PoseForRay<PoseType> cached_pose_at(double time);
  /// From the motion samples, and into the cache.
  [[gnu::noinline]] PoseType interpolate_pose(double time);
  /// The same without adding to the cache.
  PoseType known_pose_at(double time) const;

  static const HostServices& host() { return services<Camera>; }
  CameraReadings readings() const { return {services<Camera>, access.cameraID}; }

  /// Puts the host's film size into the record, for a camera whose first values already need it.
  void remember_film() {
    const Film film = readings().film_size();
    access.filmSize[0] = film.width;
    access.filmSize[1] = film.height;
  }

  /// The camera item of this instance; never changes.
  const LWItemID own_item;
  LWCameraAccess access{};
  LWFrameInfo frame_info{};
  int render_mode = 0;
  LWFrame current_frame = 0;
  LWTime current_time = 0.0;
  std::array<LWVParmID, Camera::parameters.size()> envelopes{};
  /// Of the host camera at the current time; the aperture is half the film distance over the f-stop.
  double focal_value = 0.0;
  double aperture_value = 0.0;
  Lens lens{};
  typename StateOf<Camera>::Type state{};

  unsigned sample_count = 0;
  /// One array for each vector of a pose: sample_count x 3 doubles each.
  std::array<std::vector<double>, vector_count> samples;
  /// Starts with the first sample; zero before there is one.
  PoseCache<PoseType> pose_cache;
};

template <class Camera>
CameraInstance<Camera>::CameraInstance(void* item) : own_item(static_cast<LWItemID>(item)) {
  const HostServices& host = services<Camera>;
  access = only_item(own_item);
  for (const auto& parameter : Camera::parameters) {
    if (parameter.host_zoom) lens.*parameter.value = readings().zoom_factor_now();
  }
  if constexpr (requires { Camera::initialise(*this); }) Camera::initialise(*this);
  const LWChanGroupID group = host.iteminfo != nullptr ? host.iteminfo->chanGroup(access.cameraID) : nullptr;
  for (std::size_t i = 0; i < envelopes.size(); ++i) {
    const auto& parameter = Camera::parameters[i];
    envelopes[i] =
        create_vpenv(host.vparmf, Camera::server_name, LWVP_FLOAT, parameter.channel, group, &(lens.*parameter.value));
  }
}

template <class Camera>
CameraInstance<Camera>& CameraInstance<Camera>::operator=(const CameraInstance& from) {
  if (this == &from) return *this;
  CleanUp();
  pose_cache.begin(PoseType{});
  if constexpr (requires { Camera::keeps_own_records; }) {
    // The item stays known, so that readings before the next frame ask for the right camera.
    access = only_item(access.cameraID);
    frame_info = {};
  } else {
    access = from.access;
    frame_info = from.frame_info;
  }
  render_mode = 0;
  current_frame = 0;
  current_time = 0.0;
  focal_value = 0.0;
  aperture_value = 0.0;
  if constexpr (requires { Camera::release(*this); }) Camera::release(*this);
  lens = {};
  state = {};
  for (const auto& parameter : Camera::parameters) lens.*parameter.value = from.lens.*parameter.value;
  for (const auto& item : Camera::saved) {
    if (item.word != nullptr) lens.*item.word = from.lens.*item.word;
  }
  if constexpr (requires { Camera::copy(*this, from); }) Camera::copy(*this, from);
  if (const LWVParmFuncs* vparmf = services<Camera>.vparmf; vparmf != nullptr) {
    for (std::size_t i = 0; i < envelopes.size(); ++i) {
      if (envelopes[i] != nullptr && from.envelopes[i] != nullptr) vparmf->copy(envelopes[i], from.envelopes[i]);
    }
  }
  return *this;
}

template <class Camera>
void CameraInstance<Camera>::SetUp(unsigned steps) {
  CleanUp();
  try {
    for (auto& values : samples) values.assign(std::size_t{steps} * 3, 0.0);
  } catch (const std::bad_alloc&) {
    CleanUp();
    return;
  }
  sample_count = steps;
  const double step = frame_info.duration / steps;
  const LWItemInfo* iteminfo = services<Camera>.iteminfo;
  for (unsigned k = 0; k < steps && iteminfo != nullptr; ++k) {
    const LWTime time = frame_info.start + k * step;
    const auto ask = [&](LWItemID item, LWItemParam param, std::size_t which) {
      iteminfo->param(item, param, time, &samples[which][std::size_t{k} * 3]);
    };
    ask(access.cameraID, LWIP_RIGHT, 1);
    ask(access.cameraID, LWIP_UP, 2);
    ask(access.cameraID, LWIP_FORWARD, 3);
    ask(access.cameraID, LWIP_W_POSITION, 0);
    if constexpr (requires { Camera::tracked_item(*this); }) {
      if (const LWItemID tracked = Camera::tracked_item(*this); tracked != nullptr) ask(tracked, LWIP_W_POSITION, 4);
    }
  }
  pose_cache.begin(pose_at(0.0));
}

template <class Camera>
void CameraInstance<Camera>::CleanUp() {
  sample_count = 0;
  for (auto& values : samples) std::vector<double>().swap(values);
}

template <class Camera>
void CameraInstance<Camera>::NewFrame(const LWFrameInfo* frame, const LWCameraAccess* record) {
  frame_info = *frame;
  access = *record;
}

template <class Camera>
void CameraInstance<Camera>::release() {
  if constexpr (requires { Camera::release(*this); }) Camera::release(*this);
  const LWVParmFuncs* vparmf = services<Camera>.vparmf;
  for (LWVParmID& envelope : envelopes) {
    if (envelope != nullptr && vparmf != nullptr) vparmf->destroy(envelope);
    envelope = nullptr;
  }
}

template <class Camera>
template <std::size_t Count>
void CameraInstance<Camera>::load(const LWLoadState& state, const std::array<SavedItem<Lens>, Count>& items) {
  using Kind = typename SavedItem<Lens>::Kind;
  const LWVParmFuncs* vparmf = services<Camera>.vparmf;
  for (const auto& item : items) {
    if (item.kind == Kind::envelope) {
      if (const LWVParmID id = envelope(item.value); id != nullptr && vparmf != nullptr) vparmf->load(id, &state);
    } else if (item.kind == Kind::number || item.kind == Kind::plain_number) {
      float number = 0.0F;
      if (state.readFP(state.readData, &number, 1) != 1) continue;
      lens.*item.value = item.kind == Kind::plain_number || number > 0.0F ? number : item.fallback;
      set_envelope(vparmf, envelope(item.value), lens.*item.value);
    } else {
      std::uint32_t word = 0;
      if (state.readU4(state.readData, &word, 1) == 1 && item.word != nullptr) lens.*item.word = word;
    }
  }
}

template <class Camera>
template <std::size_t Count>
void CameraInstance<Camera>::save(const LWSaveState& state, const std::array<SavedItem<Lens>, Count>& items) const {
  using Kind = typename SavedItem<Lens>::Kind;
  const LWVParmFuncs* vparmf = services<Camera>.vparmf;
  for (const auto& item : items) {
    if (item.kind == Kind::envelope) {
      if (const LWVParmID id = envelope(item.value); id != nullptr && vparmf != nullptr) vparmf->save(id, &state);
    } else if (item.kind == Kind::number || item.kind == Kind::plain_number) {
      const auto number = static_cast<float>(lens.*item.value);
      state.writeFP(state.writeData, &number, 1);
    } else {
      const std::uint32_t word = item.word != nullptr ? lens.*item.word : 0;
      state.writeU4(state.writeData, &word, 1);
    }
  }
}

template <class Camera>
void CameraInstance<Camera>::new_time(LWFrame frame, LWTime time) {
  current_frame = frame;
  current_time = time;
  get_vpValues(time);
  if constexpr (requires { Camera::after_time(*this); }) Camera::after_time(*this);
}

template <class Camera>
void CameraInstance<Camera>::new_frame(const LWFrameInfo& frame, const LWCameraAccess& record) {
  if constexpr (requires { Camera::new_frame(*this, frame, record); }) {
    Camera::new_frame(*this, frame, record);
    return;
  }
  if constexpr (requires { Camera::before_frame(*this, frame); }) Camera::before_frame(*this, frame);
  bool changed = !same_frame(frame_info, frame) || !same_access(access, record);
  if constexpr (requires { Camera::changed(*this); }) changed = Camera::changed(*this) || changed;
  if (changed) {
    get_vpValues(frame.start);
    NewFrame(&frame, &record);
    SetUp(effective_motion_steps(frame.motionSteps));
  }
  if constexpr (requires { Camera::after_frame(*this); }) Camera::after_frame(*this);
}

template <class Camera>
void CameraInstance<Camera>::get_vpValues(LWTime time) {
  if constexpr (requires { Camera::get_vpValues(*this, time); }) {
    Camera::get_vpValues(*this, time);
  } else {
    read_parameters(time);
  }
}

template <class Camera>
void CameraInstance<Camera>::read_parameters(LWTime time) {
  for (const auto& parameter : Camera::parameters) {
    if (parameter.host_zoom) {
      const CameraReadings host = readings();
      lens.*parameter.value = host.zoom_factor(time);
      focal_value = lens.*parameter.value * host.film_size().height * 0.5;
      // The f-stop is that of the host's current time, whatever time is asked for: meant so.
      aperture_value = focal_value * 0.5 / host.f_stop_now();
    } else {
      read_envelope(parameter.value, time);
    }
  }
}

template <class Camera>
void CameraInstance<Camera>::read_envelope(double Lens::*value, LWTime time) {
  lens.*value = envelope_value(services<Camera>.vparmf, envelope(value), time, lens.*value);
}

template <class Camera>
LWVParmID CameraInstance<Camera>::envelope(double Lens::*value) const {
  const std::size_t index = index_of(Camera::parameters, value);
  return index < envelopes.size() ? envelopes[index] : nullptr;
}

template <class Camera>
auto CameraInstance<Camera>::pose_at(double time) const -> PoseType {
  if (sample_count < 2) return pose_cache.start();
  // Made in its place, number by number: a pose put together in one place and copied to another would have to wait for itself.
  const SampleBlend blend = blend_at(time);
  const auto vector = [&](std::size_t which) {
    double v[3];
    interpolate_samples(samples[which].data(), blend, v);
    return BasicVector<Scalar>{rounded_to<Scalar>(v[0]), rounded_to<Scalar>(v[1]), rounded_to<Scalar>(v[2])};
  };
  return [&]<std::size_t... Which>(std::index_sequence<Which...>) { return PoseType{vector(Which)...}; }
  (std::make_index_sequence<vector_count>());
}

template <class Camera>
inline auto CameraInstance<Camera>::cached_pose_at(double time) -> PoseForRay<PoseType> {
  if (const PoseType* cached = pose_cache.find(time)) return PoseForRay<PoseType>(cached);
  return PoseForRay<PoseType>(interpolate_pose(time));
}

template <class Camera>
auto CameraInstance<Camera>::interpolate_pose(double time) -> PoseType {
  const PoseType pose = pose_at(time);
  if (sample_count >= 2) pose_cache.publish(time, pose);
  return pose;
}

template <class Camera>
inline auto CameraInstance<Camera>::known_pose_at(double time) const -> PoseType {
  if (const PoseType* cached = pose_cache.find(time)) return *cached;
  return pose_at(time);
}

template <class Camera>
inline int CameraInstance<Camera>::evaluate(const Sample& sample, LWCameraRay& ray, const LWCameraAccess* record) {
  if constexpr (requires { Camera::evaluate(*this, sample, ray, record); }) {
    return Camera::evaluate(*this, sample, ray, record);
  } else if constexpr (requires(Film film, PoseType pose) { map(lens, film, pose, sample.film); }) {
    if (record == nullptr) return LWCAMEVAL_NONE;
    store(map(lens, film_of(*record), cached_pose_at(sample.time), sample.film), ray);
    return LWCAMEVAL_RAY;
  } else if constexpr (requires(PoseType pose) { map(lens, pose, sample.film, sample.lens); }) {
    store(map(lens, cached_pose_at(sample.time), sample.film, sample.lens), ray);
    return LWCAMEVAL_RAY;
  } else {
    return LWCAMEVAL_NONE;
  }
}

template <class Camera>
int CameraInstance<Camera>::project_point(LensPoint lens_point, Vector world, double time, LWCameraEye eye, double* film,
                                          const LWCameraAccess& record) const {
  if constexpr (requires { Camera::project(*this, lens_point, world, time, eye, film, record); }) {
    return Camera::project(*this, lens_point, world, time, eye, film, record);
  } else if constexpr (requires(Film size, PoseType pose) { project(lens, size, pose, world); }) {
    return store(project(lens, film_of(record), known_pose_at(time), world), film);
  } else if constexpr (requires(PoseType pose) { project(lens, pose, world); }) {
    return store(project(lens, known_pose_at(time), world), film);
  } else {
    return 0;
  }
}

/// Why the frame that an instance was told of last cannot be rendered, or null. A camera that can fail says so by a function
/// of this name for its own instances; the others never do.
inline LWError frame_failure(const void* /*instance*/) { return nullptr; }

/// What a gizmo answers when the host asks for a handle or moves one: -1 for none, or `Camera::no_handle`.
template <class Camera>
constexpr int no_handle() {
  if constexpr (requires { Camera::no_handle; }) {
    return Camera::no_handle;
  } else {
    return -1;
  }
}

/// Entries of a camera's popup: its own choices, or else "(none)" and the scene's objects.
template <class Camera>
int popup_count(const CameraInstance<Camera>* /*instance*/) {
  if constexpr (requires { Camera::popup_choices; }) {
    return static_cast<int>(Camera::popup_choices.size());
  } else {
    return item_popup_count(services<Camera>.iteminfo, LWI_OBJECT);
  }
}

/// The text of an entry; outside the camera's own choices the empty text.
template <class Camera>
const char* popup_name(const CameraInstance<Camera>* /*instance*/, int index) {
  if constexpr (requires { Camera::popup_choices; }) {
    const bool known = index >= 0 && index < static_cast<int>(Camera::popup_choices.size());
    return known ? Camera::popup_choices[static_cast<std::size_t>(index)] : "";
  } else {
    return item_popup_name(services<Camera>.iteminfo, LWI_OBJECT, index);
  }
}

}  // namespace framework
