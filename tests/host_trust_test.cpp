/// A host that changes its mind, and one that answers what no host should; and a stand-in that renders for long.

#include <array>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>

#include "tests/support/camera_facts.h"
#include "tests/support/service_override.h"
#include "tests/support/stage.h"

namespace {

using standin::HostedCamera;
using standin::RayAnswer;
using test_support::all_cameras;
using test_support::CameraFacts;

class HostTrust : public testing::TestWithParam<CameraFacts> {
 protected:
  static RayAnswer ray(const HostedCamera& camera) {
    return camera.evaluate({.film_x = 0.003, .film_y = 0.002, .fractional_time = 0.25});
  }

  test_support::Stage stage;
};

TEST_P(HostTrust, ARefusedActivationLeavesLivingInstancesTheirServices) {
  auto camera = stage.create(GetParam().server_name);
  const standin::Server& row = stage.module.server(LWCAMERA_HANDLER_CLASS, GetParam().server_name);
  camera->new_frame(0, 0.0, 0.02, 4);
  const RayAnswer before = ray(*camera);
  for (const char* service : {LWITEMINFO_GLOBAL, LWCAMERAINFO_GLOBAL, LWTIMEINFO_GLOBAL, LWXPANELFUNCS_GLOBAL,
                              LWVPARMFUNCS_GLOBAL, LWMESSAGEFUNCS_GLOBAL}) {
    stage.host.withhold(service);
    LWCameraHandler handler{};
    EXPECT_EQ(stage.module.activate(row, 4, &handler), AFUNC_BADGLOBAL) << service;
    camera->new_frame(1, 0.1, 0.02, 4);
    camera->new_frame(0, 0.0, 0.02, 4);
    const RayAnswer after = ray(*camera);
    EXPECT_EQ(after.result, before.result) << service;
    if (before.result != 0) EXPECT_EQ(after.direction, before.direction) << service;
    stage.host.offer(service);
  }
  // With services that were lost, the envelopes would stay behind.
  stage.host.withhold(LWVPARMFUNCS_GLOBAL);
  LWCameraHandler handler{};
  stage.module.activate(row, 4, &handler);
  camera.reset();
  stage.host.offer(LWVPARMFUNCS_GLOBAL);
}

TEST_P(HostTrust, ACameraWithoutAnItemIsNotAskedAbout) {
  const auto camera = stage.create(GetParam().server_name);
  const LWCameraHandler& handler = camera->handler();
  LWError error = nullptr;
  LWInstance instance = handler.inst->create(handler.inst->priv, nullptr, &error);
  ASSERT_NE(instance, nullptr);
  LWFrameInfo frame = camera->frame_info();
  frame.duration = 0.02;
  LWCameraAccess access = camera->access();
  access.cameraID = nullptr;
  handler.rend->init(instance, LWRM_RENDER);
  handler.rend->newTime(instance, 1, 0.1);
  handler.newFrame(instance, &frame, &access);
  LWCameraRay answer{};
  handler.evaluate(instance, 0.001, 0.001, 0.0, 0.0, 0.3, LWCAMEYE_CENTER, &answer, &access);
  const LWDVector world = {0.0, 0.0, 5.0};
  LWDVector film = {};
  handler.project(instance, 0.0, 0.0, world, 0.3, LWCAMEYE_CENTER, film, &access);
  handler.rend->cleanup(instance);
  handler.inst->destroy(instance);
  // The stage fails for every question about an item that is none.
}

INSTANTIATE_TEST_SUITE_P(EveryCamera, HostTrust, testing::ValuesIn(all_cameras()),
                         [](const auto& each) { return each.param.server_name; });

TEST(BakingPopups, HaveNoMoreEntriesThanThereAreNumbers) {
  test_support::Stage stage;
  const std::string server = "QuorinBakingCam";
  const auto camera = stage.create(server);
  const standin::Panel& panel = camera->panel();
  static int answer = 0;
  LWObjectFuncs table = test_support::host_table<LWObjectFuncs>(LWOBJECTFUNCS_GLOBAL);
  table.numObjects = [] { return answer; };
  table.numVMaps = [](LWID) { return answer; };
  const test_support::ServiceOverride override(stage.module, server, LWOBJECTFUNCS_GLOBAL, &table);
  for (const char* label : {"Mesh", "UV Map"}) {
    const auto hints = panel.hints_of(LWXPTAG_POPFUNCS, panel.control(label).id);
    ASSERT_FALSE(hints.empty());
    const auto count = reinterpret_cast<LWXPanelPopCountFunc*>(hints.back()->arguments.at(1));
    for (const auto& [told, entries] : {std::pair{0, 1},
                                        {-5, 1},
                                        {7, 8},
                                        {std::numeric_limits<int>::min(), 1},
                                        {std::numeric_limits<int>::max() - 1, std::numeric_limits<int>::max()},
                                        {std::numeric_limits<int>::max(), std::numeric_limits<int>::max()}}) {
      answer = told;
      EXPECT_EQ(count(camera->raw()), entries) << label;
    }
  }
}

TEST(StandInLists, DoNotGrowWithTheFrames) {
  test_support::Stage stage;
  for (int i = 0; i < 12000; ++i) {
    stage.host.record_message({"info", {"again"}});
    stage.host.evaluators.log("newFrame " + std::to_string(i));
    standin::Host::global()(LWITEMINFO_GLOBAL, GFUSE_TRANSIENT);
  }
  EXPECT_LE(stage.host.messages().size(), 10000U);
  EXPECT_LE(stage.host.services_asked().size(), 10000U);
  EXPECT_LE(stage.host.evaluators.calls().size(), 10000U);
  EXPECT_EQ(stage.host.evaluators.calls().back(), "newFrame 11999");

  standin::ObjectFile object;
  object.layers.emplace_back();
  stage.host.scene_objects.add("one", std::move(object));
  const auto& functions = test_support::host_table<LWObjectFuncs>(LWOBJECTFUNCS_GLOBAL);
  const int last = functions.numObjects() - 1;
  LWMeshInfo* open = functions.layerMesh(last, 0);
  ASSERT_NE(open, nullptr);
  for (int i = 0; i < 2000; ++i) {
    LWMeshInfo* mesh = functions.layerMesh(last, 0);
    ASSERT_NE(mesh, nullptr);
    mesh->destroy(mesh);
  }
  EXPECT_LE(stage.host.scene_objects.meshes.size(), 512U);
  EXPECT_EQ(open->numPoints(open), 0) << "one that is open stays";
  open->destroy(open);
}

}  // namespace
