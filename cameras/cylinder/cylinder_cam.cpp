#include "cameras/cylinder/cylinder_cam.h"

#include "framework/camera_source.h"
#include "framework/prepared_lens_camera.h"

constexpr framework::TagTable tagInfo7 = framework::tag_table("Quorin Cylinder Camera");

namespace CylinderCam {

constexpr std::array parameters{
    framework::parameter("SizeAxis", &Lens::cylinder_size),
    framework::parameter("MaxVerticalFOVradians", &Lens::maximum_angle_radians),
    framework::parameter("MinVerticalFOVradians", &Lens::minimum_angle_radians),
};

constexpr std::array saved{
    framework::saved_envelope(&Lens::cylinder_size),
    framework::saved_envelope(&Lens::maximum_angle_radians),
    framework::saved_envelope(&Lens::minimum_angle_radians),
    framework::saved_word(&Lens::axis_choice),
};

constexpr std::array axis_choices{"Horizontal Axis", "Vertical Axis"};

using Row = framework::PanelRow<Lens>;
constexpr std::array panel{
    Row::logo(0x8005),
    Row::version(0x8001),
    Row::popup(0x8007, "Size", &Lens::axis_choice),
    Row::distance(0x8006, "", &Lens::cylinder_size).divider().sensitive(),
    Row::angle(0x8008, "Maximum FOV Angle", &Lens::maximum_angle_radians).data("Upper FOV Angle").sensitive(),
    Row::angle(0x8009, "Minimum FOV Angle", &Lens::minimum_angle_radians).data("Lower FOV Angle").sensitive(),
};

constexpr framework::CameraTables<Lens> tables{.server_name = server.name,
                                               .description = "QuorinCylinderCam Oct 28 2026 01:02:09",
                                               .parameters = parameters,
                                               .saved = saved,
                                               .panel = panel,
                                               .popup = framework::fixed_popup<axis_choices>};

constinit framework::HostServices services;

class CameraPlugin final : public framework::PreparedLensCamera<Lens> {
 public:
  explicit CameraPlugin(LWItemID item) : PreparedLensCamera(tables, services, item) {}

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* /*record*/) {
    return framework::store(map(prepared_for_frame(), values.axis_choice != 0, cached_pose_at(sample.time), sample.film), ray);
  }

  int project(const framework::WorldSample& sample, double* film, const LWCameraAccess& /*record*/) const {
    framework::FilmPoint at{film[0], film[1]};
    const bool found = CylinderCam::project(values, framework::film_of(access), known_pose_at(sample.time), sample.world, at);
    film[0] = at.x;
    film[1] = at.y;
    if (found) film[2] = 0.0;
    return found ? 1 : 0;
  }

 private:
  void forget() override {
    chosen_item_ = nullptr;
    has_chosen_item_ = false;
  }

  void before_frame(LWTime start) override {
    chosen_item_ = framework::scene_item(host().iteminfo, LWI_OBJECT, static_cast<int>(values.axis_choice - 1));
    has_chosen_item_ = chosen_item_ != nullptr;
    // The values of this camera follow their envelopes even when nothing else has changed.
    read_values(start);
  }

  void frame_changed(const LWFrameInfo& frame, const LWCameraAccess& record) override { take_over(frame, record); }

  /// The object that the axis choice would stand for, counted from 1. Looked up and kept; nothing reads it.
  LWItemID chosen_item_ = nullptr;
  bool has_chosen_item_ = false;
};

#include "framework/lens_thunks.inc"

}  // namespace CylinderCam
