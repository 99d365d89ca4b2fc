#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "standin/session/session.h"
#include "tool/lens/camera_lens.h"
#include "tool/lens/plain_lenses.h"

namespace tool {

/// The half of all directions that lies ahead of a camera, equirectangular, 180 x 180 degrees, as each of its eyes sees it: in
/// the camera's own rays, which go on beyond its frame. The film is square. The centre has no rays.
class HalfAheadSession final : public standin::Session {
 public:
  /// Where the camera is and how it is turned, with axes of length one, at a time in seconds.
  using PoseAt = std::function<standin::ItemPose(double)>;

  /// `name` of the camera is for sentences. Throws what the session throws.
  HalfAheadSession(std::unique_ptr<standin::Session> camera, PoseAt pose_at, std::string name);

  /// Of the camera itself, for the frame that was begun last.
  const standin::FrameSetup& camera_setup() const { return setup_; }

  std::vector<std::string> take_warnings() override;
  std::vector<std::string> take_notes() override { return camera_->take_notes(); }
  standin::FrameSetup begin_frame(int frame) override;
  void evaluate(std::span<const standin::RayQuery> queries, std::span<standin::RayAnswer> answers) override;
  std::optional<std::pair<double, double>> project(standin::Vec3 world, double fractional_time, standin::Eye eye) override;
  void project(std::span<const standin::PointQuery> queries, std::span<standin::PointAnswer> answers) override;
  std::vector<standin::ControlDescription> panel() override { return camera_->panel(); }
  standin::AppliedSetting set(const std::string& name, const std::string& text) override { return camera_->set(name, text); }
  void turn(const standin::CameraTurn& by) override { camera_->turn(by); }
  std::vector<standin::GizmoElement> draw_gizmo(standin::Vec3 eye_position, standin::Vec3 direction) override {
    return camera_->draw_gizmo(eye_position, direction);
  }
  std::vector<std::string> saved_lines() override { return camera_->saved_lines(); }
  void end() override;

 private:
  const CameraLens* lens_of(standin::Eye eye) const;
  void evaluate_eye(standin::Eye eye, std::span<const standin::RayQuery> queries, std::span<standin::RayAnswer> answers);
  double share_seen();

  std::unique_ptr<standin::Session> camera_;
  PoseAt pose_at_;
  std::string name_;
  standin::FrameSetup setup_;
  /// Of the frame that was begun last.
  std::optional<EquirectangularLens> half_;
  std::array<std::unique_ptr<CameraLens>, 2> eyes_;
  std::vector<std::string> warnings_;
  bool has_warned_ = false;
};

}  // namespace tool
