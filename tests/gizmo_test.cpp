#include <array>
#include <climits>
#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "tests/support/camera_facts.h"
#include "tests/support/exports.h"
#include "tests/support/stage.h"

namespace gizmo_test {

using test_support::CameraFacts;
using test_support::Stage;

using Slots = std::array<void*, 14>;
static_assert(sizeof(Slots) == sizeof(LWGizmoFuncs));

Slots slots_of(const LWGizmoFuncs& functions) {
  Slots slots;
  std::memcpy(slots.data(), &functions, sizeof functions);
  return slots;
}

int host_end(LWInstance /*instance*/, LWToolEvent* /*event*/, int /*index*/) { return 42; }

/// A record whose every byte but the pointer to the functions is known.
struct Gizmo {
  LWGizmoFuncs functions;
  LWGizmo record;

  Gizmo() {
    std::memset(static_cast<void*>(&functions), 0xA5, sizeof functions);
    std::memset(static_cast<void*>(&record), 0xA5, sizeof record);
    functions.end = host_end;
    record.gizmo = &functions;
  }
};

class CameraGizmo : public testing::TestWithParam<CameraFacts> {
 protected:
  int activate(int version, Gizmo& gizmo) {
    return stage.module.activate(stage.module.server(LWCAMERA_GIZMO_CLASS, facts.server_name), version, &gizmo.record);
  }
  const CameraFacts& facts = GetParam();
  Stage stage;
};

INSTANTIATE_TEST_SUITE_P(All, CameraGizmo, testing::ValuesIn(test_support::all_cameras()),
                         [](const auto& camera) { return camera.param.server_name; });

TEST_P(CameraGizmo, FillsItsRecordInOrder) {
  Gizmo gizmo;
  ASSERT_EQ(activate(5, gizmo), AFUNC_OK);
  // Done, draw, help, no dirty, no count, handle, start, adjust, down, move, up, event, no panel, the host's end.
  const std::array<std::pair<const char*, const char*>, 13> functions{{{"Gizmo_done", "Pv"},
                                                                       {"Gizmo_draw", "PvP17LWCustomObjAccess"},
                                                                       {"Gizmo_help", "PvP11LWToolEvent"},
                                                                       {nullptr, nullptr},
                                                                       {nullptr, nullptr},
                                                                       {"Gizmo_handle", "PvP11LWToolEventiPd"},
                                                                       {"Gizmo_start", "PvP11LWToolEvent"},
                                                                       {"Gizmo_adjust", "PvP11LWToolEventi"},
                                                                       {"Gizmo_down", "PvP11LWToolEvent"},
                                                                       {"Gizmo_move", "PvP11LWToolEvent"},
                                                                       {"Gizmo_up", "PvP11LWToolEvent"},
                                                                       {"Gizmo_event", "Pvi"},
                                                                       {nullptr, nullptr}}};
  const Slots slots = slots_of(gizmo.functions);
  for (std::size_t i = 0; i < functions.size(); ++i) {
    const auto& [function, arguments] = functions[i];
    if (function == nullptr) {
      EXPECT_EQ(slots[i], nullptr) << "slot " << i;
      continue;
    }
    const std::string name = test_support::exported_name(facts.name_space, function, arguments);
    ASSERT_NE(stage.module.library().find(name.c_str()), nullptr) << name;
    EXPECT_EQ(slots[i], stage.module.library().find(name.c_str())) << name;
  }
}

TEST_P(CameraGizmo, LeavesTheHostsOwnSlotsAlone) {
  Gizmo gizmo;
  const Gizmo untouched;
  ASSERT_EQ(activate(5, gizmo), AFUNC_OK);
  EXPECT_EQ(gizmo.functions.end, &host_end);
  EXPECT_EQ(gizmo.record.gizmo, &gizmo.functions);
  EXPECT_EQ(std::memcmp(&gizmo.record.instance, &untouched.record.instance, sizeof(LWInstance)), 0);
  EXPECT_EQ(std::memcmp(&gizmo.record.pickItems, &untouched.record.pickItems, sizeof gizmo.record.pickItems), 0);
}

TEST_P(CameraGizmo, OtherVersionIsRefusedAndLeavesTheRecordUntouched) {
  for (const int version : {INT_MIN, -1, 0, 1, 2, 3, 4, 6, 7, INT_MAX}) {
    Gizmo gizmo;
    const Gizmo untouched;
    EXPECT_EQ(activate(version, gizmo), AFUNC_BADVERSION) << version;
    EXPECT_EQ(slots_of(gizmo.functions), slots_of(untouched.functions)) << version;
    EXPECT_EQ(gizmo.record.gizmo, &gizmo.functions);
    EXPECT_EQ(std::memcmp(&gizmo.record.instance, &untouched.record.instance, sizeof(LWInstance)), 0) << version;
  }
}

TEST_P(CameraGizmo, OffersNoHandles) {
  Gizmo gizmo;
  ASSERT_EQ(activate(5, gizmo), AFUNC_OK);
  const auto camera = stage.create(facts.server_name);
  const LWGizmoFuncs& functions = gizmo.functions;
  for (LWInstance instance : {camera->raw(), LWInstance{nullptr}}) {
    LWDVector position{1.0, 2.0, 3.0};
    for (const int index : {INT_MIN, -1, 0, 1, INT_MAX}) {
      EXPECT_EQ(functions.handle(instance, nullptr, index, position), facts.gizmo_handle_answer);
      EXPECT_EQ(functions.adjust(instance, nullptr, index), facts.gizmo_handle_answer);
      functions.event(instance, index);
    }
    EXPECT_EQ(position[0], 1.0);
    EXPECT_EQ(position[1], 2.0);
    EXPECT_EQ(position[2], 3.0);
    EXPECT_EQ(functions.handle(instance, nullptr, 0, nullptr), facts.gizmo_handle_answer);
    EXPECT_EQ(functions.start(instance, nullptr), -1);
    EXPECT_EQ(functions.down(instance, nullptr), 0);
    functions.move(instance, nullptr);
    functions.up(instance, nullptr);
    functions.done(instance);
  }
}

TEST_P(CameraGizmo, HelpIsTheEmptyText) {
  const auto camera = stage.create(facts.server_name);
  EXPECT_STREQ(camera->gizmo_functions().help(camera->raw(), nullptr), "");
  EXPECT_STREQ(camera->gizmo_functions().help(nullptr, nullptr), "");
}

TEST_P(CameraGizmo, NewCameraDrawsNothing) {
  const auto camera = stage.create(facts.server_name);
  standin::GizmoDrawing before_frame;
  camera->draw_gizmo(before_frame);
  EXPECT_TRUE(before_frame.elements.empty());
  camera->begin_frame(1);
  standin::GizmoDrawing in_frame;
  camera->draw_gizmo(in_frame);
  EXPECT_TRUE(in_frame.elements.empty());
  EXPECT_TRUE(in_frame.colors.empty());
  EXPECT_TRUE(in_frame.draw_modes.empty());
}

TEST_P(CameraGizmo, DrawingWithoutArgumentsIsSurvived) {
  const auto camera = stage.create(facts.server_name);
  camera->gizmo_functions().draw(camera->raw(), nullptr);
  camera->gizmo_functions().draw(nullptr, nullptr);
  standin::GizmoDrawing drawing;
  camera->gizmo_functions().draw(nullptr, &*drawing.access);
  EXPECT_TRUE(drawing.elements.empty());
}

}  // namespace gizmo_test
