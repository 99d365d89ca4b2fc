/// The ray service's two ends: here its program is of this machine, or a stand-in for one that fails.

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "standin/remote/ray_protocol.h"
#include "standin/remote/ray_service.h"
#include "tests/support/paths.h"
#include "tests/support/ray_service_fixture.h"

namespace standin::native_ray_service_test {

using test_support::RayService;

std::vector<RayQuery> queries_over(const FrameSetup& setup, std::size_t count) {
  std::vector<RayQuery> queries(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double share = static_cast<double>(i) / static_cast<double>(count) - 0.5;
    queries[i] = {share * setup.film_width, 0.7 * share * setup.film_height, 0.1, -0.2, 0.25, Eye::right};
  }
  return queries;
}

void expect_same(const std::vector<RayAnswer>& a, const std::vector<RayAnswer>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    ASSERT_EQ(a[i].result, b[i].result) << i;
    ASSERT_EQ(a[i].position, b[i].position) << i;
    ASSERT_EQ(a[i].direction, b[i].direction) << i;
    ASSERT_EQ(a[i].film_normal, b[i].film_normal) << i;
  }
}

TEST_F(RayService, AnswersTheSameRaysAsTheSessionInThisProcess) {
  options_.settings = {{"HorizontalFOVradians", "4.5"}};
  const std::size_t count = 2 * ray_protocol::most_rays + 17;
  std::vector<RayAnswer> here(count);
  std::vector<RayAnswer> there(count);
  FrameSetup setup;
  {
    const auto session = open_session(options_);
    setup = session->begin_frame(3);
    session->evaluate(queries_over(setup, count), here);
  }
  const auto session = open_remote_session(options_);
  const FrameSetup remote = session->begin_frame(3);
  EXPECT_EQ(remote.frame, 3);
  EXPECT_EQ(remote.start_seconds, setup.start_seconds);
  EXPECT_EQ(remote.film_width, setup.film_width);
  session->evaluate(queries_over(remote, count), there);
  EXPECT_EQ(here[0].result, 1);
  expect_same(here, there);
  const auto film = session->project({2.5, 0.0, 10.0}, 0.0, Eye::centre);
  ASSERT_TRUE(film);
  EXPECT_NEAR(film->first, 0.0, 1e-9);
}

TEST_F(RayService, ProjectsTheSamePointsAsTheSessionInThisProcess) {
  const std::size_t count = ray_protocol::most_rays + 4321;
  std::vector<PointQuery> points(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double turn = 6.0 * static_cast<double>(i) / static_cast<double>(count);
    points[i] = {{2.5 + 3.0 * std::sin(turn), 2.0 * std::sin(11.0 * turn), 3.0 * std::cos(turn)}, 0.5, Eye::left};
  }
  // The camera's own place is not on the film.
  points[7].world = {2.5, 0.0, 0.0};
  for (const std::string& server : {options_.server_name, std::string(own_camera_name)}) {
    options_.server_name = server;
    std::vector<PointAnswer> here(count);
    std::vector<PointAnswer> there(count);
    const auto local = open_session(options_);
    local->begin_frame(3);
    local->project(points, here);
    const auto session = open_remote_session(options_);
    session->begin_frame(3);
    session->project(points, there);
    std::size_t found = 0;
    for (std::size_t i = 0; i < count; ++i) {
      ASSERT_EQ(there[i].found, here[i].found) << i;
      if (here[i].found == 0) continue;
      ++found;
      ASSERT_EQ(there[i].film_x, here[i].film_x) << i;
      ASSERT_EQ(there[i].film_y, here[i].film_y) << i;
      const auto alone = local->project(points[i].world, 0.5, Eye::left);
      ASSERT_EQ(alone, std::pair(here[i].film_x, here[i].film_y)) << i;
    }
    EXPECT_EQ(here[7].found, 0);
    EXPECT_GT(found, count / 3);
    EXPECT_THROW(session->project(points, std::span(there).first(3)), std::runtime_error);
    EXPECT_THROW(local->project(points, std::span(here).first(3)), std::runtime_error);
  }
}

/// What a person does with an open panel, and everything that can be seen of it.
struct PanelUse {
  std::vector<ControlDescription> before;
  AppliedSetting applied;
  std::string refusal;
  std::vector<ControlDescription> after;
  std::vector<std::string> saved;
  std::vector<GizmoElement> gizmo;
  std::vector<RayAnswer> rays;
};

PanelUse use_panel(Session& session) {
  PanelUse use;
  session.begin_frame(2);
  use.before = session.panel();
  session.set("Convergence Item", "1");
  session.set("Show Convergence Plane", "yes");
  use.applied = session.set("Eye Separation", "40cm");
  try {
    session.set("Eye Separation", "wide");
  } catch (const std::runtime_error& error) {
    use.refusal = error.what();
  }
  const FrameSetup setup = session.begin_frame(2);
  use.after = session.panel();
  use.saved = session.saved_lines();
  use.gizmo = session.draw_gizmo({1.0, 2.0, -8.0}, {0.0, 0.0, 1.0});
  use.rays.resize(100);
  session.evaluate(queries_over(setup, use.rays.size()), use.rays);
  return use;
}

