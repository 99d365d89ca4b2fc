#include <array>
#include <atomic>
#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/camera_facts.h"
#include "tests/support/link_folder.h"
#include "tests/support/motion.h"
#include "tests/support/service_override.h"
#include "tests/support/stage.h"

namespace photographic_publishing_test {

namespace fs = std::filesystem;
using standin::HostedCamera;
using standin::RayAnswer;
using standin::RayQuery;
using test_support::LinkFile;
using test_support::LinkFolder;
using test_support::number;

constexpr std::uint32_t iso_control = 0x8014;
constexpr std::uint32_t iris_control = 0x8015;
constexpr std::uint32_t shutter_control = 0x8016;

struct Publisher {
  const char* server;
  const char* label;
};

void PrintTo(const Publisher& publisher, std::ostream* stream) { *stream << publisher.server; }

constexpr std::array publishers{
    Publisher{"QuorinPerspectiveCam", "OviCam Perspective"},
    Publisher{"QuorinPerspectiveNoDOFCam", "OviCam Perspective"},
    Publisher{"QuorinPerspectiveNoDOFNoMBCam", "OviCam Perspective"},
    Publisher{"QuorinSphericalCam", "OviCam Spherical"},
    Publisher{"QuorinStereoCam", "OviCam Stereo"},
};

class PhotographicPublishing : public testing::TestWithParam<Publisher> {
 protected:
  std::unique_ptr<HostedCamera> create() { return stage.create(GetParam().server); }

  std::unique_ptr<HostedCamera> ready() {
    auto camera = create();
    camera->new_frame(0, 0.0, 1.0);
    return camera;
  }

  static RayAnswer evaluate(const HostedCamera& camera, double time = 0.0) {
    return camera.evaluate({0.001, 0.002, 0.1, 0.2, time, standin::Eye::centre});
  }

  /// Values that tell the time they were read at.
  static void key_exposure(HostedCamera& camera) {
    camera.parameter("PhotoISO").set_keys({{0.0, 100.0}, {1.0, 1100.0}});
    camera.parameter("PhotoIris").set_keys({{0.0, 1.0}, {1.0, 21.0}});
    camera.parameter("PhotoShutter").set_keys({{0.0, 10.0}, {1.0, 350.0}});
  }

  static void expect_of_one_time(const LinkFile& file) {
    const double time = number(file, "frame_time");
    // The file's numbers have six decimals.
    EXPECT_NEAR(number(file, "iso"), 100.0 + 1000.0 * time, 1e-3);
    EXPECT_NEAR(number(file, "iris"), 1.0 + 20.0 * time, 2e-5);
    EXPECT_NEAR(number(file, "shutter_angle"), 10.0 + 340.0 * time, 4e-4);
  }

  LinkFile published() const {
    const auto file = link.read();
    EXPECT_TRUE(file.has_value());
    return file.value_or(LinkFile{});
  }

