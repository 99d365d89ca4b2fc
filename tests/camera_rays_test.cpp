#include <algorithm>
#include <array>
#include <bit>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/camera_facts.h"
#include "tests/support/exports.h"
#include "tests/support/lens_stage.h"
#include "tests/support/motion.h"

// What the rays and the projections of all cameras have in common, whatever their mappings.

namespace camera_rays_test {

using standin::Envelope;
using standin::Eye;
using standin::HostedCamera;
using standin::RayQuery;
using test_support::CameraFacts;
using test_support::LensStage;
using test_support::SavedFacts;
using test_support::ValueFacts;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr std::array<double, 3> untouched{11.0, 12.0, 13.0};

/// The same entry for everything that the panel lets a person choose.
void choose(HostedCamera& camera, const CameraFacts& facts, int entry) {
  for (const ValueFacts& value : facts.values)
    if (value.kind == ValueFacts::Kind::word) camera.panel().set_integer(value.id, entry);
}

/// Each parameter takes a value of its own, which is not its default.
void set_values(const HostedCamera& camera) {
  double value = 0.5;
  for (standin::VariantParameter* parameter : camera.parameters()) parameter->set_constant(value += 0.07);
}

class CameraRays : public testing::TestWithParam<CameraFacts> {
 protected:
  void SetUp() override {
    test_support::send(stage.host.item("Camera"), {{1, -2, 3}, {2, 0.5, 1}, {0.3, -0.2, 0.1}, {0.5, 0.1, 0.3}});
  }

  /// A camera with something to look at: the first object, the first of the other cameras.
  std::unique_ptr<HostedCamera> create() {
    auto camera = stage.create(facts.server_name);
    choose(*camera, facts, 1);
    return camera;
  }
  static void begin(HostedCamera& camera, int frame = 1) {
    camera.init_render();
    camera.begin_frame(frame, {.motion_blur = true, .motion_steps = 4});
  }

  static std::vector<RayQuery> queries(HostedCamera& camera) {
    std::vector<RayQuery> all;
    for (const Eye eye : {Eye::centre, Eye::left, Eye::right}) {
      const auto more = test_support::ray_queries(camera.access().filmSize[0], camera.access().filmSize[1], 24, eye);
      all.insert(all.end(), more.begin(), more.end());
    }
    return all;
  }

  /// A projection into a film position that tells whether it was written.
  static std::pair<int, std::array<double, 3>> project(HostedCamera& camera, const std::array<double, 3>& world,
                                                       double fractional_time = 0.0) {
    std::pair<int, std::array<double, 3>> answer{-1, untouched};
    answer.first = camera.handler().project(camera.raw(), 0.3, -0.6, world.data(), fractional_time, LWCAMEYE_LEFT,
                                            answer.second.data(), &camera.access());
    return answer;
  }
  static std::vector<std::array<double, 3>> world_points() {
    // The first one is ahead of the other cameras.
    std::vector<std::array<double, 3>> points{{-0.01, -0.01, 5.0}};
    for (const double x : {-9.0, -1.5, 1.25, 40.0}) {
      for (const double y : {-30.0, -2.5, 0.125})
        for (const double z : {-20.0, 3.5, 7.0, 60.0}) points.push_back({x, y, z});
    }
    return points;
  }

  /// Everything that a camera answers to the queries and for the points, bit by bit.
  static std::vector<std::uint64_t> sight_of(HostedCamera& camera) {
    std::vector<std::uint64_t> sight;
    for (const RayQuery& query : queries(camera)) {
      const standin::RayAnswer ray = camera.evaluate(query);
      sight.push_back(static_cast<std::uint64_t>(ray.result));
      for (const std::uint64_t bits : test_support::bits_of(ray)) sight.push_back(bits);
    }
    for (const auto& point : world_points()) {
      const auto [result, film] = project(camera, point, 0.4);
      sight.push_back(static_cast<std::uint64_t>(result));
      for (const double coordinate : film) sight.push_back(std::bit_cast<std::uint64_t>(coordinate));
    }
    return sight;
  }

