#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "cameras/multiview/multicam_flag.h"
#include "cameras/multiview/tile_grid.h"
#include "framework/camera.h"

/// Cameras that divide the frame into tiles, each showing the centre of another camera's view through the host's evaluator of
/// that camera.
namespace multiview {

inline constexpr std::uint32_t first_tile_control = 0x8006;

/// One camera item with such a handler. `Camera` says what differs: its `grid`, and one panel row for each tile.
///
/// Threads: evaluation and projection from any number at once; everything else from one at a time, with no evaluation
/// meanwhile. Nothing throws but the constructor and copying.
template <class Camera>
class TileInstance {
 public:
  static constexpr std::size_t tile_count = Camera::grid.tile_count;

  /// `item` is the camera's own item in the host's scene.
  explicit TileInstance(void* item) : self(static_cast<LWItemID>(item)) {
    bMulticamActive = false;
    bMulticamActive = true;
  }
  ~TileInstance() { bMulticamActive = false; }
  TileInstance(const TileInstance&) = delete;

  /// Takes over the choices; evaluators are made again when a render begins. Those held until now are let go without being
  /// destroyed, which the host expects no sooner than with the instance.
  TileInstance& operator=(const TileInstance& from) {
    if (this == &from) return *this;
    retired_evaluators.reserve(retired_evaluators.size() + tile_count);
    tile_index = from.tile_index;
    for (LWCameraEvaluatorID& evaluator : tile_evaluator) {
      if (evaluator != nullptr) retired_evaluators.push_back(evaluator);
      evaluator = nullptr;
    }
    return *this;
  }

  void release() {
    for (std::size_t tile = 0; tile < tile_count; ++tile) destroy_evaluator(tile);
    if (service() != nullptr) {
      for (const LWCameraEvaluatorID evaluator : retired_evaluators) service()->destroy(evaluator);
    }
    retired_evaluators.clear();
  }

  void load(const LWLoadState& state) {
    for (std::uint32_t& index : tile_index) state.readU4(state.readData, &index, 1);
  }

  void save(const LWSaveState& state) const {
    for (const std::uint32_t& index : tile_index) state.writeU4(state.writeData, &index, 1);
  }

  void init_render(int mode);
  void clean_up() {
    for_each_evaluator([&](LWCameraEvaluatorID evaluator) { service()->cleanUp(evaluator); });
  }

  void new_time(LWFrame frame, LWTime time) {
    current_frame = frame;
    current_time = time;
    for_each_evaluator([&](LWCameraEvaluatorID evaluator) { service()->newTime(evaluator, frame, time); });
  }

  void new_frame(const LWFrameInfo& frame, const LWCameraAccess& record);

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* record) const;
  int project_point(framework::LensPoint lens_point, framework::Vector world, double time, LWCameraEye eye, double* film,
                    const LWCameraAccess& record) const;

  /// Every camera's preview goes into the same matrix: the last one stands.
  int preview(framework::LensPoint lens_point, LWCameraEye eye, double (*projection)[4]) {
    int result = 0;
    for_each_evaluator([&](LWCameraEvaluatorID evaluator) {
      result = service()->preview(evaluator, lens_point.x, lens_point.y, eye, projection);
    });
    return result;
  }

  void draw_gizmo(LWCustomObjAccess& /*access*/) {}

  /// The panel's choice for a tile: n for the n-th other camera; anything else, and a refusal, is "(none)".
  void choose(std::size_t tile, std::uint32_t index);

  /// The camera that a choice names, or null.
  LWItemID chosen_item(std::uint32_t index) const {
    // Counted from 0 before it becomes signed: a scene file may hold any word.
    return framework::scene_item(host().iteminfo, LWI_CAMERA, static_cast<int>(index - 1), self);
  }

  static const framework::HostServices& host() { return framework::services<Camera>; }
  static const LWCameraEvaluationFuncs* service() { return host().camevalfuncs; }