  LinkFolder link;
  test_support::Stage stage;
};

INSTANTIATE_TEST_SUITE_P(Cameras, PhotographicPublishing, testing::ValuesIn(publishers),
                         [](const auto& info) { return std::string(info.param.server); });

// What is published, and when.

TEST_P(PhotographicPublishing, FirstRayPublishesTheDefaults) {
  const auto camera = ready();
  EXPECT_FALSE(link.exists());
  evaluate(*camera, 0.375);
  const LinkFile file = published();
  EXPECT_EQ(file.at("version"), "1");
  EXPECT_EQ(file.at("plugin"), "ovicam");
  EXPECT_EQ(file.at("plugin_version"), "4.0.0.22");
  EXPECT_EQ(file.at("body"), GetParam().label);
  EXPECT_EQ(file.at("iso"), "800.000000");
  EXPECT_EQ(file.at("iris"), "2.800000");
  EXPECT_EQ(file.at("shutter_angle"), "180.000000");
  EXPECT_EQ(file.at("frame_time"), "0.375000");
  EXPECT_EQ(file.at("scene"), "");
}

TEST_P(PhotographicPublishing, UnchangedValuesAreWrittenOnce) {
  const auto camera = ready();
  evaluate(*camera);
  link.remove();
  for (const double time : {0.0, 0.25, 1.0, 0.25, -1.0, 7.0}) evaluate(*camera, time);
  camera->new_time(1, 0.04);
  camera->new_frame(1, 0.04, 1.0);
  evaluate(*camera);
  EXPECT_FALSE(link.exists());
}

TEST_P(PhotographicPublishing, EveryChangeIsWrittenOnce) {
  const auto camera = ready();
  evaluate(*camera);
  const std::array<std::pair<const char*, const char*>, 3> values{
      {{"PhotoISO", "iso"}, {"PhotoIris", "iris"}, {"PhotoShutter", "shutter_angle"}}};
  for (const auto& [channel, key] : values) {
    for (const double value : {42.5, 42.25}) {
      link.remove();
      camera->parameter(channel).set_constant(value);
      evaluate(*camera, 0.5);
      EXPECT_EQ(number(published(), key), value);
      EXPECT_EQ(number(published(), "frame_time"), 0.5);
      link.remove();
      evaluate(*camera, 0.75);
      EXPECT_FALSE(link.exists()) << key;
    }
  }
}

TEST_P(PhotographicPublishing, AChangeAsSmallAsCanBeIsWritten) {
  const auto camera = ready();
  evaluate(*camera);
  link.remove();
  camera->parameter("PhotoISO").set_constant(std::nextafter(800.0, 801.0));
  evaluate(*camera);
  EXPECT_TRUE(link.exists());
}

TEST_P(PhotographicPublishing, EnvelopesAreReadAtTheFractionItself) {
  const auto camera = create();
  key_exposure(*camera);
  // The frame lies far behind the last key; the fraction of it does not.
  camera->new_frame(300, 10.0, 1.0);
  for (const double time : {0.25, 0.5, 1.0, 0.0}) {
    evaluate(*camera, time);
    EXPECT_EQ(number(published(), "frame_time"), time);
    expect_of_one_time(published());
  }
  evaluate(*camera, 0.125);
  EXPECT_EQ(published().at("iso"), "225.000000");
  EXPECT_EQ(published().at("iris"), "3.500000");
  EXPECT_EQ(published().at("shutter_angle"), "52.500000");
}

TEST_P(PhotographicPublishing, ValuesOfTheLastRayAreThePanelsAndTheSceneFiles) {
  const auto camera = create();
  key_exposure(*camera);
  camera->new_frame(300, 10.0, 1.0);
  evaluate(*camera, 0.5);
  EXPECT_EQ(camera->panel().get_float(iso_control), 600.0);
  EXPECT_EQ(camera->panel().get_float(iris_control), 11.0);
  EXPECT_EQ(camera->panel().get_float(shutter_control), 180.0);
  const auto saved = camera->save_text();
  ASSERT_GE(saved.size(), 3U);
  EXPECT_EQ(std::stod(saved[saved.size() - 3]), 600.0);
  EXPECT_EQ(std::stod(saved[saved.size() - 2]), 11.0);
  EXPECT_EQ(std::stod(saved[saved.size() - 1]), 180.0);
}

TEST_P(PhotographicPublishing, RaysDoNotDependOnTheExposure) {
  const auto camera = ready();
  const RayAnswer before = evaluate(*camera, 0.3);
  camera->parameter("PhotoISO").set_constant(6400.0);
  camera->parameter("PhotoIris").set_constant(16.0);
  camera->parameter("PhotoShutter").set_constant(11.0);
  const RayAnswer after = evaluate(*camera, 0.3);
  EXPECT_EQ(after.result, before.result);
  EXPECT_EQ(after.position, before.position);
  EXPECT_EQ(after.direction, before.direction);
}

TEST_P(PhotographicPublishing, WithoutEnvelopesTheStoredValuesArePublished) {
  const std::size_t count = test_support::camera_facts(GetParam().server).channels.size();
  for (std::size_t refused = count - 2; refused <= count; ++refused) {
    stage.host.parameters.refusal.arm(static_cast<int>(refused));
    const auto camera = create();
    ASSERT_EQ(camera->parameters().size(), count - 1);
    camera->panel().set_float(iso_control, 50.0);
    camera->panel().set_float(iris_control, 4.5);
    camera->panel().set_float(shutter_control, 72.0);
    camera->new_frame(0, 0.0);
    evaluate(*camera);
    EXPECT_EQ(published().at("iso"), "50.000000");
    EXPECT_EQ(published().at("iris"), "4.500000");
    EXPECT_EQ(published().at("shutter_angle"), "72.000000");
  }
}

TEST_P(PhotographicPublishing, ACopyPublishesForItself) {
  const auto source = ready();
  source->panel().set_float(iso_control, 1600.0);
  evaluate(*source);
  const auto copy = ready();
  evaluate(*copy);
  copy->copy_from(*source);
  link.remove();
  evaluate(*copy);
  EXPECT_EQ(published().at("iso"), "1600.000000");
  link.remove();
  // The same values once more, but those of another instance.
  copy->copy_from(*source);
  evaluate(*copy);
  EXPECT_EQ(published().at("iso"), "1600.000000");
  link.remove();
  evaluate(*source);
  EXPECT_FALSE(link.exists());
}

TEST_P(PhotographicPublishing, PublishesBeforeAnyFrameToo) {
  const auto camera = create();
  evaluate(*camera, 0.5);
  EXPECT_EQ(published().at("body"), GetParam().label);
}

TEST_P(PhotographicPublishing, ValuesThatAreNotNumbersAreWrittenOnceToo) {
  LWVParmFuncs table = test_support::host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL);
  table.getVal = [](LWVParmID, LWTime, void*, double* result) { return *result = std::numeric_limits<double>::quiet_NaN(); };
  const auto camera = ready();
  const test_support::ServiceOverride override(stage.module, GetParam().server, LWVPARMFUNCS_GLOBAL, &table);
  evaluate(*camera);
  EXPECT_TRUE(std::isnan(number(published(), "iso")));
  link.remove();
  evaluate(*camera);
  EXPECT_FALSE(link.exists());
}

