#pragma once

#include <utility>

#include "standin/host/plain_camera.h"
#include "standin/session/session.h"

namespace tool {

/// The host's own perspective camera in the place of a scene's camera, beside a session of that: it needs neither host nor
/// module. It begins no frame by itself; panel, settings and gizmo it has none.
class PlainPerspective final : public standin::Session {
 public:
  /// At the frame's time. The scene must outlive this.
  PlainPerspective(const standin::Scene& scene, const standin::Item& camera, standin::FrameSetup setup)
      : camera_(scene, camera.id), setup_(std::move(setup)) {
    setup_.server_name.clear();
    setup_.module_version.clear();
    setup_.parameters.clear();
    setup_.settings.clear();
    setup_.depth_of_field = camera.camera->depth_of_field;
    camera_.begin_frame(setup_.start_seconds, setup_.duration_seconds, setup_.depth_of_field);
  }

  const standin::FrameSetup& setup() const { return setup_; }

  std::vector<std::string> take_warnings() override { return {}; }
  std::vector<std::string> take_notes() override { return {}; }
  standin::FrameSetup begin_frame(int /*frame*/) override { return setup_; }
  void evaluate(std::span<const standin::RayQuery> queries, std::span<standin::RayAnswer> answers) override {
    for (std::size_t i = 0; i < queries.size(); ++i) answers[i] = camera_.evaluate(queries[i]);
  }
  std::optional<std::pair<double, double>> project(standin::Vec3 world, double fractional_time, standin::Eye eye) override {
    return camera_.project(world, 0.0, 0.0, fractional_time, eye);
  }
  void project(std::span<const standin::PointQuery> queries, std::span<standin::PointAnswer> answers) override {
    camera_.project(queries, answers);
  }
  std::vector<standin::ControlDescription> panel() override { return {}; }
  standin::AppliedSetting set(const std::string& /*name*/, const std::string& /*text*/) override { return {}; }
  void turn(const standin::CameraTurn& /*by*/) override {}
  std::vector<standin::GizmoElement> draw_gizmo(standin::Vec3 /*eye_position*/, standin::Vec3 /*direction*/) override {
    return {};
  }
  std::vector<std::string> saved_lines() override { return {}; }
  void end() override {}

 private:
  standin::PlainCamera camera_;
  standin::FrameSetup setup_;
};

}  // namespace tool
