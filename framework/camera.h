#pragma once

#include "framework/camera_readings.h"
#include "framework/lens.h"
#include "sdk/host.h"

namespace framework {

/// What the host asks of one evaluation.
struct Sample {
  FilmPoint film;
  LensPoint lens;
  /// 0 to 1 across the frame's motion-blur interval.
  double time = 0.0;
  LWCameraEye eye = LWCAMEYE_CENTER;
};

/// What the host asks of one projection.
struct WorldSample {
  Vector world;
  LensPoint lens;
  /// 0 to 1 across the frame's motion-blur interval.
  double time = 0.0;
  LWCameraEye eye = LWCAMEYE_CENTER;
};

/// The record of a camera of which nothing but the item is known yet.
inline LWCameraAccess only_item(LWItemID item) {
  LWCameraAccess access{};
  access.cameraID = item;
  return access;
}

/// One camera of the host's scene: what the host has told it, and the list of what a camera may do in its own way, in the
/// order in which the host asks. A camera is a final class over `SettingsCamera` or `LensCamera`, which say the usual.
///
/// What a ray goes through is not on the list, because no call in a ray is virtual. Every final class has
///
///   int evaluate(const Sample&, LWCameraRay&, const LWCameraAccess*)                  evaluation bits, or 0 for no ray
///   int project(const WorldSample&, double* film, const LWCameraAccess&) const        1, or 0 without a film position
///
/// which the exported callbacks call on the class itself; without a result neither of them writes anything.
///
/// Threads: evaluation and projection from any number at once; everything else from one at a time, with no evaluation
/// meanwhile. Only the constructor, `initialise`,
/// `forget` and `after_copy` may throw, and nothing but std::bad_alloc.
class Camera {
 public:
  Camera(const HostServices& services, LWItemID item) : own_item(item), access(only_item(item)), services_(&services) {}
  virtual ~Camera() = default;
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;

  // --- Creation, the scene file, copying and destruction.

  /// Values that come from the host, before the envelopes start from them.
  virtual void initialise() {}
  virtual void load(const LWLoadState& state) = 0;
  virtual void save(const LWSaveState& state) const = 0;
  virtual void after_load() {}
  /// Lets go of all that follows from the present values: before others are copied over them, and on destruction.
  virtual void forget() {}
  /// Takes over what the tables of the copied camera, of the same class, do not name.
  virtual void after_copy(const Camera& from) { static_cast<void>(from); }

  // --- A render.

  /// `render_mode` is the new one.
  virtual void before_render() {}
  virtual void after_render() {}
  /// `current_frame` and `current_time` are the new ones, and the values have been read.
  virtual void after_time() {}

  // --- A frame.

  /// All that follows is a part of it. Cameras without motion samples do it in their own way.
  virtual void begin_frame(const LWFrameInfo& frame, const LWCameraAccess& record) = 0;
  /// Before the frame is compared with the one before it.
  virtual void before_frame(LWTime start) { static_cast<void>(start); }
  /// Whether the motion samples are stale even where frame and record are the same.
  virtual bool motion_changed() { return false; }
  /// Reads what a frame that is not the one before it needs: the values, the records and the motion.
  virtual void frame_changed(const LWFrameInfo& frame, const LWCameraAccess& record) { NewFrame(&frame, &record); }
  /// Reads the values at a time from their envelopes and from the host.
  virtual void read_values(LWTime time) = 0;
  /// An item whose position is sampled along with the camera's own; null for none.
  virtual LWItemID tracked_item() const { return nullptr; }
  /// The frame's records and values are in place, whether they have changed or not.
  virtual void after_frame() {}
  /// Why the frame cannot be rendered, for a person to read; or null.
  virtual LWError frame_failure() const { return nullptr; }

  // --- The viewport.

  /// 0 when there is no matrix.
  virtual int preview(LensPoint lens, LWCameraEye eye, double (*projection)[4]) {
    static_cast<void>(lens), static_cast<void>(eye), static_cast<void>(projection);
    return 0;
  }
  virtual void draw_gizmo(LWCustomObjAccess& viewport) { static_cast<void>(viewport); }

  // --- The panel.

  virtual void panel_opened(LWXPanelID panel) { static_cast<void>(panel); }
  /// What a control shows: the address of its value, its envelope, or its text; null for an ID that the panel does not know.
  virtual void* panel_value(std::uint32_t id) = 0;
  /// Stores what a control that holds a plain value hands over.
  virtual void set_panel_value(std::uint32_t id, const void* value) = 0;

  const HostServices& host() const { return *services_; }
  CameraReadings readings() const { return {host(), access.cameraID}; }

  /// Puts the host's film size into the record, for a camera whose first values already need it.
  void remember_film() {
    const Film film = readings().film_size();
    access.filmSize[0] = film.width;
    access.filmSize[1] = film.height;
  }

  /// Takes over the records of a frame.
  void NewFrame(const LWFrameInfo* frame, const LWCameraAccess* record) {
    frame_info = *frame;
    access = *record;
  }

  /// The camera item of this instance; never changes.
  const LWItemID own_item;
  /// As of the last frame; before there was one, of the item alone.
  LWCameraAccess access;
  LWFrameInfo frame_info{};
  int render_mode = 0;
  LWFrame current_frame = 0;
  LWTime current_time = 0.0;

 private:
  const HostServices* services_;
};

}  // namespace framework
