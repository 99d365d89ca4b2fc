#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sdk/host.h"
#include "standin/host/gizmo_drawing.h"
#include "standin/host/guarded.h"
#include "standin/host/host.h"
#include "standin/host/module.h"
#include "standin/host/ray_query.h"
#include "standin/host/save_state.h"

namespace standin {

/// One instance of a camera server on a camera item, and the host's calls to it. Calls that the module answers with an error
/// text throw std::runtime_error with that text. Every record is checked after the call, and violations go into
/// the host's audit. Threads: evaluate and project any number at once, everything else one.
class HostedCamera {
 public:
  /// Activates the CameraHandler and creates the instance; the scene's saved lines are not loaded (load_saved). Makes the
  /// module the host's. Throws std::runtime_error: a wrong name, with the valid ones, or a refused activation.
  HostedCamera(Host& host, const Module& module, const std::string& server_name, const std::string& camera_name);
  /// The same for an item of the host's scene: names need not be unique.
  HostedCamera(Host& host, const Module& module, const std::string& server_name, const Item& camera);
  ~HostedCamera();
  HostedCamera(const HostedCamera&) = delete;
  HostedCamera& operator=(const HostedCamera&) = delete;

  // --- The raw interface, for tests and measurements.

  LWCameraHandler& handler() { return *handler_; }
  LWInstance raw() const { return instance_; }
  LWItemID item_id() const { return item_; }
  /// As of the last new_frame or set_access.
  LWCameraAccess& access() { return *access_; }
  LWFrameInfo& frame_info() { return *frame_info_; }
  const std::string& server_name() const { return server_name_; }
  const Module& module() const { return *module_; }

  // --- Settings.

  /// A parameter that this instance created, by channel name; throws std::runtime_error listing the names.
  VariantParameter& parameter(const std::string& channel_name);
  std::vector<VariantParameter*> parameters() const;

  std::vector<std::string> save_text() const;
  /// The same lines, with what each of them holds.
  std::vector<SavedLine> save_items() const;
  std::vector<std::uint8_t> save_binary() const;
  /// A state that a camera of this server saved on this host has to be read whole, and not past its end.
  void load_text(const std::vector<std::string>& lines);
  void load_binary(const std::vector<std::uint8_t>& bytes);
  /// Loads the lines of the scene's handler block, when it is of this server. Lines that are left, or missing, are told as a
  /// message: the file may be damaged, or of another version.
  void load_saved();
  /// Becomes a copy of the other.
  void copy_from(const HostedCamera& other);

  std::string describe() const;
  /// LWCameraFlags; 0 when the callback is absent.
  unsigned flags() const;

  // --- Rendering, in the host's order.

  void init_render(LWRenderMode mode = LWRM_RENDER);
  void clean_up();
  /// Sets the host's time and tells the module.
  void new_time(int frame, double seconds);
  /// Builds frame record and access record from the scene, and tells the module. `duration_seconds`: of the motion-blur
  /// interval.
  void new_frame(int frame, double start_seconds, double duration_seconds = 0.0, unsigned motion_steps = 2);
  /// The same two for an evaluator, which leaves the host's own time and frame options unchanged.
  void tell_time(int frame, double seconds);
  void tell_frame(int frame, double start_seconds, double duration_seconds, unsigned motion_steps);
  /// Both, with the scene's times and durations.
  void begin_frame(int frame, const FrameOptions& options = {});

  /// Between init and clean-up, and told of a frame: what it uses of the host in an evaluation has to be prepared as well.
  bool prepared() const noexcept { return rendering_ && has_frame_; }
  /// The camera that this thread evaluates; null outside of an evaluation, a projection or a preview.
  static const HostedCamera* running() noexcept;

  RayAnswer evaluate(const RayQuery& query) const;
  /// One answer per query, of which there are as many; faster than one by one.
  void evaluate(std::span<const RayQuery> queries, std::span<RayAnswer> answers) const;
  /// Film metres, or none.
  std::optional<std::pair<double, double>> project(Vec3 world, double fractional_time = 0.0, Eye eye = Eye::centre,
                                                   double lens_x = 0.0, double lens_y = 0.0) const;
  /// One answer per query, of which there are as many, from the lens's centre; faster than one by one.
  void project(std::span<const PointQuery> queries, std::span<PointAnswer> answers) const;
  /// The module's answer; 0: no matrix.
  int preview(LWDMatrix4 projection, Eye eye = Eye::centre, double lens_x = 0.0, double lens_y = 0.0) const;

  // --- Panel and gizmo.

  /// Activates the CameraInterface on first use. Throws std::runtime_error when the activation is refused or gives no panel.
  Panel& panel();
  /// Activates the CameraGizmo on first use.
  LWGizmo& gizmo();
  LWGizmoFuncs& gizmo_functions();
  /// Runs the gizmo's draw; null callbacks draw nothing.
  void draw_gizmo(GizmoDrawing& drawing);

 private:
  const Item& camera_item() const;
  void check(LWError error, const char* call) const;
  /// Whether the state was read whole and not past its end, or in which way not.
  const char* load(LoadState& state);
  void audit_load(const char* trouble, bool own_state) const;
  void expect_intact(bool intact, const char* call, const char* record) const;

  Host* host_;
  const Module* module_;
  std::string server_name_;
  LWItemID item_ = nullptr;
  LWInstance instance_ = nullptr;
  std::uint64_t first_parameter_ = 0;
  std::uint64_t last_parameter_ = 0;

  Guarded<LWInstanceFuncs> instance_functions_;
  Guarded<LWItemFuncs> item_functions_;
  Guarded<LWRenderFuncs> render_functions_;
  Guarded<LWCameraHandler> handler_;
  Guarded<LWCameraAccess> access_;
  Guarded<LWFrameInfo> frame_info_;
  Guarded<LWInterface> interface_;
  Guarded<LWGizmoFuncs> gizmo_functions_;
  Guarded<LWGizmo> gizmo_;
  LWXPanelID panel_ = nullptr;
  bool has_gizmo_ = false;
  bool rendering_ = false;
  bool has_frame_ = false;
};

/// Camera access record of an item at a time, with axes of length 1.
LWCameraAccess camera_access(const Scene& scene, const Item& camera, double seconds);

/// Motion-blur interval of a camera's frame that starts at that time: blur length times frame duration.
double blur_seconds(const Scene& scene, const Item& camera, double start_seconds);

}  // namespace standin