// Panel and scene file.

TEST_P(PhotographicPublishing, PanelClampsAndTheEnvelopeFollows) {
  struct Typed {
    std::uint32_t control;
    const char* channel;
    double typed;
    double stored;
  };
  const auto camera = create();
  for (const Typed& typed :
       {Typed{iso_control, "PhotoISO", 0.2, 1.0}, Typed{iso_control, "PhotoISO", 1e9, 1e9},
        Typed{iris_control, "PhotoIris", 0.1, 0.5}, Typed{iris_control, "PhotoIris", 0.5, 0.5},
        Typed{shutter_control, "PhotoShutter", 400.0, 360.0}, Typed{shutter_control, "PhotoShutter", 0.0, 1.0},
        Typed{shutter_control, "PhotoShutter", 359.5, 359.5}}) {
    EXPECT_EQ(camera->panel().set_float(typed.control, typed.typed), 1);
    EXPECT_EQ(camera->panel().get_float(typed.control), typed.stored) << typed.channel;
    EXPECT_EQ(camera->parameter(typed.channel).at(0.0), typed.stored) << typed.channel;
  }
}

TEST_P(PhotographicPublishing, LoadedValuesNotAboveZeroBecomeTheDefaults) {
  const auto lines_with = [&](const std::string& text) {
    auto lines = create()->save_text();
    for (std::size_t i = lines.size() - 3; i < lines.size(); ++i) lines[i] = text;
    return lines;
  };
  for (const char* text : {"0", "-5", "nan"}) {
    const auto camera = create();
    camera->panel().set_float(iso_control, 77.0);
    camera->load_text(lines_with(text));
    camera->new_frame(0, 0.0);
    evaluate(*camera);
    EXPECT_EQ(published().at("iso"), "800.000000") << text;
    EXPECT_EQ(published().at("iris"), "2.800000") << text;
    EXPECT_EQ(published().at("shutter_angle"), "180.000000") << text;
    EXPECT_EQ(camera->parameter("PhotoIris").at(0.0), 2.8) << text;
  }
  const auto camera = create();
  camera->load_text(lines_with("12.5"));
  EXPECT_EQ(camera->parameter("PhotoISO").at(0.0), 12.5);
  EXPECT_EQ(camera->parameter("PhotoShutter").at(0.0), 12.5);
}

