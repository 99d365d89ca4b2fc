#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "standin/session/session.h"
#include "tool/commands/lens_option.h"
#include "tool/lens/plain_lenses.h"
#include "tool/pictures/large_picture.h"
#include "tool/pictures/picture_views.h"

namespace tool {

/// What of a picture is seen through the lenses of one eye.
struct EyeView {
  standin::Eye eye = standin::Eye::centre;
  PictureView view;
};

/// The eye of each view of a picture: that which its name tells, left or right, and otherwise the centre. Views that share an
/// eye are one.
std::vector<EyeView> eye_views_of(const LargePicture& picture);

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
  const PicturePixels& picture;
  const EyeLenses& lenses;
  /// In the new picture, pixels.
  PixelBox place;
  /// Where the picture's channels are among those of the new one. A pane as wide as that one which has all of its channels has
  /// them in the same order.
  std::vector<std::size_t> channels;
};

struct PaneReport {
  bool has_seen = false;
  bool has_broken_numbers = false;
};

/// Writes all rows of a picture of `size` with that many channels; 0 where no pane is. Uses all threads of the caller's TBB
/// arena. Throws what lenses, pictures and the writer throw. Threads: one.
PaneReport write_panes(std::span<const Pane> panes, PictureSize size, std::size_t channel_count, PictureWriter& writer);

}  // namespace tool
