#include "cameras/skybox/skybox_cam.h"

#include <list>

#include "framework/camera.h"

namespace SkyboxCam {

struct Camera {
  static constexpr const char* server_name = "QuorinSkyboxCam";
  static constexpr const char* description = "QuorinSkyboxCam Oct 28 2026 01:03:10";
  static constexpr unsigned flags = 0;
};

constexpr std::array popup_choices{"Unfolded to Cross Shape", "Unfolded to Alternate Shape"};

/// What the layout diagram shows: that of the choice made last in any panel.
bool showCross = true;

/// One camera item with this handler. The frame's own record is all it needs: it has neither envelopes nor motion samples.
class CameraPlugin {
 public:
  struct Lens {
    std::uint32_t skybox_type = 0;
  };

  /// `item` is the camera's own item in the host's scene.
  explicit CameraPlugin(void* item) : access(framework::only_item(static_cast<LWItemID>(item))) { read_host_camera(); }
  CameraPlugin(const CameraPlugin&) = delete;
  CameraPlugin& operator=(const CameraPlugin& from) {
    if (this == &from) return *this;
    access = from.access;
    frame_info = from.frame_info;
    frame_grid = from.frame_grid;
    lens = from.lens;
    return *this;
  }

  void release() const;
  void load(const LWLoadState& state);
  void save(const LWSaveState& state) const { state.writeU4(state.writeData, &lens.skybox_type, 1); }
  void init_render(int mode) { render_mode = mode; }
  void clean_up() {}
  void new_time(LWFrame frame, LWTime time) {
    current_frame = frame;
    current_time = time;
  }
  void new_frame(const LWFrameInfo& frame, const LWCameraAccess& record);
  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* record) const;
  static int project_point(framework::LensPoint /*lens_point*/, framework::Vector /*world*/, double /*time*/,
                           LWCameraEye /*eye*/, double* /*film*/, const LWCameraAccess& /*record*/) {
    return 0;
  }
  static int preview(framework::LensPoint /*lens_point*/, LWCameraEye /*eye*/, double (* /*projection*/)[4]) { return 0; }
  void draw_gizmo(LWCustomObjAccess& /*access*/) {}

  static const framework::HostServices& host() { return framework::services<Camera>; }
  static LWVParmID envelope(double Lens::* /*value*/) { return nullptr; }

  LWCameraAccess access;
  LWFrameInfo frame_info{};
  int render_mode = 0;
  LWFrame current_frame = 0;
  LWTime current_time = 0.0;
  /// The grid is moved 0.95 of a pixel toward smaller film x and y, against the tile cameras' way: meant so.
  double split_x = 0.0;
  double split_y = 0.0;
  /// Always of the film in `access`.
  Grid frame_grid{framework::Film{}};
  Lens lens;
  /// Of the host's own camera, at its current time. No ray depends on them.
  double zoom_factor = 0.0;
  double f_stop = 0.0;

 private:
  void read_host_camera() {
    const framework::CameraReadings readings(host(), access.cameraID);
    zoom_factor = readings.zoom_factor_now();
    f_stop = readings.f_stop_now();
  }
};

/// A panel that the host has open over an instance, and the hint that asks for a word when it closes it; the host may keep
/// the hint's address for as long.
struct OpenPanel {
  const CameraPlugin* instance;
  LWXPanelID id;
  std::array<framework::HintWord, 4> closing_hint;
};
std::list<OpenPanel> open_panels;

void panel_opened(CameraPlugin* instance, LWXPanelID id);
void panel_closed(const CameraPlugin* instance) {
  open_panels.remove_if([&](const OpenPanel& panel) { return panel.instance == instance; });
}

constexpr std::array panel_rows{
    framework::drawing_row<CameraPlugin::Lens>(0x8000),
    framework::version_row<CameraPlugin::Lens>(0x8002),
    framework::drawing_row<CameraPlugin::Lens>(0x8012),
    framework::word_row(0x8006, "Skybox Type", "iPopChoice", &CameraPlugin::Lens::skybox_type),
};

