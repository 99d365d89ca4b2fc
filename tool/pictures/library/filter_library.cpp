/// OpenImageIO's filters, in the library that is loaded for pictures: see picture_filter.

#include <OpenImageIO/filter.h>
#include <memory>
#include <stdexcept>
#include <string>

#include "tool/pictures/picture_filter.h"

namespace {

class Curve final : public tool::FilterCurve {
 public:
  explicit Curve(OIIO::Filter1D* filter) : filter_(filter, OIIO::Filter1D::destroy) {}

  double half_width() const override { return filter_->width() / 2.0; }
  double at(double distance) const override { return (*filter_)(static_cast<float>(distance)); }

 private:
  std::unique_ptr<OIIO::Filter1D, void (*)(OIIO::Filter1D*)> filter_;
};

}  // namespace

extern "C" [[gnu::visibility("default")]] tool::FilterCurve* ovicam_open_filter(const char* name) {
  std::string names;
  for (int i = 0; i < OIIO::Filter1D::num_filters(); ++i) {
    const OIIO::FilterDesc& filter = OIIO::Filter1D::get_filterdesc(i);
    if (name == std::string(filter.name)) return new Curve(OIIO::Filter1D::create(name, filter.width));
    names += (names.empty() ? "" : i + 1 < OIIO::Filter1D::num_filters() ? ", " : " or ") + std::string(filter.name);
  }
  throw std::invalid_argument("there is no such filter; give " + names);
}