  const CameraFacts& facts = GetParam();
  test_support::Stage stage;
};

INSTANTIATE_TEST_SUITE_P(All, CameraRays, testing::ValuesIn(test_support::all_cameras()),
                         [](const auto& camera) { return camera.param.server_name; });

TEST_P(CameraRays, OnlyTheFirstThreeVectorsOfTheRecordAreWritten) {
  const auto camera = create();
  begin(*camera);
  int rays = 0;
  for (const RayQuery& query : queries(*camera)) {
    std::array<double, sizeof(LWCameraRay) / sizeof(double)> words;
    words.fill(77.0);
    auto record = std::bit_cast<LWCameraRay>(words);
    const int result =
        camera->handler().evaluate(camera->raw(), query.film_x, query.film_y, query.lens_x, query.lens_y, query.fractional_time,
                                   static_cast<LWCameraEye>(query.eye), &record, &camera->access());
    words = std::bit_cast<decltype(words)>(record);
    const auto written = result == LWCAMEVAL_NONE ? words.begin() : words.begin() + 9;
    EXPECT_TRUE(std::all_of(words.begin(), written, [](double word) { return word != 77.0; }));
    EXPECT_TRUE(std::all_of(written, words.end(), [](double word) { return word == 77.0; }));
    rays += result != LWCAMEVAL_NONE ? 1 : 0;
  }
  EXPECT_GT(rays, 0);
}

TEST_P(CameraRays, ProjectionWritesTwoCoordinatesAndAZeroOrNothing) {
  const auto camera = create();
  begin(*camera);
  int found = 0;
  for (const auto& point : world_points()) {
    const auto [result, film] = project(*camera, point);
    if (result == 0) {
      EXPECT_EQ(film, untouched);
      continue;
    }
    EXPECT_EQ(result, 1);
    EXPECT_NE(film[0], untouched[0]);
    EXPECT_NE(film[1], untouched[1]);
    EXPECT_EQ(film[2], 0.0);
    ++found;
  }
  EXPECT_EQ(found > 0, facts.projects);
}

TEST_P(CameraRays, PointsThatAreNotNumbersAreRefusedOrProjectSomewhere) {
  const auto camera = create();
  begin(*camera);
  for (const double bad : {not_a_number, infinity, -infinity}) {
    for (const std::array<double, 3>& point : {std::array{bad, 0.0, 1.0}, {0.0, bad, 1.0}, {0.0, 0.0, bad}, {bad, bad, bad}}) {
      const auto [result, film] = project(*camera, point);
      if (result == 1) continue;
      EXPECT_EQ(result, 0);
      EXPECT_EQ(film[2], untouched[2]);
      if (facts.refused_projection_may_write) continue;
      EXPECT_EQ(film, untouched);
    }
  }
  EXPECT_EQ(project(*camera, {not_a_number, not_a_number, not_a_number}).first, 0);
}

TEST_P(CameraRays, EvaluationNeedsAnInstanceAndARay) {
  const auto camera = create();
  begin(*camera);
  const LWCameraAccess* record = &camera->access();
  LWCameraRay ray{};
  const auto evaluate = [&](LWInstance instance, LWCameraRay* output, const LWCameraAccess* access) {
    // Left of the centre and below it, where every camera has a ray.
    return camera->handler().evaluate(instance, -1e-3, -1e-4, 0, 0, 0, LWCAMEYE_CENTER, output, access);
  };
  ray.rayDir[0] = 77.0;
  EXPECT_EQ(evaluate(nullptr, &ray, record), LWCAMEVAL_NONE);
  EXPECT_EQ(evaluate(camera->raw(), nullptr, record), LWCAMEVAL_NONE);
  EXPECT_EQ(ray.rayDir[0], 77.0);
  EXPECT_EQ(evaluate(camera->raw(), &ray, nullptr), facts.rays_need_a_record ? LWCAMEVAL_NONE : LWCAMEVAL_RAY);
  EXPECT_EQ(ray.rayDir[0] == 77.0, facts.rays_need_a_record);
  EXPECT_EQ(evaluate(camera->raw(), &ray, record), LWCAMEVAL_RAY);
}

TEST_P(CameraRays, ProjectionNeedsAnInstanceARecordAPointAndAFilmPosition) {
  const auto camera = create();
  begin(*camera);
  // In front of the camera that looks.
  LWItemID looking = facts.looks_through_other_cameras ? stage.host.id_of("Other 1") : camera->item_id();
  const auto ahead = rounded(test_support::pose_told_by_host(looking, camera->frame_info().start).world({-0.01, -0.01, 5.0}));
  const LWDVector world{ahead.x, ahead.y, ahead.z};
  std::array<double, 3> film = untouched;
  const auto project = [&](LWInstance instance, const double* point, double* output, const LWCameraAccess* record) {
    return camera->handler().project(instance, 0, 0, point, 0, LWCAMEYE_CENTER, output, record);
  };
  EXPECT_EQ(project(nullptr, world, film.data(), &camera->access()), 0);
  EXPECT_EQ(project(camera->raw(), nullptr, film.data(), &camera->access()), 0);
  EXPECT_EQ(project(camera->raw(), world, nullptr, &camera->access()), 0);
  EXPECT_EQ(project(camera->raw(), world, film.data(), nullptr), 0);
  EXPECT_EQ(film, untouched);
  EXPECT_EQ(project(camera->raw(), world, film.data(), &camera->access()), facts.projects ? 1 : 0);
}

TEST_P(CameraRays, LoadedEnvelopesReachTheRaysWithTheNextTime) {
  const auto camera = create();
  const auto other = create();
  begin(*camera);
  begin(*other);
  const auto before = sight_of(*camera);
  bool has_words = false;
  double value = 0.5;
  for (const SavedFacts& saved : facts.saved) {
    if (saved.kind == SavedFacts::Kind::envelope) other->parameter(saved.channel).set_constant(value += 0.07);
    has_words = has_words || saved.kind == SavedFacts::Kind::word;
  }
  camera->load_text(other->save_text());
  // Words count at once.
  if (!has_words) EXPECT_EQ(sight_of(*camera), before);
  camera->new_time(1, 0.5);
  other->new_time(1, 0.5);
  EXPECT_EQ(sight_of(*camera), sight_of(*other));
}

class ReadValues : public CameraRays {};

/// Perspective works out its optics once for a frame, and the rays of immersive depend on no value.
std::vector<CameraFacts> cameras_whose_rays_have_the_values_read_last() {
  std::vector<CameraFacts> cameras = test_support::all_cameras();
  std::erase_if(cameras, [](const CameraFacts& camera) {
    return camera.channels.empty() || camera.name_space == "PerspectiveCam" || camera.name_space == "ImmersiveCam";
  });
  return cameras;
}

INSTANTIATE_TEST_SUITE_P(All, ReadValues, testing::ValuesIn(cameras_whose_rays_have_the_values_read_last()),
                         [](const auto& camera) { return camera.param.server_name; });

TEST_P(ReadValues, ReachTheRaysAsThoseOfANewTime) {
  auto* const read_values = stage.module.library().find_as<void(LWInstance, double)>(
      test_support::exported_name(facts.name_space, "get_vpValues", "Pvd").c_str());
  ASSERT_NE(read_values, nullptr);
  read_values(nullptr, 0.5);
  const auto camera = create();
  const auto other = create();
  begin(*camera);
  begin(*other);
  const auto before = sight_of(*camera);
  set_values(*camera);
  set_values(*other);
  read_values(camera->raw(), 0.5);
  other->new_time(1, 0.5);
  EXPECT_NE(sight_of(*camera), before);
  EXPECT_EQ(sight_of(*camera), sight_of(*other));
}

TEST_P(CameraRays, ACopySeesAsItsSource) {
  for (const int entry : {0, 1}) {
    const auto source = stage.create(facts.server_name);
    choose(*source, facts, entry);
    set_values(*source);
    begin(*source, 1);
    const auto copy = stage.create(facts.server_name);
    begin(*copy, 1);
    copy->copy_from(*source);
    begin(*copy, 2);
    begin(*source, 2);
    EXPECT_EQ(sight_of(*copy), sight_of(*source)) << entry;
  }
}

TEST_P(CameraRays, ARefusedEnvelopeCountsAsItsDefault) {
  for (std::size_t refused = 0; refused < facts.channels.size(); ++refused) {
    const std::string& channel = facts.channels[refused].name;
    stage.host.parameters.refusal.arm(static_cast<int>(refused) + 1);
    const auto camera = create();
    const auto whole = create();
    ASSERT_EQ(camera->parameters().size() + 1, whole->parameters().size());
    double value = 0.5;
    for (const auto& [name, default_value] : facts.channels) {
      value += 0.07;
      if (name == channel) continue;
      camera->parameter(name).set_constant(value);
      whole->parameter(name).set_constant(value);
    }
    begin(*camera);
    begin(*whole);
    EXPECT_EQ(sight_of(*camera), sight_of(*whole)) << channel;
  }
}

std::vector<CameraFacts> cameras_with_a_view_of_their_own() {
  std::vector<CameraFacts> cameras = test_support::all_cameras();
  std::erase_if(cameras, [](const CameraFacts& camera) { return camera.looks_through_other_cameras; });
  return cameras;
}

class OwnRays : public CameraRays {};

INSTANTIATE_TEST_SUITE_P(All, OwnRays, testing::ValuesIn(cameras_with_a_view_of_their_own()),
                         [](const auto& camera) { return camera.param.server_name; });

TEST_P(OwnRays, LensPositionAndEyeMatterOnlyWhereTheCameraHasThem) {
  const auto camera = create();
  begin(*camera);
  const RayQuery plain{.film_x = -0.003, .film_y = -0.001, .fractional_time = 0.3};
  const auto bits = test_support::bits_of(camera->evaluate(plain));
  for (const auto& [x, y] : {std::pair{0.0, 1.0}, {1.0, 0.0}, {-0.5, 0.25}, {infinity, -1.0}, {not_a_number, 0.5}}) {
    RayQuery query = plain;
    query.lens_x = x;
    query.lens_y = y;
    EXPECT_NE(test_support::bits_of(camera->evaluate(query)) == bits, facts.has_a_lens) << x << ' ' << y;
  }
  for (const Eye eye : {Eye::left, Eye::right}) {
    RayQuery query = plain;
    query.eye = eye;
    EXPECT_NE(test_support::bits_of(camera->evaluate(query)) == bits, facts.has_two_eyes);
  }
}

/// Whatever a host can hand over as a number, through settings, parameters, records and calls: evaluation still answers with
/// a ray, and projection with 0 or 1.
class BadNumbers : public testing::TestWithParam<CameraFacts> {
 protected:
  void SetUp() override { stage.set_oblique_pose(); }

