#include "cameras/fisheye/fisheye_cam.h"

#include <algorithm>
#include <cmath>

#include "framework/camera.h"

namespace FisheyeCam {

/// The preview's surface: rays through a grid of film points, carried to a distance from the camera.
constexpr int preview_cells = 10;
constexpr double preview_distance = 10.0;

struct PreviewPass {
  float opacity;
  unsigned draw_mode;
};
constexpr std::array preview_passes{PreviewPass{0.3F, LWDRAWMODE_DEPTHTEST},
                                    PreviewPass{1.0F, LWDRAWMODE_DEPTHTEST | LWDRAWMODE_OUTLINE}};

struct Camera {
  using Lens = FisheyeCam::Lens;
  using PoseType = framework::Pose;

  static constexpr const char* server_name = "QuorinFisheyeCam";
  static constexpr const char* description = "QuorinFisheyeCam Oct 28 2026 01:02:17";
  static constexpr unsigned flags = LWCAMFLAG_DEPTH_OF_FIELD;

  static constexpr std::array parameters{
      framework::host_zoom_parameter(&Lens::zoom_factor),
      framework::parameter("FisheyePower", &Lens::distortion_power),
      framework::parameter("FisheyeScale", &Lens::distortion_scale),
  };

  static constexpr std::array saved{
      framework::saved_envelope(&Lens::distortion_power),  framework::saved_envelope(&Lens::distortion_scale),
      framework::saved_word(&Lens::auto_distortion_scale), framework::saved_word(&Lens::preview_in_camera_view),
      framework::saved_word(&Lens::preview_grid),          framework::saved_word(&Lens::parallel_film_normals),
  };

  static constexpr std::array popup_choices{"Ray Tracing Grid", "Line Matching Grid"};

  /// The values of a frame are computed before its record is taken over, so the film of the first one is asked for here.
  template <class Instance>
  static void initialise(Instance& camera) {
    camera.remember_film();
    camera.lens.lens_factor = 0.5 / camera.readings().f_stop_now();
  }

  template <class Instance>
  static void before_frame(Instance& camera, const LWFrameInfo& /*frame*/) {
    camera.lens.lens_factor = 0.5 / camera.readings().f_stop_now();
    camera.lens.focal_distance = camera.readings().focal_distance_now();
  }

  template <class Instance>
  static void get_vpValues(Instance& camera, LWTime time) {
    camera.read_parameters(time);
    if (camera.lens.auto_distortion_scale == 0) return;
    camera.lens.distortion_scale = corner_keeping_scale(framework::film_of(camera.access), camera.lens.distortion_power);
    // For the panel to show.
    framework::set_envelope(camera.host().vparmf, camera.envelope(&Lens::distortion_scale), camera.lens.distortion_scale);
  }

  template <class Instance>
  static int evaluate(Instance& camera, const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* /*record*/) {
    framework::store(
        map(camera.lens, framework::film_of(camera.access), camera.cached_pose_at(sample.time), sample.film, sample.lens), ray);
    return LWCAMEVAL_RAY;
  }

  template <class Instance>
  static int project(Instance& camera, framework::LensPoint /*lens_point*/, framework::Vector world, double time,
                     LWCameraEye /*eye*/, double* film, const LWCameraAccess& /*record*/) {
    return framework::store(
        FisheyeCam::project(camera.lens, framework::film_of(camera.access), camera.known_pose_at(time), world), film);
  }

  template <class Instance>
  static void draw_gizmo(Instance& camera, LWCustomObjAccess& viewport) {
    if (camera.lens.preview_in_camera_view == 0) return;
    auto surface = preview_surface(camera);
    for (const PreviewPass& pass : preview_passes) {
      float color[4] = {0.0F, 0.39453125F, 0.59765625F, pass.opacity};
      viewport.setColor(viewport.dispData, color);
      viewport.setDrawMode(viewport.dispData, pass.draw_mode);
      for (std::size_t row = 0; row < preview_cells; ++row) {
        for (std::size_t column = 0; column < preview_cells; ++column) {
          const std::array corners{&surface[row][column], &surface[row][column + 1], &surface[row + 1][column + 1],
                                   &surface[row + 1][column]};
          // Where the law gives no finite ray, as before the first frame, there is nothing to show.
          if (!std::ranges::all_of(corners, [](const PreviewCorner* corner) { return is_finite(*corner); })) continue;
          viewport.quad(viewport.dispData, corners[0]->data(), corners[1]->data(), corners[2]->data(), corners[3]->data(),
                        LWCSYS_WORLD);
        }
      }
    }
  }

 private:
  using PreviewCorner = std::array<double, 3>;
  using PreviewSurface = std::array<std::array<PreviewCorner, preview_cells + 1>, preview_cells + 1>;

  static bool is_finite(const PreviewCorner& corner) {
    return std::ranges::all_of(corner, [](double coordinate) { return std::isfinite(coordinate); });
  }

  template <class Instance>
  static PreviewSurface preview_surface(Instance& camera) {
    using framework::rounded_to_single;
    const framework::Film film = framework::film_of(camera.access);
    const framework::FilmPoint first{rounded_to_single(-film.half_width()), rounded_to_single(-film.half_height())};
    const framework::FilmPoint step{rounded_to_single(film.width / preview_cells),
                                    rounded_to_single(film.height / preview_cells)};
    PreviewSurface surface;
    for (int row = 0; row <= preview_cells; ++row) {
      for (int column = 0; column <= preview_cells; ++column) {
        const framework::FilmPoint at{first.x + column * step.x, first.y + row * step.y};
        const framework::Ray ray = map(camera.lens, film, camera.cached_pose_at(0.0), at, framework::LensPoint{});
        const double reach = preview_distance / framework::dot(ray.direction, ray.film_normal);
        framework::store(ray.position + ray.direction * reach,
                         surface[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)].data());
      }
    }
    return surface;
  }
};

using CameraPlugin = framework::CameraInstance<Camera>;

constexpr std::array panel_rows{
    framework::drawing_row<Lens>(0x8007),
    framework::version_row<Lens>(0x8003),
    framework::zoom_row(0x8000, &Lens::zoom_factor),
    framework::envelope_row(0x8001, "Distortion Power", "float-env", &Lens::distortion_power),
    framework::word_row(0x800A, "Auto Distortion Scale", "iBoolean", &Lens::auto_distortion_scale),
    framework::envelope_row(0x8002, "Distortion Scale", "float-env", &Lens::distortion_scale),
    framework::word_row(0x800B, "Parallel Film Normals", "iBoolean", &Lens::parallel_film_normals),
    framework::word_row(0x8008, "Preview in Camera View", "iBoolean", &Lens::preview_in_camera_view),
    framework::hidden_word_row(0x8009, &Lens::preview_grid),
};

LWXPanelDrawFunc PanelControlDrawFunc;

constexpr auto panel_hints =
    framework::hint_list(framework::no_focus(), framework::full_size(0x8007), framework::drawn_by(0x8007, PanelControlDrawFunc),
                         framework::divider_after(0x8003), framework::divider_after(0x8000), framework::divider_after(0x8002),
                         framework::sensitivity(0x8001), framework::sensitivity(0x8002));

#include "framework/camera_callbacks.inc"
#include "framework/lens_activation.inc"

}  // namespace FisheyeCam
