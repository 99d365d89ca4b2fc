/// A host that changes its mind, and one that answers what no host should; and a stand-in that renders for long.

#include <array>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>

#include "tests/support/camera_facts.h"
#include "tests/support/service_override.h"
#include "tests/support/stage.h"

namespace host_trust_test {

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

/// The host's global function, but after so many answers it answers null.
int answers_left = 0;
void* ending_global(const char* service, int use) {
  if (answers_left == 0) return nullptr;
  --answers_left;
  return standin::Host::global()(service, use);
}

TEST_P(HostTrust, ServicesThatVanishDuringAnActivationLeaveLivingCamerasAlone) {
  const CameraFacts& facts = GetParam();
  auto camera = stage.create(facts.server_name);
  if (facts.looks_through_other_cameras)
    for (const standin::PanelHint* hint : camera->panel().hints_of(LWXPTAG_POPFUNCS))
      camera->panel().set_integer(hint->control(), 1);
  camera->init_render();
  camera->new_frame(0, 0.0, 0.02, 4);
  const RayAnswer before = ray(*camera);
  const auto saved = camera->save_text();
  const auto activate = [&](const char* server_class, int version, void* local, GlobalFunc* global) {
    return stage.module.server(server_class, facts.server_name).activate(version, global, local, stage.module.server_data());
  };
  constexpr int most_services = 20;
  int refused = 0;
  int granted = 0;
  for (int count = 0; count <= most_services; ++count) {
    SCOPED_TRACE(count);
    answers_left = count;
    LWCameraHandler handler{};
    const int answer = activate(LWCAMERA_HANDLER_CLASS, LWCAMERA_HANDLER_VERSION, &handler, ending_global);
    const bool all_answered = answers_left > 0;
    answers_left = 0;
    ++(answer == AFUNC_OK ? granted : refused);
    EXPECT_TRUE(answer == AFUNC_OK || answer == AFUNC_BADGLOBAL) << answer;
    EXPECT_EQ(handler.evaluate != nullptr, answer == AFUNC_OK);
    if (all_answered) EXPECT_EQ(answer, AFUNC_OK);
    LWInterface local{};
    local.inst = camera->raw();
    EXPECT_EQ(activate(LWCAMERA_INTERFACE_CLASS, LWCAMERA_INTERFACE_VERSION, &local, ending_global), AFUNC_OK)
        << "the panel service is at hand since the first activation";
    if (local.panel != nullptr) stage.host.panels.destroy(local.panel);

    camera->new_time(1, 0.1);
    camera->new_frame(1, 0.1, 0.02, 4);
    camera->new_frame(0, 0.0, 0.02, 4);
    const RayAnswer after = ray(*camera);
    if (answer != AFUNC_OK || all_answered) EXPECT_EQ(after.result, before.result);
    if (after.result != LWCAMEVAL_NONE) EXPECT_EQ(after.direction, before.direction);
    camera->project({0.1, 0.2, 5.0}, 0.3);
    LWDMatrix4 matrix{};
    camera->preview(matrix);
    for (const standin::PanelControl& control : camera->panel().controls) camera->panel().choices(control.id);
    camera->load_text(saved);
    EXPECT_EQ(camera->save_text(), saved);
    standin::GizmoDrawing drawing;
    camera->draw_gizmo(drawing);

    // Another camera, as soon as there is a whole host again.
    const auto another = stage.create(facts.server_name);
    another->copy_from(*camera);
    camera->new_frame(0, 0.0, 0.02, 4);
    EXPECT_EQ(ray(*camera).result, before.result);
    if (before.result != LWCAMEVAL_NONE) EXPECT_EQ(ray(*camera).direction, before.direction);
  }
  EXPECT_GE(refused, 6);
  EXPECT_GE(granted, 1);
}

TEST_P(HostTrust, ServicesThatVanishDuringTheFirstActivationAreNoReasonNotToTryAgain) {
  const standin::Server& row = stage.module.server(LWCAMERA_HANDLER_CLASS, GetParam().server_name);
  const standin::Server& panel = stage.module.server(LWCAMERA_INTERFACE_CLASS, GetParam().server_name);
  int refused = 0;
  for (int answer = AFUNC_BADGLOBAL; answer != AFUNC_OK; ++refused) {
    ASSERT_LT(refused, 20);
    LWInstanceFuncs instance{};
    LWCameraHandler handler{};
    handler.inst = &instance;
    answers_left = refused;
    answer = row.activate(LWCAMERA_HANDLER_VERSION, ending_global, &handler, stage.module.server_data());
    answers_left = 0;
    EXPECT_EQ(instance.create != nullptr, answer == AFUNC_OK);
    if (answer == AFUNC_OK) break;
    EXPECT_EQ(answer, AFUNC_BADGLOBAL);
    LWInterface local{};
    EXPECT_EQ(panel.activate(LWCAMERA_INTERFACE_VERSION, ending_global, &local, stage.module.server_data()), AFUNC_BADGLOBAL);
    EXPECT_EQ(local.panel, nullptr);
  }
  EXPECT_GE(refused, 6);
  const auto camera = stage.create(GetParam().server_name);
  camera->new_frame(0, 0.0, 0.02, 4);
  ray(*camera);
  camera->panel();
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

}  // namespace host_trust_test