bool same_element(const GizmoElement& a, const GizmoElement& b) {
  return a.shape == b.shape && a.points == b.points && a.radius == b.radius && a.coordinate_system == b.coordinate_system &&
         a.color == b.color && a.draw_mode == b.draw_mode;
}

TEST_F(RayService, AnOpenPanelIsThatOfTheSessionInThisProcess) {
  // What a stereo camera converges on: only then does its gizmo draw something.
  Scene scene = read_scene_file(options_.scene_file);
  Item point;
  point.kind = ItemKind::object;
  point.id = 0x10000000;
  point.name = "Point";
  point.motion[2] = Envelope::constant(5.0);
  scene.items.insert(scene.items.begin(), point);
  write_scene_file(scene, options_.scene_file);
  options_.server_name = "QuorinStereoCam";
  PanelUse here;
  {
    const auto session = open_session(options_);
    here = use_panel(*session);
  }
  EXPECT_EQ(here.applied.shown, "Eye Separation: 40 cm");
  EXPECT_NE(here.refusal.find("is not a number"), std::string::npos) << here.refusal;
  EXPECT_NE(here.before, here.after);
  EXPECT_FALSE(here.saved.empty());
  EXPECT_FALSE(here.gizmo.empty());
  PanelUse there;
  {
    const auto session = open_remote_session(options_);
    there = use_panel(*session);
  }
  EXPECT_EQ(there.before, here.before);
  EXPECT_EQ(there.applied.shown, here.applied.shown);
  EXPECT_EQ(there.refusal, here.refusal);
  EXPECT_EQ(there.after, here.after);
  EXPECT_EQ(there.saved, here.saved);
  EXPECT_TRUE(std::ranges::equal(there.gizmo, here.gizmo, same_element));
  expect_same(there.rays, here.rays);
  // What is set while the panel is open is what a session is opened with.
  options_.settings = {{"Convergence Item", "1"}, {"Show Convergence Plane", "yes"}, {"Eye Separation", "40cm"}};
  const auto session = open_session(options_);
  const FrameSetup setup = session->begin_frame(2);
  std::vector<RayAnswer> opened(here.rays.size());
  session->evaluate(queries_over(setup, opened.size()), opened);
  expect_same(opened, here.rays);
}

TEST_F(RayService, AnswersManyThreadsEachItsOwn) {
  constexpr std::size_t threads = 12;
  // More requests than may be under way at once, and points among the rays.
  const std::size_t count = 7 * ray_protocol::most_rays + 11;
  const auto local = open_session(options_);
  const FrameSetup setup = local->begin_frame(0);
  const auto session = open_remote_session(options_);
  session->begin_frame(0);
  std::vector<RayQuery> queries = queries_over(setup, threads + count);
  std::vector<PointQuery> points(count);
  for (std::size_t i = 0; i < count; ++i) points[i].world = {static_cast<double>(i) / static_cast<double>(count), 0.3, 4.0};
  std::vector<std::vector<RayAnswer>> answers(threads, std::vector<RayAnswer>(count));
  std::vector<std::vector<PointAnswer>> films(threads, std::vector<PointAnswer>(count));
  std::vector<std::thread> running;
  for (std::size_t thread = 0; thread < threads; ++thread) {
    running.emplace_back([&, thread] {
      session->evaluate(std::span(queries).subspan(thread, count), answers[thread]);
      session->project(std::span(points).subspan(0, count - thread), std::span(films[thread]).subspan(0, count - thread));
    });
  }
  for (std::thread& thread : running) thread.join();
  std::vector<RayAnswer> expected(queries.size());
  local->evaluate(queries, expected);
  std::vector<PointAnswer> film(count);
  local->project(points, film);
  for (std::size_t thread = 0; thread < threads; ++thread) {
    expect_same(answers[thread], {expected.begin() + static_cast<std::ptrdiff_t>(thread),
                                  expected.begin() + static_cast<std::ptrdiff_t>(thread + count)});
    for (std::size_t i = 0; i < count - thread; ++i) ASSERT_EQ(films[thread][i].film_x, film[i].film_x) << i;
  }
}

TEST_F(RayService, FailuresArriveAsSentences) {
  options_.server_name = "Nothing";
  EXPECT_NE(refusal().find("QuorinStereoCam"), std::string::npos) << refusal();
  options_.server_name.clear();
  options_.scene_file = folder_ / "missing.lws";
  EXPECT_NE(refusal().find("missing.lws"), std::string::npos) << refusal();
}

TEST_F(RayService, AMissingProgramIsNamed) {
  setenv(program_variable, "/nowhere/service", 1);
  EXPECT_NE(refusal().find("/nowhere/service"), std::string::npos) << refusal();
}

