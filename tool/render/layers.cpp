#include "tool/render/layers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <utility>

#include "tool/render/tracer.h"

namespace tool {
namespace {

using standin::RayAnswer;
using standin::RayQuery;
using standin::Vec3;

struct Description {
  std::string_view name;
  std::array<const char*, 3> channels;
  bool half = false;
};

/// By number of the layer.
constexpr std::array<Description, 5> descriptions{{
    {"depth", {"Z"}},
    {"normal", {"N.X", "N.Y", "N.Z"}, true},
    {"position", {"P.X", "P.Y", "P.Z"}},
    {"uv", {"UV.U", "UV.V"}},
    {"motion", {"forward.u", "forward.v"}},
}};

const Description& description(Layer layer) { return descriptions[static_cast<std::size_t>(layer)]; }

/// Where what a pixel sees is now and in the next frame.
struct SeenPoint {
  bool seen = false;
  Vec3 now;
  Vec3 next;
};

using FilmPoint = std::optional<std::pair<double, double>>;

std::array<double, 3> in_file(Vec3 v) { return {v.x, v.y, -v.z}; }

/// Nothing for motion, which takes another frame.
std::array<double, 3> values_of(Layer layer, const RenderScene& scene, const Hit& hit, const RayAnswer& ray) {
  switch (layer) {
    case Layer::depth:
      return {dot(hit.position - ray.position, ray.film_normal)};
    case Layer::normal:
      return in_file(hit.shading_normal);
    case Layer::position:
      return in_file(hit.position);
    case Layer::uv:
      if (const auto at = scene.texture_position_of(hit)) return {(*at)[0], (*at)[1]};
      return {};
    case Layer::motion:
      return {};
  }
  return {};
}

/// The pixels' centres, a row at a time.
std::vector<RayQuery> queries_of(const LayerJob& job, const PixelBox& part, int row) {
  std::vector<RayQuery> queries(static_cast<std::size_t>(part.width));
  for (int column = 0; column < part.width; ++column) {
    queries[static_cast<std::size_t>(column)] = {.film_x = job.setup.film_x((part.left + column + 0.5) / job.width),
                                                 .film_y = job.setup.film_y((part.top + row + 0.5) / job.height),
                                                 .eye = job.eye};
  }
  return queries;
}

class Rendering {
 public:
  Rendering(const LayerJob& job, const PixelBox& part)
      : job_(job),
        part_(part),
        moves_(std::ranges::find(job.layers, Layer::motion) != job.layers.end()),
        channel_count_(channels_of(job.layers).size()),
        samples_(pixel_count() * channel_count_),
        seen_(moves_ ? pixel_count() : 0) {}

  std::vector<float> run() && {
    for_each_row([&](int row) { trace_row(row); });
    if (moves_) follow();
    return std::move(samples_);
  }

 private:
  std::size_t pixel_count() const { return static_cast<std::size_t>(part_.width) * static_cast<std::size_t>(part_.height); }

  template <class Step>
  void for_each_row(const Step& step) const {
    tbb::parallel_for(tbb::blocked_range<int>(0, part_.height), [&](const tbb::blocked_range<int>& rows) {
      for (int row = rows.begin(); row < rows.end(); ++row) step(row);
    });
  }

  double next_seconds() const { return job_.scene.scene().time_of(next_frame()); }
  int next_frame() const { return job_.setup.frame + (job_.setup.frame < std::numeric_limits<int>::max() ? 1 : 0); }

