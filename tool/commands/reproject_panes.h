#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "standin/session/session.h"
#include "tool/commands/lens_option.h"
#include "tool/lens/plain_lenses.h"
#include "tool/output/packing.h"
#include "tool/pictures/large_picture.h"
#include "tool/pictures/picture_filter.h"
#include "tool/pictures/picture_views.h"

namespace tool {

/// What one eye sees of a picture.
struct EyePicture {
  standin::Eye eye = standin::Eye::centre;
  std::unique_ptr<PicturePixels> pixels;
  /// Where its channels are among those of the new picture.
  std::vector<std::size_t> channels;
};

/// A picture by eyes, and which of its channels the new one has.
struct EyePictures {
  std::vector<EyePicture> eyes;
  std::vector<std::size_t> channels;
  /// Their names there; empty: those that they have.
  std::vector<std::string> names;
  /// Of each eye's picture, pixels.
  PictureSize size;
};

/// All of it as one eye sees it. The picture must outlive what these give.
EyePictures seen_by(const LargePicture& picture, standin::Eye eye);

/// Each view by the eye that its name tells, left or right, and otherwise by the centre.
EyePictures by_views(const LargePicture& picture);

/// The views left and right, with the channels of one. Throws std::runtime_error, which begins with the name, where there are
/// others or none, or where they differ in their channels.
EyePictures views_to_pack(const LargePicture& picture, const std::string& name);

/// Both eyes of a picture that has them packed. Throws std::runtime_error, which begins with the name, where the halves are not
/// equally large.
EyePictures unpacked(const LargePicture& picture, Packing packing, const std::string& name);

/// The lenses of one eye, in axes that both share. Threads: any, once it is made.
class EyeLenses {
 public:
  /// Both must outlive this.
  EyeLenses(const OpenLens& from, const OpenLens& to, standin::Eye eye);

  const Lens& from() const { return *from_; }
  const Lens& to() const { return *to_; }

 private:
  const Lens* in_common_axes(const OpenLens& lens, const OpenLens& other, standin::Eye eye);

  std::vector<std::unique_ptr<Lens>> owned_;
  const Lens* from_;
  const Lens* to_;
};

/// A part of a new picture, and what it is filled from.
struct Pane {
  const EyePicture& of;
  const EyeLenses& lenses;
  /// In the new picture, pixels.
  PixelBox place;
};

struct PaneReport {
  bool has_seen = false;
  bool has_broken_numbers = false;
};

/// Writes all rows of a picture of `size` with that many channels; 0 where no pane is. Uses all threads of the caller's TBB
/// arena. Throws what lenses, pictures and the writer throw. Threads: one.
PaneReport write_panes(std::span<const Pane> panes, PictureSize size, std::size_t channel_count, const PictureFilter& filter,
                       PictureWriter& writer);

}  // namespace tool