// Failure.

TEST_P(PhotographicPublishing, AFailedWriteIsTriedAgainAtTheNextRay) {
  const auto camera = ready();
  const fs::path missing = link.folder() / "missing";
  LinkFolder::point_to(missing);
  const RayAnswer ray = evaluate(*camera, 0.5);
  EXPECT_NE(ray.result, 0);
  EXPECT_NEAR(standin::length(ray.direction), 1.0, 1e-6);
  evaluate(*camera, 0.5);
  EXPECT_FALSE(fs::exists(missing));
  EXPECT_TRUE(fs::is_empty(link.folder()));

  fs::create_directory(missing);
  evaluate(*camera, 0.75);
  EXPECT_TRUE(fs::exists(missing / "Quorin_CameraLink.ini"));
  link.point_back();
  evaluate(*camera, 0.75);
  EXPECT_FALSE(link.exists());
}

TEST_P(PhotographicPublishing, AFailedChangeKeepsWhatWasPublishedBefore) {
  const auto camera = ready();
  evaluate(*camera);
  LinkFolder::point_to(link.folder() / "missing");
  camera->parameter("PhotoISO").set_constant(100.0);
  evaluate(*camera);
  link.point_back();
  // Back to the published value: nothing to write.
  camera->parameter("PhotoISO").set_constant(800.0);
  link.remove();
  evaluate(*camera);
  EXPECT_FALSE(link.exists());
  camera->parameter("PhotoISO").set_constant(100.0);
  evaluate(*camera);
  EXPECT_EQ(published().at("iso"), "100.000000");
}

TEST_P(PhotographicPublishing, ATemporaryDirectoryThatDisappearsCostsNoRayAndIsWrittenToWhenItIsBack) {
  const auto camera = ready();
  const fs::path folder = link.folder() / "session";
  fs::create_directory(folder);
  LinkFolder::point_to(folder);
  const RayAnswer before = evaluate(*camera);
  ASSERT_TRUE(fs::exists(folder / "Quorin_CameraLink.ini"));
  for (int turn = 1; turn <= 3; ++turn) {
    fs::remove_all(folder);
    camera->parameter("PhotoISO").set_constant(100.0 * turn);
    const RayAnswer without = evaluate(*camera);
    EXPECT_EQ(without.result, before.result);
    EXPECT_EQ(without.direction, before.direction);
    EXPECT_TRUE(fs::is_empty(link.folder())) << "nobody asked for another directory";
    fs::create_directory(folder);
    const RayAnswer after = evaluate(*camera);
    EXPECT_EQ(after.direction, before.direction);
    ASSERT_TRUE(fs::exists(folder / "Quorin_CameraLink.ini"));
    EXPECT_FALSE(fs::exists(folder / "Quorin_CameraLink.ini.tmp"));
    fs::rename(folder / "Quorin_CameraLink.ini", link.file());
    EXPECT_EQ(published().at("iso"), std::to_string(100.0 * turn));
    link.remove();
  }
  link.point_back();
}

