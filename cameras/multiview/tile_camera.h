#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "cameras/multiview/multicam_flag.h"
#include "cameras/multiview/tile_grid.h"
#include "framework/camera_source.h"

/// Cameras that divide the frame into tiles, each showing the centre of another camera's view through the host's evaluator of
/// that camera.
namespace multiview {

inline constexpr std::uint32_t first_tile_control = 0x8006;

/// 0: none; n: the n-th camera of the scene but this one.
template <std::size_t tile_count>
struct TileChoices {
  std::array<std::uint32_t, tile_count> camera{};
};

/// A popup of a tile's panel; the camera answers for its value.
template <std::size_t tile_count>
constexpr framework::PanelRow<TileChoices<tile_count>> tile_popup(std::size_t tile, const char* label,
                                                                  const char* data_name = nullptr) {
  using Row = framework::PanelRow<TileChoices<tile_count>>;
  Row row = Row::popup(first_tile_control + static_cast<std::uint32_t>(tile), label, nullptr);
  row.binding = Row::Binding::none;
  return data_name != nullptr ? row.data(data_name) : row;
}

/// The panel of a camera whose tiles are called by their row and column: the mark, the version, and a popup for each tile.
template <std::size_t tile_count>
constexpr auto tile_panel(const std::array<const char*, tile_count>& labels) {
  using Row = framework::PanelRow<TileChoices<tile_count>>;
  std::array<Row, tile_count + 2> panel{Row::logo(0x8000), Row::version(0x8002)};
  for (std::size_t tile = 0; tile < tile_count; ++tile) panel[tile + 2] = tile_popup<tile_count>(tile, labels[tile]);
  return panel;
}

/// What the tables of every such camera have in common.
template <std::size_t tile_count>
constexpr framework::CameraTables<TileChoices<tile_count>> tile_tables(
    const char* server_name, const char* description, std::span<const framework::PanelRow<TileChoices<tile_count>>> panel) {
  return {.server_name = server_name,
          .description = description,
          .flags = LWCAMFLAG_DEPTH_OF_FIELD,
          .looks_through_other_cameras = true,
          .parameters = {},
          .saved = {},
          .panel = panel,
          .popup = framework::other_cameras_popup};
}

/// One camera item with such a handler. `grid` is a TileGrid.
template <const auto& grid>
class TileCamera : public framework::SettingsCamera<TileChoices<grid.tile_count>> {
 public:
  static constexpr std::size_t tile_count = grid.tile_count;
  using Base = framework::SettingsCamera<TileChoices<tile_count>>;
  using Base::access, Base::current_frame, Base::current_time, Base::host, Base::own_item, Base::render_mode, Base::values;

  using Base::Base;
  ~TileCamera() override { bMulticamActive = false; }

  /// Takes over the choices; evaluators are made again when a render begins. Those held until now are let go without being
  /// destroyed, which the host expects no sooner than with the instance.
  void copy_from(const TileCamera& from) {
    if (this == &from) return;
    retired_evaluators_.reserve(retired_evaluators_.size() + tile_count);
    values = from.values;
    for (LWCameraEvaluatorID& evaluator : evaluators_) {
      if (evaluator != nullptr) retired_evaluators_.push_back(evaluator);
      evaluator = nullptr;
    }
  }

  int evaluate(const framework::Sample& sample, LWCameraRay& ray, const LWCameraAccess* record) const {
    if (service() == nullptr || record == nullptr) return LWCAMEVAL_NONE;
    const auto [width, height] = framework::film_of(*record);
    const std::optional<std::size_t> row = grid.rows.band_of(sample.film.y, split_y_, height, grid.rays_compare);
    const std::optional<std::size_t> column = grid.columns.band_of(sample.film.x, split_x_, width, grid.rays_compare);
    if (!row || !column) return LWCAMEVAL_NONE;
    const LWCameraEvaluatorID evaluator = evaluators_[*row * grid.columns.shifts.size() + *column];
    if (evaluator == nullptr) return LWCAMEVAL_NONE;
    return service()->evaluate(evaluator, sample.film.x + grid.columns.shifts[*column].of(width),
                               sample.film.y + grid.rows.shifts[*row].of(height), sample.lens.x, sample.lens.y, sample.time,
                               sample.eye, &ray);
  }

  int project(const framework::WorldSample& sample, double* film, const LWCameraAccess& record) const;

 private:
  static_assert(std::is_trivially_copyable_v<TileChoices<tile_count>>);

  const LWCameraEvaluationFuncs* service() const { return host().camevalfuncs; }

  void initialise() final {
    bMulticamActive = false;
    bMulticamActive = true;
  }

  void load(const LWLoadState& state) final {
    for (std::uint32_t& choice : values.camera) state.readU4(state.readData, &choice, 1);
  }

  void save(const LWSaveState& state) const final {
    for (const std::uint32_t& choice : values.camera) state.writeU4(state.writeData, &choice, 1);
  }