TEST_F(RayService, AProgramThatDiesIsASentence) {
  use_script("exit 7");
  EXPECT_NE(refusal().find("exit code 7"), std::string::npos) << refusal();
}

TEST_F(RayService, AProgramThatDiesWhileAnotherKeepsItsPipesIsASentence) {
  use_script("sleep 3 2>/dev/null & exit 7");
  EXPECT_NE(refusal().find("exit code 7"), std::string::npos) << refusal();
}

TEST_F(RayService, AnAnswerThatMakesNoSenseIsASentence) {
  use_script(R"(printf '\377\377\377\177abcdefgh'; cat >/dev/null)");
  EXPECT_NE(refusal().find("makes no sense"), std::string::npos) << refusal();
}

TEST_F(RayService, AnAnswerShorterThanItSaysIsASentence) {
  // Length 2, kind 6 (failed), and a text that is not there.
  use_script(R"(printf '\002\000\000\000\006\000'; cat >/dev/null)");
  EXPECT_NE(refusal().find("shorter than it says"), std::string::npos) << refusal();
}

TEST_F(RayService, AnAnswerOfAnUnknownKindIsASentence) {
  use_script(R"(printf '\001\000\000\000\011'; cat >/dev/null)");
  EXPECT_NE(refusal().find("makes no sense"), std::string::npos) << refusal();
}

TEST_F(RayService, AnAnswerLongerThanItSaysIsASentence) {
  // Kind 5 (done), no warnings, no notes, and a letter.
  use_script(R"(printf '\012\000\000\000\005\000\000\000\000\000\000\000\000a'; cat >/dev/null)");
  EXPECT_NE(refusal().find("longer than it says"), std::string::npos) << refusal();
}

TEST_F(RayService, TheServiceAnswersNonsenseWithSentencesAndGoesOn) {
  using namespace ray_protocol;
  std::vector<char> wrong_version = packed(DescribeModule{});
  wrong_version[1] = '?';
  std::vector<char> cut_short = packed(BeginFrame{1});
  cut_short.pop_back();
  const std::vector<std::pair<std::vector<char>, std::string>> requests{
      {{}, "shorter than it says"},
      {{99}, "does not know"},
      {wrong_version, "another version"},
      {cut_short, "shorter than it says"},
      {packed(EvaluateRays{most_rays + 1, 0}), "too many rays"},
      {packed(ProjectPoints{most_rays + 1, 0}), "too many points"},
      {packed(BeginFrame{1}), "before it was given a scene"},
  };
  std::ofstream in(folder_ / "requests", std::ios::binary);
  for (const auto& [bytes, sentence] : requests) {
    const auto size = static_cast<std::uint32_t>(bytes.size());
    in.write(reinterpret_cast<const char*>(&size), sizeof size).write(bytes.data(), size);
  }
  in.close();
  const auto program = test_support::module_file().parent_path() / "ovicam-ray-service";
  const auto answers = folder_ / "answers";
  const std::string command =
      "'" + program.string() + "' <'" + (folder_ / "requests").string() + "' >'" + answers.string() + "'";
  // NOLINTNEXTLINE(cert-env33-c): a command of the test's own making
  ASSERT_EQ(std::system(command.c_str()), 0);
  std::ifstream out(answers, std::ios::binary);
  for (const auto& [bytes, sentence] : requests) {
    std::uint32_t size = 0;
    ASSERT_TRUE(out.read(reinterpret_cast<char*>(&size), sizeof size)) << sentence;
    ASSERT_LT(size, 1000U);
    std::vector<char> answer(size);
    ASSERT_TRUE(out.read(answer.data(), size)) << sentence;
    MessageReader reader(std::move(answer));
    Kind kind{};
    reader(kind);
    EXPECT_EQ(kind, Kind::failed);
    EXPECT_NE(unpacked<Failure>(reader).sentence.find(sentence), std::string::npos) << sentence;
  }
  EXPECT_EQ(out.peek(), std::ifstream::traits_type::eof());
}

TEST_F(RayService, DescribesAModuleAsThisProcessDoes) {
  const ModuleDescription there = describe_remote_module(test_support::module_file());
  EXPECT_EQ(there.servers.size(), 51U);
  EXPECT_EQ(there.cameras.size(), 17U);
  EXPECT_EQ(there, describe_module(test_support::module_file()));
}

TEST_F(RayService, SaysWhyAModuleCannotBeDescribed) {
  EXPECT_THROW(describe_remote_module(test_support::module_file().parent_path() / "missing.so"), std::runtime_error);
}

TEST(WindowsBinary, IsToldByItsFirstLetters) {
  const auto folder = test_support::scratch_folder();
  std::ofstream(folder / "a.p") << "MZ rest";
  std::ofstream(folder / "b.p") << "M";
  EXPECT_TRUE(is_windows_binary(folder / "a.p"));
  EXPECT_FALSE(is_windows_binary(folder / "b.p"));
  EXPECT_FALSE(is_windows_binary(folder / "c.p"));
}

}  // namespace standin::native_ray_service_test