TEST_P(PhotographicPublishing, UnusableTemporaryDirectoriesCostNoRay) {
  const auto camera = ready();
  std::ofstream(link.folder() / "file") << "no directory";
  for (const fs::path& directory : {link.folder() / "file", link.folder() / std::string(300, 'd')}) {
    LinkFolder::point_to(directory);
    EXPECT_NE(evaluate(*camera).result, 0);
  }
  link.point_back();
  // Something in the way of the link file itself: nothing but it is left behind.
  fs::create_directories(link.file() / "occupied");
  EXPECT_NE(evaluate(*camera).result, 0);
  EXPECT_FALSE(fs::exists(link.file().string() + ".tmp"));
  fs::remove_all(link.file());
  evaluate(*camera);
  EXPECT_EQ(published().at("iso"), "800.000000");
}

// Several threads.

class RenderThreads : public PhotographicPublishing {
 protected:
  static constexpr int thread_count = 4;

  /// Runs `work(thread)` on each thread, and `meanwhile` on this one until all have ended.
  template <class Work, class Meanwhile>
  static void run(Work work, Meanwhile meanwhile) {
    std::atomic<int> running = thread_count;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < thread_count; ++thread) {
      threads.emplace_back([&, thread] {
        work(thread);
        --running;
      });
    }
    while (running > 0) meanwhile();
    for (std::thread& thread : threads) thread.join();
  }
};

INSTANTIATE_TEST_SUITE_P(Cameras, RenderThreads, testing::ValuesIn(publishers),
                         [](const auto& info) { return std::string(info.param.server); });

TEST_P(RenderThreads, EveryPublishedFileHoldsTheValuesOfOneEvaluation) {
  const auto camera = create();
  key_exposure(*camera);
  camera->new_frame(0, 0.0, 1.0, 8);
  int seen = 0;
  run(
      [&](int thread) {
        std::mt19937 random(static_cast<unsigned>(thread));
        std::uniform_real_distribution<double> fraction(0.0, 1.0);
        for (int ray = 0; ray < 400; ++ray) evaluate(*camera, fraction(random));
      },
      [&] {
        const auto file = link.read();
        if (!file) return;
        ++seen;
        ASSERT_EQ(file->at("body"), GetParam().label);
        expect_of_one_time(*file);
      });
  EXPECT_GT(seen, 0);
  EXPECT_FALSE(fs::exists(link.file().string() + ".tmp"));

  // Whatever was put off while others wrote, or because there were many: the last ray's values are in the file in the end.
  evaluate(*camera, 0.625);
  camera->clean_up();
  EXPECT_EQ(published().at("frame_time"), "0.625000");
  expect_of_one_time(published());
}

/// The thread that is held waits inside its last read until another evaluation is over.
thread_local bool is_held = false;
std::atomic<bool> let_go = false;
std::atomic<int> reads_of_held = 0;

double read_time_and_wait(LWVParmID /*parameter*/, LWTime time, void* /*data*/, double* result) {
  if (is_held && ++reads_of_held == 3)
    while (!let_go) std::this_thread::yield();
  return *result = 100.0 + time;
}

TEST_P(RenderThreads, AnEvaluationPublishesItsOwnValuesWhateverOthersReadMeanwhile) {
  LWVParmFuncs table = test_support::host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL);
  table.getVal = read_time_and_wait;
  const auto camera = ready();
  const test_support::ServiceOverride override(stage.module, GetParam().server, LWVPARMFUNCS_GLOBAL, &table);
  let_go = false;
  reads_of_held = 0;
  std::thread held([&] {
    is_held = true;
    evaluate(*camera, 0.25);
  });
  while (reads_of_held < 3) std::this_thread::yield();
  evaluate(*camera, 0.75);
  EXPECT_EQ(published().at("iso"), "100.750000");
  let_go = true;
  held.join();
  EXPECT_EQ(published().at("frame_time"), "0.250000");
  EXPECT_EQ(published().at("iso"), "100.250000");
  EXPECT_EQ(published().at("iris"), "100.250000");
  EXPECT_EQ(published().at("shutter_angle"), "100.250000");
}