  /// On destruction; a copy keeps what it held in its own way.
  void forget() final {
    for (std::size_t tile = 0; tile < tile_count; ++tile) destroy_evaluator(tile);
    if (service() != nullptr)
      for (const LWCameraEvaluatorID evaluator : retired_evaluators_) service()->destroy(evaluator);
    retired_evaluators_.clear();
  }

  void before_render() final {
    for (std::size_t tile = 0; tile < tile_count; ++tile) {
      items_[tile] = chosen_item(values.camera[tile]);
      destroy_evaluator(tile);
      if (items_[tile] != nullptr) create_evaluator(tile);
    }
    for_each_evaluator([&](LWCameraEvaluatorID evaluator) { service()->init(evaluator, render_mode); });
  }

  void after_render() final {
    for_each_evaluator([&](LWCameraEvaluatorID evaluator) { service()->cleanUp(evaluator); });
  }

  void after_time() final {
    for_each_evaluator([&](LWCameraEvaluatorID evaluator) { service()->newTime(evaluator, current_frame, current_time); });
  }

  void begin_frame(const LWFrameInfo& frame, const LWCameraAccess& record) final {
    const auto [width, height] = framework::CameraReadings(host(), record.cameraID).resolution();
    split_x_ = 0.95 / width * record.filmSize[0];
    split_y_ = 0.95 / height * record.filmSize[1];
    this->NewFrame(&frame, &record);
    for_each_evaluator([&](LWCameraEvaluatorID evaluator) {
      service()->newTime(evaluator, current_frame, current_time);
      service()->newFrame(evaluator);
    });
  }

  /// Every camera's preview goes into the same matrix: the last one stands.
  int preview(framework::LensPoint lens, LWCameraEye eye, double (*projection)[4]) final {
    int result = 0;
    for_each_evaluator(
        [&](LWCameraEvaluatorID evaluator) { result = service()->preview(evaluator, lens.x, lens.y, eye, projection); });
    return result;
  }

  void* panel_value(std::uint32_t id) final {
    const std::uint32_t tile = id - first_tile_control;
    return tile < tile_count ? &values.camera[tile] : Base::panel_value(id);
  }

  /// A choice for a tile: n for the n-th other camera; anything else, and a refusal, is "(none)".
  void set_panel_value(std::uint32_t id, const void* value) final {
    const std::uint32_t tile = id - first_tile_control;
    if (tile >= tile_count) return;
    values.camera[tile] = *static_cast<const std::uint32_t*>(value);
    items_[tile] = chosen_item(values.camera[tile]);
    destroy_evaluator(tile);
    if (items_[tile] != nullptr && own_item != nullptr)
      create_evaluator(tile);
    else
      values.camera[tile] = 0;
  }

  /// The camera that a choice names, or null. Counted from 0 before it becomes signed: a scene file may hold any word.
  LWItemID chosen_item(std::uint32_t choice) const {
    return framework::scene_item(host().iteminfo, LWI_CAMERA, static_cast<int>(choice - 1), own_item);
  }

  template <class Use>
  void for_each_evaluator(Use use) const {
    if (service() == nullptr) return;
    for (const LWCameraEvaluatorID evaluator : evaluators_)
      if (evaluator != nullptr) use(evaluator);
  }

  void destroy_evaluator(std::size_t tile) {
    if (evaluators_[tile] != nullptr && service() != nullptr) service()->destroy(evaluators_[tile]);
    evaluators_[tile] = nullptr;
  }

  void create_evaluator(std::size_t tile) {
    if (service() == nullptr) return;
    evaluators_[tile] = service()->create(items_[tile]);
    if (evaluators_[tile] != nullptr) service()->init(evaluators_[tile], LWRM_PREVIEW);
  }

  std::array<LWItemID, tile_count> items_{};
  /// Owned.
  std::array<LWCameraEvaluatorID, tile_count> evaluators_{};
  std::vector<LWCameraEvaluatorID> retired_evaluators_;
  /// The split lines lie just under a pixel from the film's centre lines, metres.
  double split_x_ = 0.0;
  double split_y_ = 0.0;
};

template <const auto& grid>
int TileCamera<grid>::project(const framework::WorldSample& sample, double* film, const LWCameraAccess& record) const {
  if (service() == nullptr) return 0;
  const auto [width, height] = framework::film_of(record);
  const double point[3] = {sample.world.x, sample.world.y, sample.world.z};
  for (std::size_t tile = 0; tile < tile_count; ++tile) {
    double seen[3] = {};
    if (evaluators_[tile] == nullptr ||
        service()->project(evaluators_[tile], sample.lens.x, sample.lens.y, point, sample.time, sample.eye, seen) != 1) {
      continue;
    }
    const std::size_t row = grid.row_of(tile);
    const std::size_t column = grid.column_of(tile);
    const double x = seen[0] - grid.columns.shifts[column].of(width);
    const double y = seen[1] - grid.rows.shifts[row].of(height);
    if (grid.columns.band_of(x, split_x_, width, grid.projections_compare) != column ||
        grid.rows.band_of(y, split_y_, height, grid.projections_compare) != row) {
      continue;
    }
    framework::store(framework::Vector{x, y, 0.0}, film);
    return 1;
  }
  return 0;
}

}  // namespace multiview