  void trace_row(int row) {
    const std::vector<RayQuery> queries = queries_of(job_, part_, row);
    std::vector<RayAnswer> answers(queries.size());
    job_.session.evaluate(queries, answers);
    std::vector<ViewRay> rays;
    std::vector<RTCRayHit> met;
    std::vector<std::size_t> columns;
    for (std::size_t column = 0; column < answers.size(); ++column) {
      const auto ray = view_ray(job_.scene, answers[column], 0.0);
      if (!ray) continue;
      columns.push_back(column);
      rays.push_back(*ray);
      RenderScene::set_ray(met.emplace_back(), ray->position, ray->direction, 0.0);
    }
    job_.scene.trace(met);
    Hit hit;
    for (std::size_t i = 0; i < rays.size(); ++i) {
      if (!job_.scene.find_hit(met[i], rays[i].position, rays[i].direction, hit)) continue;
      const std::size_t pixel = static_cast<std::size_t>(row) * static_cast<std::size_t>(part_.width) + columns[i];
      float* sample = &samples_[pixel * channel_count_];
      for (const Layer layer : job_.layers) {
        const auto values = values_of(layer, job_.scene, hit, answers[columns[i]]);
        for (std::size_t channel = 0; channel < values.size() && description(layer).channels[channel] != nullptr; ++channel)
          *sample++ = std::isfinite(values[channel]) ? static_cast<float>(values[channel]) : 0.0F;
      }
      if (moves_) seen_[pixel] = {true, hit.position, job_.scene.position_at(hit, next_seconds())};
    }
  }

  /// Film positions of the points, by pixel, in the frame that the session is set to.
  std::vector<FilmPoint> projected(Vec3 SeenPoint::*point) const {
    std::vector<FilmPoint> film(seen_.size());
    const auto width = static_cast<std::size_t>(part_.width);
    for_each_row([&](int row) {
      for (std::size_t pixel = static_cast<std::size_t>(row) * width; pixel < (static_cast<std::size_t>(row) + 1) * width;
           ++pixel)
        if (seen_[pixel].seen) film[pixel] = job_.session.project(seen_[pixel].*point, 0.0, job_.eye);
    });
    return film;
  }

  void follow() {
    const std::vector<FilmPoint> now = projected(&SeenPoint::now);
    job_.session.begin_frame(next_frame());
    const std::vector<FilmPoint> next = projected(&SeenPoint::next);
    job_.session.begin_frame(job_.setup.frame);

    std::size_t first_channel = 0;
    for (const Layer layer : job_.layers) {
      if (layer == Layer::motion) break;
      first_channel += channels_of({&layer, 1}).size();
    }
    const double pixels_per_metre_across = job_.width / job_.setup.film_width;
    const double pixels_per_metre_up = job_.height / job_.setup.film_height;
    for (int row = 0; row < part_.height; ++row) {
      const std::vector<RayQuery> queries = queries_of(job_, part_, row);
      for (std::size_t column = 0; column < queries.size(); ++column) {
        const std::size_t pixel = static_cast<std::size_t>(row) * queries.size() + column;
        if (!now[pixel] || !next[pixel]) continue;
        const auto [x, y] = *now[pixel];
        // A camera that shows several views projects into one of them.
        const bool leads_back = std::abs(x - queries[column].film_x) * pixels_per_metre_across < 1.0 &&
                                std::abs(y - queries[column].film_y) * pixels_per_metre_up < 1.0;
        const double right = (next[pixel]->first - x) * pixels_per_metre_across;
        const double up = (next[pixel]->second - y) * pixels_per_metre_up;
        if (!leads_back || !std::isfinite(right) || !std::isfinite(up)) continue;
        samples_[pixel * channel_count_ + first_channel] = static_cast<float>(right);
        samples_[pixel * channel_count_ + first_channel + 1] = static_cast<float>(up);
      }
    }
  }

  const LayerJob& job_;
  const PixelBox& part_;
  bool moves_;
  std::size_t channel_count_;
  std::vector<float> samples_;
  /// By pixel; empty where nobody asks for the motion.
  std::vector<SeenPoint> seen_;
};

}  // namespace

std::optional<Layer> layer_named(std::string_view name) {
  for (std::size_t i = 0; i < descriptions.size(); ++i)
    if (descriptions[i].name == name) return static_cast<Layer>(i);
  return std::nullopt;
}

std::vector<ExrChannel> channels_of(std::span<const Layer> layers) {
  std::vector<ExrChannel> channels;
  for (const Layer layer : layers)
    for (const char* name : description(layer).channels)
      if (name != nullptr) channels.push_back({name, description(layer).half});
  return channels;
}

std::vector<float> render_layers(const LayerJob& job, const PixelBox& part) { return Rendering(job, part).run(); }

}  // namespace tool