  void try_with(const std::string& what, double x, double y, double time) {
    const standin::RayAnswer answer =
        camera.evaluate({.film_x = x, .film_y = y, .lens_x = y, .lens_y = x, .fractional_time = time});
    EXPECT_TRUE(answer.result == LWCAMEVAL_RAY || (answer.result == LWCAMEVAL_NONE && facts.film_has_gaps)) << what;
    const int projected = stage.project_raw({x, y, x - y}, time).result;
    EXPECT_TRUE(projected == 0 || projected == 1) << what;
  }
  void try_points(const std::string& what) {
    for (const double x : bad_numbers) {
      for (const double y : {0.0, 0.004, x}) try_with(what, x, y, 0.0);
      try_with(what, 0.003, 0.004, x);
    }
  }

  void try_everything() {
    stage.next_frame();
    try_points("ordinary settings");
    for (const double bad : bad_numbers) {
      for (standin::VariantParameter* parameter : camera.parameters()) {
        const Envelope before = std::exchange(parameter->envelope, Envelope::constant(bad));
        stage.next_frame();
        try_points(parameter->channel_name + " " + std::to_string(bad));
        parameter->envelope = before;
      }
      for (Envelope standin::CameraSettings::*setting :
           {&standin::CameraSettings::zoom_factor, &standin::CameraSettings::lens_f_stop,
            &standin::CameraSettings::focal_distance}) {
        const Envelope before = std::exchange(stage.settings().*setting, Envelope::constant(bad));
        stage.next_frame();
        try_points("a camera setting of " + std::to_string(bad));
        stage.settings().*setting = before;
      }
      // The record is the one that the stage's own calls hand over: film sizes, a place and an axis.
      LWCameraAccess& record = camera.access();
      try_record({&record.filmSize[0]}, bad);
      try_record({&record.filmSize[1]}, bad);
      try_record({&record.filmSize[0], &record.filmSize[1]}, bad);
      try_record({&record.worldPos[2]}, bad);
      try_record({&record.toWorld[1][1]}, bad);
    }
  }