  /// The camera item of this instance; never changes.
  LWItemID self;
  LWCameraAccess access{};
  LWFrameInfo frame_info{};
  int render_mode = 0;
  LWFrame current_frame = 0;
  LWTime current_time = 0.0;
  std::array<LWItemID, tile_count> tile_item{};
  std::array<LWCameraEvaluatorID, tile_count> tile_evaluator{};
  std::vector<LWCameraEvaluatorID> retired_evaluators;
  /// The split lines lie just under a pixel from the film's centre lines, metres.
  double split_x = 0.0;
  double split_y = 0.0;
  /// 0: none; n: the n-th camera of the scene but this one.
  std::array<std::uint32_t, tile_count> tile_index{};

 private:
  template <class Use>
  void for_each_evaluator(Use use) const {
    if (service() == nullptr) return;
    for (const LWCameraEvaluatorID evaluator : tile_evaluator) {
      if (evaluator != nullptr) use(evaluator);
    }
  }

  void destroy_evaluator(std::size_t tile) {
    if (tile_evaluator[tile] != nullptr && service() != nullptr) service()->destroy(tile_evaluator[tile]);
    tile_evaluator[tile] = nullptr;
  }

  void create_evaluator(std::size_t tile) {
    if (service() == nullptr) return;
    tile_evaluator[tile] = service()->create(tile_item[tile]);
    if (tile_evaluator[tile] != nullptr) service()->init(tile_evaluator[tile], LWRM_PREVIEW);
  }
};

template <class Camera>
void TileInstance<Camera>::init_render(int mode) {
  render_mode = mode;
  for (std::size_t tile = 0; tile < tile_count; ++tile) {
    tile_item[tile] = chosen_item(tile_index[tile]);
    destroy_evaluator(tile);
    if (tile_item[tile] != nullptr) create_evaluator(tile);
  }
  for_each_evaluator([&](LWCameraEvaluatorID evaluator) { service()->init(evaluator, mode); });
}

template <class Camera>
void TileInstance<Camera>::choose(std::size_t tile, std::uint32_t index) {
  tile_index[tile] = index;
  tile_item[tile] = chosen_item(index);
  destroy_evaluator(tile);
  if (tile_item[tile] != nullptr && self != nullptr) {
    create_evaluator(tile);
  } else {
    tile_index[tile] = 0;
  }
}

template <class Camera>
void TileInstance<Camera>::new_frame(const LWFrameInfo& frame, const LWCameraAccess& record) {
  const auto [width, height] = framework::CameraReadings(host(), record.cameraID).resolution();
  split_x = 0.95 / width * record.filmSize[0];
  split_y = 0.95 / height * record.filmSize[1];
  frame_info = frame;
  access = record;
  for_each_evaluator([&](LWCameraEvaluatorID evaluator) {
    service()->newTime(evaluator, current_frame, current_time);
    service()->newFrame(evaluator);
  });
}

template <class Camera>
int TileInstance<Camera>::evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* record) const {
  if (service() == nullptr || record == nullptr) return LWCAMEVAL_NONE;
  const auto [width, height] = framework::film_of(*record);
  const auto& [rows, columns] = Camera::grid;
  const std::size_t row = rows.band_of(sample.film.y, split_y, height);
  const std::size_t column = columns.band_of(sample.film.x, split_x, width);
  const LWCameraEvaluatorID evaluator = tile_evaluator[row * columns.shifts.size() + column];
  if (evaluator == nullptr) return LWCAMEVAL_NONE;
  return service()->evaluate(evaluator, sample.film.x + columns.shifts[column].of(width),
                             sample.film.y + rows.shifts[row].of(height), sample.lens.x, sample.lens.y, sample.time, sample.eye,
                             &ray);
}

