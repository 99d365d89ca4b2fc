#include <climits>
#include <gtest/gtest.h>
#include <vector>

#include "cameras/multiview/tile_camera_suite.h"

namespace test_support {

INSTANTIATE_TEST_SUITE_P(Dual, TileCameraTest,
                         testing::Values(TileCamera{
                             "QuorinMultiCam", 2,
                             [](const DividedFilm& film, double x, double) -> std::size_t { return film.split_x > x ? 0 : 1; },
                             [](const DividedFilm& film, std::size_t tile) -> FilmOffset {
                               return {tile == 0 ? 0.25 * film.width : -0.25 * film.width, 0.0};
                             },
                             [](const DividedFilm& film) { return std::vector<double>{film.split_x}; },
                             [](const DividedFilm&) { return std::vector<double>{}; }}));

}  // namespace test_support

namespace dual_cam_test {

using test_support::host_table;
using test_support::ServiceOverride;
using test_support::Stage;

TEST(DualCamera, FilmPositionOnTheSplitBelongsToTheRightCamera) {
  Stage stage;
  const auto camera = stage.create("QuorinMultiCam");
  camera->panel().set_integer(0x8006, 1);
  camera->panel().set_integer(0x8007, 2);
  camera->init_render();
  camera->begin_frame(1);
  stage.host.evaluators.record_requests(true);
  // 0.95 of a pixel's width right of the centre.
  const double split = 0.95 / 640 * camera->access().filmSize[0];
  camera->evaluate({.film_x = split});
  camera->evaluate({.film_x = std::nextafter(split, 0.0)});
  const auto requests = stage.host.evaluators.requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0].camera_name, "Other 2");
  EXPECT_EQ(requests[0].query.film_x, split - 0.25 * camera->access().filmSize[0]);
  EXPECT_EQ(requests[1].camera_name, "Other 1");
}

// --- A host's list of cameras that is not what it should be. The functions of the list are those of every camera popup.

LWItemID item(std::uintptr_t number) { return reinterpret_cast<LWItemID>(number); }
std::uintptr_t number(LWItemID id) { return reinterpret_cast<std::uintptr_t>(id); }

/// The popup of a camera whose host lists the items 1, 2, 3, …, each followed by what `next` says.
struct StrangeList {
  explicit StrangeList(LWItemID (*next)(LWItemID)) : camera(stage.create("QuorinMultiCam")), panel(&camera->panel()) {
    table = host_table<LWItemInfo>(LWITEMINFO_GLOBAL);
    table.first = [](LWItemType, LWItemID) { return item(1); };
    table.next = next;
    table.name = [](LWItemID) { return "listed"; };
    override_.emplace(stage.module, "QuorinMultiCam", LWITEMINFO_GLOBAL, &table);
    const auto* const hint = panel->hints_of(LWXPTAG_POPFUNCS, 0x8006).at(0);
    count = reinterpret_cast<LWXPanelPopCountFunc*>(hint->arguments.at(1));
    name = reinterpret_cast<LWXPanelPopNameFunc*>(hint->arguments.at(2));
  }

  Stage stage;
  std::unique_ptr<standin::HostedCamera> camera;
  standin::Panel* panel;
  LWItemInfo table{};
  std::optional<ServiceOverride> override_;
  LWXPanelPopCountFunc* count = nullptr;
  LWXPanelPopNameFunc* name = nullptr;
};

TEST(CameraList, ThatLeadsBackToItsFirstEndsThere) {
  StrangeList list([](LWItemID id) { return item(number(id) % 3 + 1); });
  EXPECT_EQ(list.count(list.camera->raw()), 1 + 3);
  EXPECT_STREQ(list.name(list.camera->raw(), 3), "listed");
  EXPECT_STREQ(list.name(list.camera->raw(), 4), "(none)");
  EXPECT_STREQ(list.name(list.camera->raw(), INT_MAX), "(none)");
}

TEST(CameraList, ThatLeadsBackIntoItselfEnds) {
  StrangeList list([](LWItemID id) { return item(number(id) == 9 ? 5 : number(id) + 1); });
  const int entries = list.count(list.camera->raw());
  EXPECT_GE(entries, 1 + 9);
  EXPECT_LT(entries, 100);
  EXPECT_STREQ(list.name(list.camera->raw(), 9), "listed");
  EXPECT_STREQ(list.name(list.camera->raw(), entries), "(none)");
  EXPECT_STREQ(list.name(list.camera->raw(), INT_MAX), "(none)");
  list.panel->set_integer(0x8006, INT_MAX);
  EXPECT_EQ(list.panel->get_integer(0x8006), 0);
}

TEST(CameraList, ThatIsItsOwnNextEnds) {
  StrangeList list([](LWItemID id) { return id; });
  EXPECT_EQ(list.count(list.camera->raw()), 1 + 1);
}

TEST(CameraList, ThatChangesForEverEnds) {
  StrangeList list([](LWItemID) {
    static std::uintptr_t last = 1;
    return item(++last);
  });
  EXPECT_GT(list.count(list.camera->raw()), 1000);
  EXPECT_STREQ(list.name(list.camera->raw(), INT_MAX), "(none)");
  list.camera->init_render();
}

TEST(CameraList, ThatSwitchesBetweenTwoListsEnds) {
  StrangeList list([](LWItemID id) {
    static int calls = 0;
    return ++calls % 7 == 0 ? item(2) : item(number(id) + 1);
  });
  EXPECT_GE(list.count(list.camera->raw()), 1);
  EXPECT_STREQ(list.name(list.camera->raw(), INT_MAX), "(none)");
}

TEST(CameraList, WithoutCamerasHasNoneToChoose) {
  StrangeList list([](LWItemID) { return LWItemID{}; });
  list.table.first = [](LWItemType, LWItemID) { return LWItemID{}; };
  EXPECT_EQ(list.count(list.camera->raw()), 1);
  EXPECT_STREQ(list.name(list.camera->raw(), 1), "(none)");
  list.panel->set_integer(0x8006, 1);
  EXPECT_EQ(list.panel->get_integer(0x8006), 0);
}

TEST(CameraList, CameraWithoutANameIsStillAnEntry) {
  StrangeList list([](LWItemID id) { return number(id) < 3 ? item(number(id) + 1) : nullptr; });
  list.table.name = [](LWItemID id) -> const char* { return number(id) == 2 ? nullptr : "named"; };
  EXPECT_EQ(list.count(list.camera->raw()), 4);
  EXPECT_STREQ(list.name(list.camera->raw(), 1), "named");
  EXPECT_STREQ(list.name(list.camera->raw(), 2), "(none)");
  EXPECT_STREQ(list.name(list.camera->raw(), 3), "named");
}

}  // namespace dual_cam_test
