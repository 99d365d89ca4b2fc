#include "cameras/fisheye/fisheye_cam.h"

#include <algorithm>
#include <cmath>

#include "framework/camera_source.h"

constexpr framework::TagTable tagInfo9 = framework::tag_table("Quorin Fisheye Camera");

namespace FisheyeCam {

constexpr std::array parameters{
    framework::host_zoom_parameter(&Lens::zoom_factor),
    framework::parameter("FisheyePower", &Lens::distortion_power),
    framework::parameter("FisheyeScale", &Lens::distortion_scale),
};

constexpr std::array saved{
    framework::saved_envelope(&Lens::distortion_power),  framework::saved_envelope(&Lens::distortion_scale),
    framework::saved_word(&Lens::auto_distortion_scale), framework::saved_word(&Lens::preview_in_camera_view),
    framework::saved_word(&Lens::preview_grid),          framework::saved_word(&Lens::parallel_film_normals),
};

constexpr std::array preview_grids{"Ray Tracing Grid", "Line Matching Grid"};

using Row = framework::PanelRow<Lens>;
constexpr std::array panel{
    Row::logo(0x8007),
    Row::version(0x8003),
    Row::zoom(0x8000, &Lens::zoom_factor).divider(),
    Row::plain(0x8001, "Distortion Power", &Lens::distortion_power).sensitive(),
    Row::check_box(0x800A, "Auto Distortion Scale", &Lens::auto_distortion_scale),
    Row::plain(0x8002, "Distortion Scale", &Lens::distortion_scale).divider().sensitive(),
    Row::check_box(0x800B, "Parallel Film Normals", &Lens::parallel_film_normals),
    Row::check_box(0x8008, "Preview in Camera View", &Lens::preview_in_camera_view),
    Row::integer(0x8009, "Preview Grid", "iPopChoice", &Lens::preview_grid).hidden(),
};

constexpr framework::CameraTables<Lens> tables{.server_name = server.name,
                                               .description = "QuorinFisheyeCam Oct 28 2026 01:02:17",
                                               .flags = LWCAMFLAG_DEPTH_OF_FIELD,
                                               .parameters = parameters,
                                               .saved = saved,
                                               .panel = panel,
                                               .popup = framework::fixed_popup<preview_grids>};

/// The preview's surface: rays through a grid of film points, carried to a distance from the camera, in metres.
constexpr int preview_cells = 10;
constexpr double preview_distance = 10.0;

struct PreviewPass {
  float opacity;
  unsigned draw_mode;
};
constexpr std::array preview_passes{PreviewPass{0.3F, LWDRAWMODE_DEPTHTEST},
                                    PreviewPass{1.0F, LWDRAWMODE_DEPTHTEST | LWDRAWMODE_OUTLINE}};

constinit framework::HostServices services;

class CameraPlugin final : public framework::LensCamera<Lens> {
 public:
  explicit CameraPlugin(LWItemID item) : LensCamera(tables, services, item) {}

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* /*record*/) {
    return framework::store(ray_of(cached_pose_at(sample.time), sample.film, sample.lens), ray);
  }

  int project(const framework::WorldSample& sample, double* film, const LWCameraAccess& /*record*/) const {
    return framework::store(film_point(values, framework::film_of(access), in_camera(sample)), film);
  }

 private:
  using PreviewCorner = std::array<double, 3>;
  using PreviewSurface = std::array<std::array<PreviewCorner, preview_cells + 1>, preview_cells + 1>;

  framework::Ray ray_of(const framework::Pose& pose, framework::FilmPoint at, framework::LensPoint through) const {
    const framework::Vector toward = direction(values, framework::film_of(access), at);
    const framework::Vector offset = framework::lens_offset(values.lens_factor * toward.z, through);
    framework::Ray ray = framework::thin_lens_ray(pose, toward, values.focal_distance, offset);
    if (values.parallel_film_normals != 0) ray.film_normal = pose.forward;
    return ray;
  }

  /// The values of a frame are computed before its record is taken over, so the film of the first one is asked for here.
  void initialise() override {
    remember_film();
    values.lens_factor = 0.5 / readings().f_stop_now();
  }

  void before_frame(LWTime /*start*/) override {
    values.lens_factor = 0.5 / readings().f_stop_now();
    values.focal_distance = readings().focal_distance_now();
  }

  void read_values(LWTime time) override {
    LensCamera::read_values(time);
    if (values.auto_distortion_scale == 0) return;
    values.distortion_scale = corner_keeping_scale(framework::film_of(access), values.distortion_power);
    // For the panel to show.
    framework::set_envelope(host().vparmf, envelope(&Lens::distortion_scale), values.distortion_scale);
  }

  void draw_gizmo(LWCustomObjAccess& viewport) override {
    if (values.preview_in_camera_view == 0) return;
    auto surface = preview_surface();
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

  static bool is_finite(const PreviewCorner& corner) {
    return std::ranges::all_of(corner, [](double coordinate) { return std::isfinite(coordinate); });
  }

  PreviewSurface preview_surface() {
    using framework::rounded_to_single;
    const framework::Film film = framework::film_of(access);
    const framework::FilmPoint first{rounded_to_single(-film.half_width()), rounded_to_single(-film.half_height())};
    const framework::FilmPoint step{rounded_to_single(film.width / preview_cells),
                                    rounded_to_single(film.height / preview_cells)};
    PreviewSurface surface;
    for (int row = 0; row <= preview_cells; ++row) {
      for (int column = 0; column <= preview_cells; ++column) {
        const framework::FilmPoint at{first.x + column * step.x, first.y + row * step.y};
        const framework::Ray ray = ray_of(cached_pose_at(0.0), at, {});
        const double reach = preview_distance / framework::dot(ray.direction, ray.film_normal);
        framework::store(ray.position + ray.direction * reach,
                         surface[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)].data());
      }
    }
    return surface;
  }
};

#include "framework/lens_thunks.inc"

}  // namespace FisheyeCam