TEST_P(RenderThreads, SeveralInstancesNeverMixTheirValues) {
  std::vector<std::unique_ptr<HostedCamera>> cameras;
  for (int i = 0; i < thread_count; ++i) {
    cameras.push_back(create());
    key_exposure(*cameras.back());
    cameras.back()->new_frame(0, 0.0, 1.0);
  }
  run(
      [&](int thread) {
        for (int ray = 0; ray < 300; ++ray)
          evaluate(*cameras[static_cast<std::size_t>(thread)], (ray * thread_count + thread) / 1200.0);
      },
      [&] {
        if (const auto file = link.read()) expect_of_one_time(*file);
      });
  expect_of_one_time(published());
}

TEST_P(RenderThreads, UnchangedValuesAreWrittenOnceByAllOfThem) {
  const auto camera = ready();
  evaluate(*camera);
  link.remove();
  run(
      [&](int thread) {
        for (int ray = 0; ray < 2000; ++ray) evaluate(*camera, (ray % 7 + thread) / 10.0);
      },
      [] {});
  EXPECT_FALSE(link.exists());
}

TEST_P(RenderThreads, RaysAreThoseOfOneThread) {
  test_support::send(stage.host.item("Camera"), {{1, 2, 3}, {-4, 5, 0}, {0.2, 0.4, -0.3}, {-1.0, 1.2, 0.9}});
  const auto camera = create();
  key_exposure(*camera);
  camera->new_frame(0, 0.2, 1.0, 7);
  const auto queries = test_support::ray_queries(0.02, 0.015, 64);
  std::vector<RayAnswer> expected;
  for (const RayQuery& query : queries) expected.push_back(camera->evaluate(query));
  std::atomic<int> different = 0;
  run(
      [&](int thread) {
        for (int ray = 0; ray < 256; ++ray) {
          const auto which = static_cast<std::size_t>(ray * (thread + 1)) % queries.size();
          const RayAnswer answer = camera->evaluate(queries[which]);
          const bool same = answer.result == expected[which].result && answer.position == expected[which].position &&
                            answer.direction == expected[which].direction && answer.film_normal == expected[which].film_normal;
          different += same ? 0 : 1;
        }
      },
      [] {});
  EXPECT_EQ(different, 0);
}

TEST_P(RenderThreads, AMissingTemporaryDirectoryCostsNoRay) {
  const auto camera = ready();
  LinkFolder::point_to(link.folder() / "missing");
  std::atomic<int> rays = 0;
  run(
      [&](int) {
        for (int ray = 0; ray < 200; ++ray) rays += evaluate(*camera).result != 0 ? 1 : 0;
      },
      [] {});
  EXPECT_EQ(rays, thread_count * 200);
  link.point_back();
  EXPECT_FALSE(link.exists());
  evaluate(*camera);
  camera->clean_up();
  EXPECT_EQ(published().at("iso"), "800.000000");
}

TEST_P(PhotographicPublishing, AFrameOfManyExposuresEndsWithTheLastOfThem) {
  const auto camera = create();
  key_exposure(*camera);
  for (const bool render_ends : {false, true}) {
    camera->new_frame(0, 0.0, 1.0);
    for (int ray = 1; ray <= 2000; ++ray) evaluate(*camera, ray / 2048.0);
    if (render_ends)
      camera->clean_up();
    else
      camera->new_frame(1, 1.0, 1.0);
    EXPECT_EQ(published().at("frame_time"), "0.976562");
    expect_of_one_time(published());
    link.remove();
  }
}

TEST_P(PhotographicPublishing, AFileThatCannotBeWrittenForLongIsThereWhenTheNextFrameBegins) {
  const auto camera = ready();
  LinkFolder::point_to(link.folder() / "missing");
  for (int ray = 0; ray < 1000; ++ray) evaluate(*camera);
  link.point_back();
  camera->new_frame(1, 1.0, 1.0);
  EXPECT_EQ(published().at("iso"), "800.000000");
}

}  // namespace photographic_publishing_test