template <class Camera>
int TileInstance<Camera>::project_point(framework::LensPoint lens_point, framework::Vector world, double time, LWCameraEye eye,
                                        double* film, const LWCameraAccess& record) const {
  if (service() == nullptr) return 0;
  const auto [width, height] = framework::film_of(record);
  const auto& [rows, columns] = Camera::grid;
  const double point[3] = {world.x, world.y, world.z};
  for (std::size_t tile = 0; tile < tile_count; ++tile) {
    double seen[3] = {};
    if (tile_evaluator[tile] == nullptr ||
        service()->project(tile_evaluator[tile], lens_point.x, lens_point.y, point, time, eye, seen) != 1) {
      continue;
    }
    const std::size_t row = Camera::grid.row_of(tile);
    const std::size_t column = Camera::grid.column_of(tile);
    const double x = seen[0] - columns.shifts[column].of(width);
    const double y = seen[1] - rows.shifts[row].of(height);
    if (columns.band_of(x, split_x, width) != column || rows.band_of(y, split_y, height) != row) continue;
    framework::store(framework::Vector{x, y, 0.0}, film);
    return 1;
  }
  return 0;
}

/// A tile's row in the panel.
struct TileRow {
  const char* data_name;
  const char* label;
};

/// Panel rows of a tile camera: logo, version, and one popup for each tile.
template <std::size_t Tiles>
struct TilePanel {
  std::array<TileRow, Tiles> tiles;
};

template <std::size_t Tiles>
constexpr auto panel_controls(const TilePanel<Tiles>& panel) {
  std::array<LWXPanelControl, Tiles + 3> controls{{{0x8000, "Logo", "dThumbnail"}, {0x8002, "Version", "sInfo"}}};
  for (std::uint32_t i = 0; i < Tiles; ++i) controls[i + 2] = {first_tile_control + i, panel.tiles[i].label, "iPopChoice"};
  return controls;
}

template <std::size_t Tiles>
constexpr auto panel_data(const TilePanel<Tiles>& panel) {
  std::array<LWXPanelDataDesc, Tiles + 2> data{{{0x8002, "Version", "string"}}};
  for (std::uint32_t i = 0; i < Tiles; ++i) data[i + 1] = {first_tile_control + i, panel.tiles[i].data_name, "integer"};
  return data;
}

template <std::size_t Tiles>
constexpr auto panel_hints_of(const TilePanel<Tiles>& /*panel*/, LWXPanelDrawFunc* draw, LWXPanelPopCountFunc* count,
                              LWXPanelPopNameFunc* name) {
  return [&]<std::size_t... Tile>(std::index_sequence<Tile...>) {
    return framework::hint_list(framework::no_focus(), framework::full_size(0x8000), framework::drawn_by(0x8000, draw),
                                framework::divider_after(0x8002),
                                framework::popup(first_tile_control + static_cast<std::int64_t>(Tile), count, name)...);
  }
  (std::make_index_sequence<Tiles>());
}

template <class Camera, class Rows>
void* panel_value(TileInstance<Camera>& camera, const Rows& /*rows*/, std::uint32_t id) {
  if (id == 0x8002) return const_cast<char*>(framework::version_text);
  const std::uint32_t tile = id - first_tile_control;
  return tile < camera.tile_count ? &camera.tile_index[tile] : nullptr;
}

template <class Camera, class Rows>
void set_panel_value(TileInstance<Camera>& camera, const Rows& /*rows*/, std::uint32_t id, const void* value) {
  const std::uint32_t tile = id - first_tile_control;
  if (tile < camera.tile_count) camera.choose(tile, *static_cast<const std::uint32_t*>(value));
}

template <class Camera>
int popup_count(const TileInstance<Camera>* camera) {
  return camera != nullptr ? framework::item_popup_count(camera->host().iteminfo, LWI_CAMERA, camera->self) : 1;
}

template <class Camera>
const char* popup_name(const TileInstance<Camera>* camera, int index) {
  return camera != nullptr ? framework::item_popup_name(camera->host().iteminfo, LWI_CAMERA, index, camera->self) : "(none)";
}

}  // namespace multiview
