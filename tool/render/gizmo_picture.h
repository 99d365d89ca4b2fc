#pragma once

#include <filesystem>
#include <optional>
#include <span>

#include "standin/host/gizmo_drawing.h"
#include "standin/scene/scene.h"
#include "tool/output/png_file.h"
#include "tool/render/scene_layers.h"

namespace tool {

/// The position of a viewport's eye, and the point in the middle of the view.
struct ViewLine {
  standin::Vec3 from;
  standin::Vec3 at;
};

/// From above and behind the camera, far enough away to see it and what its gizmo draws.
ViewLine view_of_gizmo(const standin::ItemPose& camera, std::span<const standin::GizmoElement> elements);

/// What a perspective viewport shows at one moment.
struct GizmoView {
  const standin::Scene& scene;
  std::span<const PlacedLayer> layers;
  const standin::Item& camera;
  std::span<const standin::GizmoElement> elements;
  ViewLine line;
  double time_seconds = 0.0;
  int width = 0;
  int height = 0;
};

/// Draws the scene's edges, the camera, and over them what its gizmo drew, into a PNG. Failure to write throws
/// std::runtime_error. Threads: one.
void write_gizmo_picture(const GizmoView& view, const std::filesystem::path& name);
/// The same into memory or wherever else the bytes of the PNG go.
void write_gizmo_picture(const GizmoView& view, const PngWriter::Sink& to);

}  // namespace tool
