#pragma once

#include <memory>
#include <string>

#include "standin/session/session.h"
#include "tool/lens/lens.h"
#include "tool/lens/numerical_inverse.h"

namespace tool {

/// Where places of an eye's frame look to, through the lens's centre at the start of the frame that the session has begun. The
/// film in metres. Throws what the session throws. Threads: any number at once.
void look_through(standin::Session& session, double film_width, double film_height, standin::Eye eye,
                  std::span<const FramePlace> places, std::span<LensDirection> directions);

/// A camera of a scene, at the start of the frame that its session has begun: the ray through the lens's centre. Places come
/// from the camera's own projection where that leads back to what its rays see, and from the rays alone where it does not.
class CameraLens final : public Lens {
 public:
  /// `name` is for sentences, such as "camera \"Fisheye\"". The session must outlive this, and begin no other frame meanwhile.
  CameraLens(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye, std::string name);

  void look(std::span<const FramePlace> places, std::span<LensDirection> directions) const override;
  /// Throws std::runtime_error with a sentence where several places of the frame look the same way nearly everywhere, or none
  /// looks anywhere.
  void locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const override;
  standin::Vec3 position() const override { return position_; }
  std::string description() const override { return name_; }

  /// Whether the camera's own projection gives the places. False as well where nothing does.
  bool projects() const { return projects_; }

 private:
  /// Takes away the places that do not look where they should.
  void drop_astray(std::span<const LensDirection> directions, std::span<FramePlace> places) const;
  void project(std::span<const LensDirection> directions, std::span<FramePlace> places) const;

  standin::Session& session_;
  double film_width_;
  double film_height_;
  standin::Eye eye_;
  std::string name_;
  standin::Vec3 position_;
  bool projects_ = false;
  /// Whether the projection gives places for directions that no place looks in.
  bool strays_ = false;
  std::unique_ptr<NumericalInverse> inverse_;
  /// Why there is no place for a direction; empty where there is.
  std::string trouble_;
};

}  // namespace tool
