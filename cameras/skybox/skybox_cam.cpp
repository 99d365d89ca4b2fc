#include "cameras/skybox/skybox_cam.h"

#include <list>

#include "framework/camera_source.h"

constexpr framework::TagTable tagInfo5 = framework::tag_table("Quorin Skybox Camera");

namespace SkyboxCam {

struct Settings {
  /// A `Layout`.
  std::uint32_t skybox_type = 0;
};

constexpr std::array saved{framework::saved_word(&Settings::skybox_type)};

constexpr std::array layouts{"Unfolded to Cross Shape", "Unfolded to Alternate Shape"};
constexpr std::uint32_t layout_control = 0x8006;

LWXPanelDrawFunc PanelControlDrawFunc2;
LWXPanelDestroyFunc OnPanelDestroy;

using Row = framework::PanelRow<Settings>;
constexpr std::array panel{
    Row::logo(0x8000),
    Row::version(0x8002),
    Row::drawing(0x8012, PanelControlDrawFunc2),
    Row::popup(layout_control, "Skybox Type", &Settings::skybox_type),
};

void panel_closed(const void* closed);

constexpr framework::CameraTables<Settings> tables{.server_name = server.name,
                                                   .description = "QuorinSkyboxCam Oct 28 2026 01:03:10",
                                                   .parameters = {},
                                                   .saved = saved,
                                                   .panel = panel,
                                                   .popup = framework::fixed_popup<layouts>,
                                                   .panel_closed = panel_closed};

constinit framework::HostServices services;

/// What the layout diagram shows: that of the choice made last in any panel.
bool showCross = true;

/// A place for a panel that the host has open over an instance. The host may keep the address of the hint that asks for a word
/// when it closes the panel, so a place is never given back, and its hint never changes: another panel takes it over later.
struct PanelPlace {
  /// Null: free, or the instance is gone and its panel not yet closed.
  const void* instance = nullptr;
  /// Null: free.
  LWXPanelID panel = nullptr;
  /// Counts the panels that have been opened.
  std::uint64_t serial = 0;
  std::array<framework::HintWord, 4> closing_hint{{framework::HintWord(std::int64_t{LWXPTAG_DESTROYNOTIFY}),
                                                   framework::HintWord(OnPanelDestroy),
                                                   framework::HintWord(static_cast<void*>(this))}};
};
std::list<PanelPlace> panel_places;
std::uint64_t panels_opened = 0;

/// Null when there is no memory.
PanelPlace* free_panel_place() {
  for (PanelPlace& place : panel_places)
    if (place.panel == nullptr) return &place;
  try {
    return &panel_places.emplace_back();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

/// The panel of a place is no more; what is no place is somebody else's.
void panel_closed(const void* closed) {
  for (PanelPlace& place : panel_places) {
    if (&place != closed) continue;
    place.instance = nullptr;
    place.panel = nullptr;
  }
}

/// Shows the panels of an instance its new values. Meanwhile the host may close panels, and open others, which show them
/// anyway.
void refresh_panels(const void* instance) {
  const std::uint64_t last = panels_opened;
  for (const PanelPlace& place : panel_places)
    if (place.instance == instance && place.serial <= last && services.xpanf != nullptr)
      services.xpanf->viewRefresh(place.panel);
}

/// A panel can stay open when its instance is deleted, and another instance can get the same address.
void forget_instance(const void* instance) {
  for (PanelPlace& place : panel_places)
    if (place.instance == instance) place.instance = nullptr;
}

/// The frame's own record is all that this camera needs: it has neither envelopes nor motion samples.
class CameraPlugin final : public framework::SettingsCamera<Settings> {
 public:
  explicit CameraPlugin(LWItemID item) : SettingsCamera(tables, services, item) {}
  ~CameraPlugin() override { forget_instance(this); }

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* record) const {
    if (record == nullptr) return LWCAMEVAL_NONE;
    const framework::Film film = framework::film_of(*record);
    // The frame's own film nearly always, whose grid is at hand.
    const bool of_frame = film.width == access.filmSize[0] && film.height == access.filmSize[1];
    const std::optional<FaceView> view =
        face_view({split_x_, split_y_, Layout{values.skybox_type}}, of_frame ? frame_grid_ : Grid(film), sample.film);
    if (!view) return LWCAMEVAL_NONE;
    const FaceRows rows = rows_of(*view->face, [&](std::size_t i) { return framework::to_vector(record->toWorld[i]); });
    return evaluate_perspective(view->on_face, rows, ray, *record);
  }

  /// The ray of a position on one face.
  static int evaluate_perspective(framework::FilmPoint on_face, const FaceRows& rows, LWCameraRay& ray,
                                  const LWCameraAccess& record) {
    return framework::store(perspective_ray(framework::to_vector(record.worldPos), rows, record.filmSize[1], on_face), ray);
  }

  // As those of every camera. NOLINTNEXTLINE(readability-convert-member-functions-to-static)
  int project(const framework::WorldSample& /*sample*/, double* /*film*/, const LWCameraAccess& /*record*/) const { return 0; }

 private:
  void initialise() override { read_host_camera(); }

  void after_load() override { refresh_panels(this); }

  void after_copy(const Camera& /*from*/) override { frame_grid_ = Grid(framework::film_of(access)); }

  void begin_frame(const LWFrameInfo& frame, const LWCameraAccess& record) override {
    const auto [width, height] = framework::CameraReadings(host(), record.cameraID).resolution();
    split_x_ = -0.95 / width * record.filmSize[0];
    split_y_ = -0.95 / height * record.filmSize[1];
    NewFrame(&frame, &record);
    frame_grid_ = Grid(framework::film_of(record));
    read_host_camera();
  }

  /// Without a place for it the panel is as good, but does not follow what is loaded.
  void panel_opened(LWXPanelID id) override {
    PanelPlace* place = free_panel_place();
    if (place == nullptr) return;
    place->instance = this;
    place->panel = id;
    place->serial = ++panels_opened;
    framework::give_hints(services.xpanf, id, place->closing_hint.data());
  }

  void set_panel_value(std::uint32_t id, const void* value) override {
    SettingsCamera::set_panel_value(id, value);
    if (id == layout_control) showCross = values.skybox_type == 0;
  }

  void read_host_camera() {
    zoom_factor_ = readings().zoom_factor_now();
    f_stop_ = readings().f_stop_now();
  }

  /// The grid is moved 0.95 of a pixel toward smaller film x and y, against the tile cameras' way: pictures are laid out so.
  double split_x_ = 0.0;
  double split_y_ = 0.0;
  /// Always of the film in `access`.
  Grid frame_grid_{framework::Film{}};
  /// Of the host's own camera, at its current time. No ray depends on them.
  double zoom_factor_ = 0.0;
  double f_stop_ = 0.0;
};

#include "framework/camera_thunks.inc"

/// The ray of a film position: evaluation bits, or 0 for none, and then the ray is untouched. Threads: any.
[[gnu::flatten]] OVICAM_EXPORT int C_Evaluate(LWInstance instance, double film_x, double film_y, double lens_x, double lens_y,
                                              double fractional_time, LWCameraEye eye, LWCameraRay* ray,
                                              const LWCameraAccess* access) {
  return Callbacks::evaluate(instance, {{film_x, film_y}, {lens_x, lens_y}, fractional_time, eye}, ray, access);
}

/// The ray of a face for a position on its own film, metres from the face's centre. `a`, `b` and `c` are the rows that turn a
/// direction of the face's space into one of the world. 1, or 0 without one of the arguments, and then the ray is untouched.
/// Threads: any.
OVICAM_EXPORT int C_Evaluate_Perspective(LWInstance instance, double x, double y, const LWDVector a, const LWDVector b,
                                         const LWDVector c, LWCameraRay* ray, const LWCameraAccess* access) {
  if (instance == nullptr || a == nullptr || b == nullptr || c == nullptr || ray == nullptr || access == nullptr)
    return LWCAMEVAL_NONE;
  using framework::to_vector;
  return CameraPlugin::evaluate_perspective({x, y}, {to_vector(a), to_vector(b), to_vector(c)}, *ray, *access);
}

OVICAM_EXPORT int CameraHandler(int version, GlobalFunc* global, void* local, void* server_data) {
  return Callbacks::activate(handler_with(C_Evaluate), {version, global, local, server_data});
}

/// The layout diagram in the panel: a grey square for each face, and the outline of the front face's neighbours.
OVICAM_EXPORT void PanelControlDrawFunc2(LWXPanelID /*panel*/, std::uint32_t /*control*/, void* area, int width, int height) {
  struct Point {
    int x;
    int y;
  };
  struct Line {
    Point from;
    Point to;
  };
  static constexpr std::array<Point, 6> cross_squares{{{120, 14}, {80, 54}, {120, 54}, {160, 54}, {200, 54}, {120, 94}}};
  static constexpr std::array<Point, 6> alternate_squares{{{200, 14}, {80, 54}, {120, 54}, {160, 54}, {200, 54}, {120, 94}}};
  static constexpr std::array<Line, 5> cross_lines{
      {{{119, 53}, {119, 94}}, {{119, 94}, {160, 94}}, {{160, 94}, {160, 53}}, {{160, 53}, {119, 53}}, {{199, 53}, {199, 94}}}};
  static constexpr std::array<Line, 5> alternate_lines{
      {{{119, 53}, {119, 94}}, {{119, 94}, {160, 94}}, {{160, 94}, {160, 53}}, {{199, 53}, {199, 94}}, {{199, 53}, {240, 53}}}};
  if (services.xpanf == nullptr || services.xpanf->drawf == nullptr) return;
  const LWXPDrawFuncs& draw = *services.xpanf->drawf;
  draw.drawRGBBox(area, 0, 0, 0, 0, 0, width, height);
  for (const Point& square : showCross ? cross_squares : alternate_squares)
    draw.drawRGBBox(area, 150, 150, 150, square.x, square.y, 40, 40);
  for (const Line& line : showCross ? cross_lines : alternate_lines)
    draw.drawLine(area, 0, line.from.x, line.from.y, line.to.x, line.to.y);
}

}  // namespace SkyboxCam
