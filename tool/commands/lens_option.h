#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "standin/remote/scratch_folder.h"
#include "standin/scene/scene.h"
#include "standin/session/session.h"
#include "tool/commands/camera_options.h"
#include "tool/commands/option_text.h"
#include "tool/commands/warnings.h"
#include "tool/lens/lens.h"
#include "tool/pictures/cube_layouts.h"

namespace tool {

/// A horizontal field of view in degrees, or with a unit. Throws UsageError, which begins with the option, for what a plain
/// perspective cannot have.
double parse_field_radians(const std::string& option, const std::string& text);

/// What --from and --to of `ovicam reproject` name.
struct LensChoice {
  enum class Kind { scene_camera, server, equirectangular, equirectangular180, perspective, fisheye180, cubemap, skybox };
  Kind kind = Kind::equirectangular;
  /// Of a camera of a scene.
  std::string scene;
  std::string camera;
  /// Of a server with values.
  std::string server;
  std::vector<std::pair<std::string, std::string>> settings;
  /// Of a perspective.
  double field_radians = 0.0;
  /// Of a cube map or skybox. Null: that of the frame's shape.
  const CubeLayout* layout = nullptr;
};

/// Throws UsageError, which tells what can be given.
LensChoice parse_lens(const std::string& option, const std::string& text);

/// A lens that was opened, with all that it lives on.
struct OpenLens {
  /// Whether it is a camera whose left eye sees otherwise than its right one. Throws what the session throws. Threads: one.
  bool has_two_eyes() const;
  /// The same lens for another eye than it was opened for; none where that is the same. This must outlive it. Throws what the
  /// session throws. Threads: one.
  std::unique_ptr<Lens> of_another_eye(standin::Eye other) const;

  std::unique_ptr<standin::ScratchFolder> folder;
  std::unique_ptr<standin::Session> session;
  std::unique_ptr<Lens> lens;
  /// Of a camera; empty for the host's own.
  std::string server;
  /// Of a scene's camera.
  std::optional<standin::ItemPose> pose;
  /// Of a camera: the frame that its session has begun.
  standin::FrameSetup setup;
  standin::Eye eye = standin::Eye::centre;
};

/// The size that the new picture has where none is asked for: the scene's own of a camera; of a cube, that of the old picture's
/// faces, or faces a quarter as wide as the old picture; else that of the old picture. Throws std::runtime_error.
PictureSize size_of(const LensChoice& choice, const LensChoice& from, PictureSize picture);

/// Opens the lens for a frame of that size. There is one host in a process: where there is one already, `elsewhere` opens the
/// camera in another. Throws std::runtime_error with a sentence.
OpenLens open_lens(const LensChoice& choice, const CameraOptions& options, std::optional<int> frame, PictureSize size,
                   standin::Eye eye, bool elsewhere, Warnings& warnings);

}  // namespace tool
