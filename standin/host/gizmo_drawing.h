#pragma once

#include <array>
#include <string>
#include <vector>

#include "sdk/viewport.h"
#include "standin/host/guarded.h"
#include "standin/scene/vector.h"

namespace standin {

enum class GizmoShape { point, line, triangle, quad, circle };

/// One thing drawn into a viewport, with the colour and mode that were set at that moment.
struct GizmoElement {
  GizmoShape shape = GizmoShape::point;
  /// 1 to 4 corners; of a circle, its centre.
  std::vector<Vec3> points;
  double radius = 0.0;
  LWCoordinateSystem coordinate_system = LWCSYS_WORLD;
  std::array<float, 4> color{};
  unsigned draw_mode = 0;
};

/// Records a gizmo's drawing. Threads: one.
class GizmoDrawing {
 public:
  GizmoDrawing();
  GizmoDrawing(const GizmoDrawing&) = delete;
  GizmoDrawing& operator=(const GizmoDrawing&) = delete;

  /// What the gizmo's draw is given; the viewport's position can be set here.
  Guarded<LWCustomObjAccess> access;
  std::vector<GizmoElement> elements;
  /// The arguments of every setColor and setDrawMode, in order.
  std::vector<std::array<float, 4>> colors;
  std::vector<unsigned> draw_modes;
};

}  // namespace standin
