/// The memory through which rays pass between the ray service and its client, and the pipe where there is none.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "standin/remote/ray_protocol.h"
#include "standin/remote/shared_rays.h"
#include "tests/support/paths.h"
#include "tests/support/ray_service_fixture.h"

namespace standin::native_shared_rays_test {

namespace fs = std::filesystem;
using namespace ray_protocol;

TEST(SharedRays, BothEndsSeeTheSame) {
  constexpr std::size_t requests = 3;
  constexpr std::size_t most = 100;
  const auto client = SharedRays::create(requests, most);
  ASSERT_NE(client, nullptr);
  const fs::path file = client->file();
  {
    const auto service = SharedRays::open(file, requests, most);
    ASSERT_NE(service, nullptr);
    client->remove_file();
    EXPECT_FALSE(fs::exists(file));
    ASSERT_EQ(service->requests(), requests);
    for (std::size_t request = 0; request < requests; ++request) {
      ASSERT_EQ(client->queries(request).size(), most);
      ASSERT_EQ(service->answers(request).size(), most);
      const auto number = static_cast<double>(request);
      client->queries(request).back().film_x = 0.25 + number;
      EXPECT_EQ(service->queries(request).back().film_x, 0.25 + number);
      service->answers(request).front().direction.y = -3.0 - number;
      service->answers(request).back().film_normal.z = 2.0 + number;
    }
  }
  for (std::size_t request = 0; request < requests; ++request) {
    const auto number = static_cast<double>(request);
    EXPECT_EQ(client->queries(request).back().film_x, 0.25 + number);
    EXPECT_EQ(client->answers(request).front().direction.y, -3.0 - number);
    EXPECT_EQ(client->answers(request).back().film_normal.z, 2.0 + number);
  }
}

TEST(SharedRays, AFileOfAnotherSizeIsNotMapped) {
  const fs::path file = test_support::scratch_folder() / "rays";
  EXPECT_EQ(SharedRays::open(file, 2, 10), nullptr);
  const auto client = SharedRays::create(2, 10);
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(SharedRays::open(client->file(), 2, 9), nullptr);
  EXPECT_EQ(SharedRays::open(client->file(), 2, 11), nullptr);
  EXPECT_EQ(SharedRays::open(client->file(), 1, 10), nullptr);
  EXPECT_EQ(SharedRays::open(client->file(), 3, 10), nullptr);
  EXPECT_EQ(SharedRays::open(client->file(), 0, 10), nullptr);
  EXPECT_NE(SharedRays::open(client->file(), 2, 10), nullptr);
}

TEST(SharedRays, LeavesNoFile) {
  fs::path file;
  {
    const auto client = SharedRays::create(1, 10);
    ASSERT_NE(client, nullptr);
    file = client->file();
    EXPECT_TRUE(fs::exists(file));
  }
  EXPECT_FALSE(fs::exists(file));
}

class PipedRays : public test_support::RayService {
 protected:
  static constexpr std::uint32_t count = 5000;

  static std::vector<RayQuery> queries() {
    std::vector<RayQuery> all(count);
    for (std::uint32_t i = 0; i < count; ++i) all[i].film_x = 0.01 * (static_cast<double>(i) / count - 0.5);
    return all;
  }

  static std::vector<PointQuery> points() {
    std::vector<PointQuery> all(count);
    for (std::uint32_t i = 0; i < count; ++i) all[i].world = {static_cast<double>(i) / count, 0.3, 4.0};
    return all;
  }

  static void write_message(std::ofstream& in, const std::vector<char>& bytes) {
    const auto size = static_cast<std::uint32_t>(bytes.size());
    in.write(reinterpret_cast<const char*>(&size), sizeof size).write(bytes.data(), size);
  }

  /// What the service's program writes when it is offered that memory.
  fs::path answers_to(const fs::path& shared_rays) const {
    std::ofstream in(folder_ / "requests", std::ios::binary);
    for (const auto& bytes :
         {packed(OpenSession{{}, options_, shared_rays, 1}), packed(BeginFrame{0}), packed(EvaluateRays{count, 0})})
      write_message(in, bytes);
    const std::vector<RayQuery> asked = queries();
    in.write(reinterpret_cast<const char*>(asked.data()), static_cast<std::streamsize>(count * sizeof(RayQuery)));
    write_message(in, packed(ProjectPoints{count, 0}));
    const std::vector<PointQuery> places = points();
    in.write(reinterpret_cast<const char*>(places.data()), static_cast<std::streamsize>(count * sizeof(PointQuery)));
    in.close();
    const auto program = test_support::module_file().parent_path() / "ovicam-ray-service";
    auto answers = folder_ / "answers";
    const std::string command =
        "'" + program.string() + "' <'" + (folder_ / "requests").string() + "' >'" + answers.string() + "'";
    // NOLINTNEXTLINE(cert-env33-c): a command of the test's own making
    EXPECT_EQ(std::system(command.c_str()), 0);
    return answers;
  }

  template <class Answer>
  static Answer next(std::ifstream& out) {
    std::uint32_t size = 0;
    out.read(reinterpret_cast<char*>(&size), sizeof size);
    std::vector<char> bytes(out ? size : 0);
    out.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    MessageReader reader(std::move(bytes));
    Kind kind{};
    reader(kind);
    EXPECT_EQ(kind, Answer::kind);
    return unpacked<Answer>(reader);
  }
};

TEST_F(PipedRays, WithoutSharedMemoryTheyFollowTheMessages) {
  std::vector<RayAnswer> here(count);
  std::vector<PointAnswer> film_here(count);
  {
    const auto session = open_session(options_);
    session->begin_frame(0);
    session->evaluate(queries(), here);
    session->project(points(), film_here);
    session->end();
    EXPECT_THROW(session->begin_frame(1), std::runtime_error);
  }
  std::ofstream(folder_ / "short") << "too short";
  for (const fs::path& offered : {fs::path(), folder_ / "missing", folder_ / "short"}) {
    std::ifstream out(answers_to(offered), std::ios::binary);
    next<OpenSession::Answer>(out);
    EXPECT_FALSE(next<BeginFrame::Answer>(out).shares_rays) << offered;
    EXPECT_EQ(next<EvaluateRays::Answer>(out).failure, "");
    std::vector<RayAnswer> there(count);
    ASSERT_TRUE(out.read(reinterpret_cast<char*>(there.data()), static_cast<std::streamsize>(count * sizeof(RayAnswer))));
    for (std::uint32_t i = 0; i < count; ++i) {
      ASSERT_EQ(there[i].result, here[i].result) << i;
      ASSERT_EQ(there[i].direction, here[i].direction) << i;
    }
    next<ProjectPoints::Answer>(out);
    std::vector<PointAnswer> film(count);
    ASSERT_TRUE(out.read(reinterpret_cast<char*>(film.data()), static_cast<std::streamsize>(count * sizeof(PointAnswer))));
    for (std::uint32_t i = 0; i < count; ++i) {
      ASSERT_EQ(film[i].found, 1) << i;
      ASSERT_EQ(film[i].film_x, film_here[i].film_x) << i;
    }
    EXPECT_EQ(out.peek(), std::ifstream::traits_type::eof());
  }
}

}  // namespace standin::native_shared_rays_test
