#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <thread>

#include "standin/host/hosted_camera.h"
#include "standin/validate/checks.h"
#include "standin/validate/machine.h"
#include "standin/validate/stage.h"

namespace standin::validate {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr std::array odd_numbers{0.0,      -0.0,      5e-324,      1e-30, 1e-9, -1e-9, 1.0,    -1.0,
                                 1000.0,   1e9,       -1e9,        1e38,  1e40, 1e300, -1e300, 1.7976931348623157e308,
                                 infinity, -infinity, not_a_number};

double odd_number(Context& context) { return odd_numbers[static_cast<std::size_t>(context.index(odd_numbers.size()))]; }

/// A length of 1 within single precision.
bool is_unit(double length) { return std::abs(length - 1.0) < 1e-5; }

Vec3 point_on(const Ray& ray, double distance) {
  return {ray.words[0] + distance * ray.words[3], ray.words[1] + distance * ray.words[4],
          ray.words[2] + distance * ray.words[5]};
}

/// Between the ray and the way from where it starts to the point; pi where there is no ray.
double radians_between(const Ray& ray, Vec3 point) {
  if (ray.result == LWCAMEVAL_NONE) return std::numbers::pi;
  const Vec3 start{ray.words[0], ray.words[1], ray.words[2]};
  const Vec3 direction{ray.words[3], ray.words[4], ray.words[5]};
  const Vec3 way = point - start;
  return std::atan2(length(cross(direction, way)), dot(direction, way));
}

/// What every ray of a frame with sensible settings keeps to.
void expect_sound(Context& context, const Ray& ray, const std::string& when) {
  if (ray.result == LWCAMEVAL_NONE) return;
  context.expect(ray.finite(), when + ", a ray is not made of finite numbers");
  context.expect(!ray.finite() || is_unit(ray.direction_length()), when + ", a ray's direction is not of length 1");
}

void use_everything(Context& context, Instance& camera, int rays) {
  for (int i = 0; i < rays; ++i) {
    RayQuery query = random_query(context, camera.access());
    camera.evaluate(query);
    switch (context.index(6)) {
      case 0:
        query.film_x = odd_number(context);
        break;
      case 1:
        query.film_y = odd_number(context);
        break;
      case 2:
        query.lens_x = odd_number(context);
        break;
      case 3:
        query.lens_y = odd_number(context);
        break;
      case 4:
        query.fractional_time = odd_number(context);
        break;
      default:
        query.eye = static_cast<Eye>(std::array{-1, 3, 1000000}[static_cast<std::size_t>(context.index(3))]);
    }
    camera.evaluate(query);
    camera.project({odd_number(context), odd_number(context), odd_number(context)}, query.lens_x, query.lens_y,
                   query.fractional_time, query.eye);
    camera.project({context.uniform(-5.0, 5.0), context.uniform(-5.0, 5.0), context.uniform(-5.0, 20.0)}, 0.0, 0.0,
                   query.fractional_time, Eye::centre);
  }
  camera.preview(odd_number(context), 0.0, Eye::left);
  camera.preview(0.0, 0.0, Eye::centre);
}

// --- before-frame

void check_before_frame(Context& context) {
  Stage stage(context);
  const Item& item = stage.host.item("Camera");
  for (int round = 0; round < context.times(10); ++round) {
    Instance camera(stage);
    if (round % 2 == 1) camera.randomise();
    camera.access() = camera_access(stage.host.scene(), item, 0.0);
    use_everything(context, camera, 20);
    camera.draw_gizmo();
    camera.init();
    use_everything(context, camera, 20);
    camera.new_time(1, 0.03);
    use_everything(context, camera, 20);
    camera.clean_up();
    use_everything(context, camera, 20);
    camera.flags();
    context.expect(camera.describe() != nullptr, "describe: it gives no text");
  }
}

// --- inputs

void check_legal_rays(Stage& stage) {
  Context& context = stage.context;
  std::size_t rays = 0;
  std::size_t asked = 0;
  for (int round = 0; round < std::max(4, context.times(10)); ++round) {
    Instance camera(stage);
    if (round > 0) camera.randomise();
    camera.prepare(1 + round, 1 + static_cast<unsigned>(context.index(6)));
    for (int i = 0; i < 200; ++i) {
      RayQuery query = random_query(context, camera.access());
      // Centre, edges and corners as well.
      if (i < 9) {
        const int column = i % 3;
        const int row = i / 3;
        query.film_x = 0.5 * (column - 1) * camera.access().filmSize[0];
        query.film_y = 0.5 * (row - 1) * camera.access().filmSize[1];
      }
      const Ray ray = camera.evaluate(query);
      ++asked;
      if (ray.result != 0) ++rays;
      expect_sound(context, ray, "In a frame of sensible settings");
    }
    camera.clean_up();
  }
  context.numbers["share of film with rays"] = static_cast<double>(rays) / static_cast<double>(asked);
}

void check_odd_parameters(Stage& stage) {
  Context& context = stage.context;
  Instance camera(stage);
  const std::size_t count = camera.parameters().size();
  for (std::size_t which = 0; which < count; ++which) {
    const Envelope before = camera.parameters()[which]->envelope;
    for (const double value : odd_numbers) {
      VariantParameter& parameter = *camera.parameters()[which];
      parameter.set_constant(value);
      camera.prepare(1, 3);
      use_everything(context, camera, std::max(1, context.times(4)));
      camera.draw_gizmo();
      camera.clean_up();
    }
    camera.parameters()[which]->set_keys({{0.0, -1.0}, {0.02, 100.0}, {0.05, 1e-12}});
    camera.prepare(1, 16);
    use_everything(context, camera, context.times(10));
    camera.clean_up();
    camera.parameters()[which]->envelope = before;
  }
  if (Panel* panel = camera.panel()) {
    for (const PanelData& row : panel->data) {
      const Call call("a panel's value", {static_cast<double>(row.id)});
      if (row.type == "integer")
        for (const int word : {0, 1, 2, 3, 100, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
          panel->set_integer(row.id, word);
          camera.prepare(1, 2);
          use_everything(context, camera, context.times(4));
          camera.clean_up();
        }
      if (row.type == "float")
        for (const double value : odd_numbers) {
          panel->set_float(row.id, value);
          camera.prepare(1, 2);
          use_everything(context, camera, context.times(4));
          camera.clean_up();
        }
    }
  }
}

void check_odd_frames(Stage& stage) {
  Context& context = stage.context;
  Instance camera(stage);
  camera.randomise();
  const Item& item = stage.host.item("Camera");
  const LWCameraAccess usual = camera_access(stage.host.scene(), item, 0.0);
  camera.init();
  for (int steps = -1; steps <= 1000; steps += steps < 10 ? 1 : 99) {
    camera.new_time(1, 0.03);
    camera.new_frame(1, 0.03, 0.01, static_cast<unsigned>(steps));
    use_everything(context, camera, context.times(10));
  }
  for (const double width : odd_numbers) {
    for (const double height : {0.0, 0.015, width}) {
      LWCameraAccess access = usual;
      access.filmSize[0] = width;
      access.filmSize[1] = height;
      camera.new_frame({1, 0.03, 0.01, 1.0 / 30.0, 3}, access);
      use_everything(context, camera, context.times(4));
    }
  }
  for (int round = 0; round < context.times(50); ++round) {
    LWCameraAccess access = usual;
    auto* words = reinterpret_cast<double*>(access.worldPos);
    constexpr int word_count = (sizeof access - offsetof(LWCameraAccess, worldPos)) / sizeof(double);
    for (int change = 0; change < 3; ++change) words[context.index(word_count)] = odd_number(context);
    if (round % 5 == 0) access.cameraID = stage.host.id_of("Other 1");
    camera.new_frame(
        {context.index(100), round % 3 == 0 ? odd_number(context) : 0.1, odd_number(context), odd_number(context), 4}, access);
    use_everything(context, camera, context.times(4));
  }
  // A record that differs from the frame's, and none at all.
  camera.new_frame(1, 0.03, 0.01, 3);
  LWCameraAccess other = usual;
  other.worldPos[0] += 100.0;
  other.filmSize[0] *= 2.0;
  for (int i = 0; i < 50; ++i) {
    camera.evaluate(random_query(context, usual), &other);
    camera.evaluate(random_query(context, usual), nullptr);
  }
  camera.clean_up();
}

void check_inputs(Context& context) {
  Stage stage(context);
  check_legal_rays(stage);
  check_odd_parameters(stage);
  check_odd_frames(stage);
}

// --- bounds

void check_bounds(Context& context) {
  Stage stage(context);
  Instance camera(stage);
  camera.randomise();
  camera.prepare(1, 4);
  const LWCameraHandler& handler = camera.handler();
  for (const FencedMemory::Side side : {FencedMemory::Side::begins_at_fence, FencedMemory::Side::ends_at_fence}) {
    FencedMemory ray(sizeof(LWCameraRay), side);
    FencedMemory film(sizeof(LWDVector), side);
    FencedMemory matrix(sizeof(LWDMatrix4), side);
    FencedMemory access(sizeof(LWCameraAccess), side);
    FencedMemory world(sizeof(LWDVector), side);
    FencedMemory frame(sizeof(LWFrameInfo), side);
    const Item& item = stage.host.item("Camera");
    *reinterpret_cast<LWCameraAccess*>(access.data()) = camera_access(stage.host.scene(), item, 0.1);
    *reinterpret_cast<LWFrameInfo*>(frame.data()) = {3, 0.1, 0.016, 1.0 / 30.0, 4};
    auto* point = reinterpret_cast<double*>(world.data());
    point[0] = 0.2;
    point[1] = 1.1;
    point[2] = 5.0;
    access.forbid_writing();
    frame.forbid_writing();
    world.forbid_writing();
    const auto* record = reinterpret_cast<const LWCameraAccess*>(access.data());
    {
      const Call call("new frame, between pages that nobody may touch");
      handler.newFrame(camera.raw(), reinterpret_cast<const LWFrameInfo*>(frame.data()), record);
    }
    for (int i = 0; i < context.times(300); ++i) {
      const RayQuery query = random_query(context, *record);
      std::memset(ray.data(), untouched_byte, sizeof(LWCameraRay));
      int result = 0;
      {
        const Call call("evaluate, between pages that nobody may touch", {query.film_x, query.film_y});
        result = handler.evaluate(camera.raw(), query.film_x, query.film_y, query.lens_x, query.lens_y, query.fractional_time,
                                  static_cast<LWCameraEye>(query.eye), reinterpret_cast<LWCameraRay*>(ray.data()), record);
      }
      constexpr std::size_t written = offsetof(LWCameraRay, filter);
      if ((result & LWCAMEVAL_RAY_DELTAS) == 0)
        context.expect(is_untouched(ray.data() + written, sizeof(LWCameraRay) - written),
                       "evaluate: the module wrote beyond the ray's first three vectors");
      if (handler.project == nullptr) continue;
      const Call call("project, between pages that nobody may touch");
      handler.project(camera.raw(), query.lens_x, query.lens_y, point, query.fractional_time,
                      static_cast<LWCameraEye>(query.eye), reinterpret_cast<double*>(film.data()), record);
    }
    if (handler.preview == nullptr) continue;
    const Call call("preview, between pages that nobody may touch");
    handler.preview(camera.raw(), 0.0, 0.0, LWCAMEYE_CENTER, reinterpret_cast<double(*)[4]>(matrix.data()), record);
  }
  camera.clean_up();
}

// --- threads

void check_threads(Context& context) {
  Stage stage(context);
  for (int round = 0; round < std::max(2, context.times(4)); ++round) {
    Instance reference(stage);
    if (round > 0) reference.randomise();
    Instance shared(stage, "Camera");
    shared.copy_from(reference);
    reference.prepare(2, 6);
    shared.prepare(2, 6);
    std::vector<RayQuery> queries;
    for (int i = 0; i < 400; ++i) {
      RayQuery query = random_query(context, reference.access());
      // Many times, which the samples of one pixel share.
      if (i % 4 != 0) query.fractional_time = queries.back().fractional_time;
      queries.push_back(query);
    }
    std::vector<Ray> rays;
    std::vector<FilmPosition> films;
    for (const RayQuery& query : queries) {
      rays.push_back(reference.evaluate(query));
      films.push_back(reference.project({0.3, 0.9, 6.0}, query.lens_x, query.lens_y, query.fractional_time, query.eye));
    }
    for (const std::size_t thread_count : {1U, 2U, 8U}) {
      const std::string beside = std::to_string(thread_count) + " threads beside the first, ";
      const std::string other_rays = "evaluate: from " + beside + "rays are others than from one";
      const std::string other_films = "project: from " + beside + "film positions are others than from one";
      std::vector<std::thread> threads;
      for (std::size_t thread = 0; thread < thread_count; ++thread)
        threads.emplace_back([&, thread] {
          use_call_slot(thread + 1);
          for (int repetition = 0; repetition < 2; ++repetition)
            for (std::size_t i = 0; i < queries.size(); ++i) {
              const std::size_t which = (i + thread * 37) % queries.size();
              const RayQuery& query = queries[which];
              context.expect(shared.evaluate(query) == rays[which], other_rays.c_str());
              context.expect(
                  shared.project({0.3, 0.9, 6.0}, query.lens_x, query.lens_y, query.fractional_time, query.eye) == films[which],
                  other_films.c_str());
            }
        });
      for (std::thread& thread : threads) thread.join();
    }
    reference.clean_up();
    shared.clean_up();
  }
}

// --- waiting

/// Render threads wait for nothing: an evaluation neither sleeps nor stands in a queue.
void check_waiting(Context& context) {
  Stage stage(context);
  Instance camera(stage);
  camera.prepare();
  // What is done once is done now.
  for (int i = 0; i < 50; ++i) camera.evaluate(random_query(context, camera.access()));
  constexpr int rays = 200;
  auto shortest = std::chrono::steady_clock::duration::max();
  const std::optional<std::uint64_t> before = voluntary_waits();
  for (int i = 0; i < rays; ++i) {
    const RayQuery query = random_query(context, camera.access());
    const auto start = std::chrono::steady_clock::now();
    camera.evaluate(query);
    shortest = std::min(shortest, std::chrono::steady_clock::now() - start);
  }
  if (const std::optional<std::uint64_t> after = voluntary_waits(); before && after) {
    context.numbers["waits in 200 rays"] = static_cast<double>(*after - *before);
    // Memory that has to be fetched may make a few.
    context.expect(*after - *before < rays / 4, "evaluate: it waits, and with it every thread of the renderer");
  } else {
    // The shortest of many tells of the module alone, however busy the machine is.
    context.expect(shortest < std::chrono::milliseconds(1), "evaluate: it waits, and with it every thread of the renderer");
  }
  camera.clean_up();
}

// --- projection

void check_projection(Context& context) {
  Stage stage(context);
  // Everything, and what the middle of the lens sees at the frame's start.
  std::vector<double> errors;
  std::vector<double> plain_errors;
  std::size_t refused = 0;
  for (int round = 0; round < std::max(4, context.times(10)); ++round) {
    Instance camera(stage);
    if (round > 0) camera.randomise();
    camera.prepare(1 + round, 3);
    const bool never_projects = (camera.flags() & LWCAMFLAG_NO_PROJECTION) != 0;
    for (int i = 0; i < 200; ++i) {
      RayQuery query = random_query(context, camera.access());
      const bool plain = i % 2 == 0;
      if (plain) query = {.film_x = query.film_x, .film_y = query.film_y};
      const Ray ray = camera.evaluate(query);
      if (ray.result == 0 || !ray.finite()) continue;
      const Vec3 point = point_on(ray, context.uniform(2.0, 30.0));
      const FilmPosition film = camera.project(point, query.lens_x, query.lens_y, query.fractional_time, query.eye);
      context.expect(!never_projects || film.result == 0,
                     "project: a camera that says it does not project gives a film position");
      if (film.result == 0) {
        ++refused;
        continue;
      }
      context.expect(std::isfinite(film.words[0]) && std::isfinite(film.words[1]),
                     "project: a point that the camera sees has a film position that is no number");
      // A camera may see a point more than once: the ray of the film position has to meet it, not to be the same ray.
      RayQuery back = query;
      back.film_x = film.words[0];
      back.film_y = film.words[1];
      const double error = radians_between(camera.evaluate(back), point);
      if (!std::isfinite(error)) continue;
      errors.push_back(error);
      if (plain) plain_errors.push_back(error);
    }
    camera.clean_up();
  }
  context.numbers["points projected"] = static_cast<double>(errors.size());
  context.numbers["points refused"] = static_cast<double>(refused);
  const auto quantile = [](std::vector<double>& sorted, double share) {
    std::ranges::sort(sorted);
    return sorted.empty() ? 0.0 : sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1))];
  };
  if (errors.empty()) return;
  for (const auto& [name, share] :
       {std::pair{"median", 0.5}, std::pair{"9 of 10", 0.9}, std::pair{"99 of 100", 0.99}, std::pair{"worst", 1.0}})
    context.numbers[std::string("projection error, radians, ") + name] = quantile(errors, share);
  context.numbers["projection error, radians, plain, 99 of 100"] = quantile(plain_errors, 0.99);
  // With a lens, in motion and between the eyes a camera may place a point by its middle. Where there is none of that, single
  // precision keeps nine of ten within a hundredth of a pixel; at poles and seams a few are further off.
  constexpr double tolerance = 1e-4;
  context.expect(quantile(plain_errors, 0.9) < tolerance,
                 "project: a point on a ray is not projected to where the ray came from");
}

}  // namespace

const std::vector<Test>& ray_checks() {
  static const std::vector<Test> checks{
      {"before-frame", "evaluation and projection before any frame do no harm", true, false, check_before_frame},
      {"inputs", "rays are sound or refused, whatever film, lens, parameters and frames are", true, false, check_inputs},
      {"bounds", "nothing is written outside what a call may write", true, false, check_bounds},
      {"threads", "from 1, 2 and 8 threads the rays are the same bit for bit", true, false, check_threads},
      {"waiting", "an evaluation never waits", true, false, check_waiting},
      {"projection", "points on rays are projected to where the rays came from", true, false, check_projection},
  };
  return checks;
}

}  // namespace standin::validate
