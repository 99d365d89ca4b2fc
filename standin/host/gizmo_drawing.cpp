#include "standin/host/gizmo_drawing.h"

#include <algorithm>
#include <initializer_list>

#include "standin/host/services.h"

namespace standin {
namespace {

void draw(void* data, GizmoShape shape, std::initializer_list<const double*> points, double radius, int csys) {
  auto& drawing = *static_cast<GizmoDrawing*>(data);
  if (csys < LWCSYS_WORLD || csys > LWCSYS_VIEWPORT)
    violation("LWCustomObjAccess", "the coordinate system " + std::to_string(csys) + " is not one of the host's");
  GizmoElement element;
  element.shape = shape;
  for (const double* point : points) element.points.push_back({point[0], point[1], point[2]});
  element.radius = radius;
  element.coordinate_system = static_cast<LWCoordinateSystem>(csys);
  element.color = drawing.colors.empty() ? std::array<float, 4>{} : drawing.colors.back();
  element.draw_mode = drawing.draw_modes.empty() ? 0 : drawing.draw_modes.back();
  drawing.elements.push_back(std::move(element));
}

}  // namespace

GizmoDrawing::GizmoDrawing() {
  LWCustomObjAccess& record = *access;
  record.dispData = this;
  record.setColor = [](void* data, float rgba[4]) {
    std::copy_n(rgba, 4, static_cast<GizmoDrawing*>(data)->colors.emplace_back().begin());
  };
  record.point = [](void* data, double* a, int csys) { draw(data, GizmoShape::point, {a}, 0.0, csys); };
  record.line = [](void* data, double* a, double* b, int csys) { draw(data, GizmoShape::line, {a, b}, 0.0, csys); };
  record.triangle = [](void* data, double* a, double* b, double* c, int csys) {
    draw(data, GizmoShape::triangle, {a, b, c}, 0.0, csys);
  };
  record.quad = [](void* data, double* a, double* b, double* c, double* d, int csys) {
    draw(data, GizmoShape::quad, {a, b, c, d}, 0.0, csys);
  };
  record.circle = [](void* data, double* centre, double radius, int csys) {
    draw(data, GizmoShape::circle, {centre}, radius, csys);
  };
  record.setDrawMode = [](void* data, unsigned mode) { static_cast<GizmoDrawing*>(data)->draw_modes.push_back(mode); };
  record.setPattern = record.setTexture = record.setUVs = record.text = unsupported_slot;
  record.setCSysItem = record.polygon = record.polyIndexed = unsupported_slot;
  record.disk = record.setPart = record.measureText = record.setThickness = unsupported_slot;
  record.circle2 = record.disk2 = record.setColorCC = record.getColor = unsupported_slot;
  record.pushMatrix = record.popMatrix = record.lineStrip = record.lineLoop = unsupported_slot;
}

}  // namespace standin