  void try_record(const std::vector<double*>& numbers, double bad) {
    stage.next_frame();
    for (double* number : numbers) *number = bad;
    for (int times = 0; times < 2; ++times) {
      // Values are computed before the record is taken over: only the second frame's see it.
      ++camera.frame_info().frame;
      EXPECT_EQ(camera.handler().newFrame(camera.raw(), &camera.frame_info(), &camera.access()), nullptr);
    }
    try_points("a record with " + std::to_string(bad));
  }

  static constexpr std::array bad_numbers{0.0,   -0.0,  -1.0,    1e-9,     1e-200,   5e-324,    1e30,
                                          -1e30, 1e200, 1.7e308, -1.7e308, infinity, -infinity, not_a_number};

  const CameraFacts& facts = GetParam();
  LensStage stage{facts.server_name};
  HostedCamera& camera = stage.camera();
};

INSTANTIATE_TEST_SUITE_P(All, BadNumbers, testing::ValuesIn(cameras_with_a_view_of_their_own()),
                         [](const auto& camera) { return camera.param.server_name; });

TEST_P(BadNumbers, AreSurvivedByANewCamera) { try_everything(); }

TEST_P(BadNumbers, AreSurvivedWithEveryChoiceSwitchedOff) {
  choose(camera, facts, 0);
  try_everything();
}

TEST_P(BadNumbers, AreSurvivedWithEveryChoiceSwitchedOn) {
  choose(camera, facts, 1);
  try_everything();
}

TEST_P(BadNumbers, AreSurvivedAwayFromTheDefaults) {
  set_values(camera);
  try_everything();
}

}  // namespace camera_rays_test
