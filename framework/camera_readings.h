#pragma once

#include "framework/host_services.h"
#include "framework/lens.h"

namespace framework {

/// Of a whole frame.
struct PixelCounts {
  int width = 0;
  int height = 0;
};

/// What the host tells of one camera item. Without the service or the item every reading is 0. Threads: any.
class CameraReadings {
 public:
  CameraReadings(const HostServices& services, LWItemID item)
      : info_(item != nullptr ? services.camerainfo : nullptr), item_(item), now_(services.current_time()) {}

  double zoom_factor(LWTime time) const { return info_ != nullptr ? info_->zoomFactor(item_, time) : 0.0; }
  double zoom_factor_now() const { return zoom_factor(now_); }
  double f_stop_now() const { return info_ != nullptr ? info_->fStop(item_, now_) : 0.0; }
  double focal_distance_now() const { return info_ != nullptr ? info_->focalDistance(item_, now_) : 0.0; }
  double eye_separation_now() const { return info_ != nullptr ? info_->separation(item_, now_) : 0.0; }
  double pixel_aspect(LWTime time) const { return info_ != nullptr ? info_->pixelAspect(item_, time) : 0.0; }

  Film film_size() const {
    Film film;
    if (info_ != nullptr) info_->filmSize(item_, &film.width, &film.height);
    return film;
  }

  PixelCounts resolution() const {
    PixelCounts counts;
    if (info_ != nullptr) info_->resolution(item_, &counts.width, &counts.height);
    return counts;
  }

 private:
  const LWCameraInfo* info_;
  LWItemID item_;
  LWTime now_;
};

}  // namespace framework