LWXPanelDrawFunc PanelControlDrawFunc, PanelControlDrawFunc2;
LWXPanelPopCountFunc PanelPopCount;
LWXPanelPopNameFunc PanelPopName;

constexpr auto panel_hints = framework::hint_list(
    framework::no_focus(), framework::full_size(0x8000), framework::drawn_by(0x8000, PanelControlDrawFunc),
    framework::divider_after(0x8002), framework::full_size(0x8012), framework::drawn_by(0x8012, PanelControlDrawFunc2),
    framework::popup(0x8006, PanelPopCount, PanelPopName));

int popup_count(const CameraPlugin* /*instance*/) { return static_cast<int>(popup_choices.size()); }

const char* popup_name(const CameraPlugin* /*instance*/, int index) {
  return index == 0 || index == 1 ? popup_choices[static_cast<std::size_t>(index)] : "";
}

void set_panel_value(CameraPlugin& camera, const decltype(panel_rows)& rows, std::uint32_t id, const void* value) {
  framework::set_panel_value(camera, rows, id, value);
  if (id == 0x8006) showCross = camera.lens.skybox_type == 0;
}

using framework::panel_value;

#include "framework/evaluation.inc"

OVICAM_EXPORT int CameraHandler(int version, GlobalFunc* global, void* local, void* server_data) {
  return framework::activate_handler(framework::services<Camera>, handler_callbacks, version, global, local, server_data);
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
  if (xpanf == nullptr || xpanf->drawf == nullptr) return;
  const LWXPDrawFuncs& draw = *xpanf->drawf;
  draw.drawRGBBox(area, 0, 0, 0, 0, 0, width, height);
  for (const Point& square : showCross ? cross_squares : alternate_squares) {
    draw.drawRGBBox(area, 150, 150, 150, square.x, square.y, 40, 40);
  }
  for (const Line& line : showCross ? cross_lines : alternate_lines) {
    draw.drawLine(area, 0, line.from.x, line.from.y, line.to.x, line.to.y);
  }
}

void panel_opened(CameraPlugin* instance, LWXPanelID id) {
  if (instance == nullptr || id == nullptr) return;
  panel_closed(instance);
  try {
    open_panels.push_back({instance, id, {}});
  } catch (const std::bad_alloc&) {
    return;  // The panel is as good, but does not follow what is loaded.
  }
  auto& hint = open_panels.back().closing_hint;
  hint = framework::hint_list(framework::hint(LWXPTAG_DESTROYNOTIFY, OnPanelDestroy, instance));
  framework::give_hints(xpanf, id, hint.data());
}

void CameraPlugin::release() const { panel_closed(this); }

void CameraPlugin::load(const LWLoadState& state) {
  state.readU4(state.readData, &lens.skybox_type, 1);
  for (const OpenPanel& panel : open_panels) {
    if (panel.instance == this && xpanf != nullptr) xpanf->viewRefresh(panel.id);
  }
}

void CameraPlugin::new_frame(const LWFrameInfo& frame, const LWCameraAccess& record) {
  const auto [width, height] = framework::CameraReadings(host(), record.cameraID).resolution();
  split_x = -0.95 / width * record.filmSize[0];
  split_y = -0.95 / height * record.filmSize[1];
  frame_info = frame;
  access = record;
  frame_grid = Grid(framework::film_of(record));
  read_host_camera();
}

int CameraPlugin::evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* record) const {
  if (record == nullptr) return LWCAMEVAL_NONE;
  using framework::to_vector;
  const Box box{split_x,
                split_y,
                Layout{lens.skybox_type},
                to_vector(record->worldPos),
                {to_vector(record->toWorld[0]), to_vector(record->toWorld[1]), to_vector(record->toWorld[2])}};
  const framework::Film film = framework::film_of(*record);
  // The frame's own film nearly always, whose grid is at hand.
  const bool of_frame = film.width == access.filmSize[0] && film.height == access.filmSize[1];
  const std::optional<framework::Ray> found = map(box, film, of_frame ? frame_grid : Grid(film), sample.film);
  if (!found) return LWCAMEVAL_NONE;
  framework::store(*found, ray);
  return LWCAMEVAL_RAY;
}

}  // namespace SkyboxCam
