#include <algorithm>
#include <array>
#include <climits>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/support/camera_facts.h"
#include "tests/support/exports.h"
#include "tests/support/saved_settings.h"
#include "tests/support/service_override.h"
#include "tests/support/stage.h"

namespace panel_test {

using standin::HostedCamera;
using standin::Panel;
using standin::PanelHint;
using test_support::CameraFacts;
using test_support::ControlFacts;
using test_support::Stage;
using test_support::ValueFacts;

constexpr const char* version_text = "v4.0.0.22 Oct 28 2026";
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr int thumbnail_width = 320;
constexpr int thumbnail_height = 148;

/// A hint list as the module handed it over.
std::vector<std::uintptr_t> words_of(const std::vector<PanelHint>& hints) {
  std::vector<std::uintptr_t> words;
  for (const PanelHint& hint : hints) {
    words.push_back(hint.tag);
    words.insert(words.end(), hint.arguments.begin(), hint.arguments.end());
    if ((hint.tag & 0x80U) != 0) {
      words.insert(words.end(), hint.list.begin(), hint.list.end());
      words.push_back(0);
    }
  }
  words.push_back(0);
  return words;
}

std::vector<std::uint32_t> controls_of(const Panel& panel, LWXPanelHint tag) {
  std::vector<std::uint32_t> ids;
  for (const PanelHint* hint : panel.hints_of(tag)) ids.push_back(hint->control());
  return ids;
}

/// One call of a draw function: its name and all its numbers.
using Drawn = std::pair<std::string, std::vector<int>>;
std::vector<Drawn> drawn;
std::vector<LWXPanelID> refreshed;

/// Writes down what is drawn and refreshed, in place of the host's panel service.
class DrawLog {
 public:
  DrawLog(const standin::Module& module, const std::string& server)
      : functions_(watching()), table_(test_support::host_table<LWXPanelFuncs>(LWXPANELFUNCS_GLOBAL)) {
    table_.drawf = &functions_;
    table_.viewRefresh = [](LWXPanelID panel) { refreshed.push_back(panel); };
    override_ = std::make_unique<test_support::ServiceOverride>(module, server, LWXPANELFUNCS_GLOBAL, &table_);
    drawn.clear();
    refreshed.clear();
  }

 private:
  static LWXPDrawFuncs watching() {
    LWXPDrawFuncs functions{};
    functions.drawPixel = [](void*, int c, int x, int y) { drawn.push_back({"pixel", {c, x, y}}); };
    functions.drawRGBPixel = [](void*, int r, int g, int b, int x, int y) { drawn.push_back({"rgb pixel", {r, g, b, x, y}}); };
    functions.drawLine = [](void*, int c, int x, int y, int x2, int y2) { drawn.push_back({"line", {c, x, y, x2, y2}}); };
    functions.drawBox = [](void*, int c, int x, int y, int w, int h) { drawn.push_back({"box", {c, x, y, w, h}}); };
    functions.drawRGBBox = [](void*, int r, int g, int b, int x, int y, int w, int h) {
      drawn.push_back({"rgb box", {r, g, b, x, y, w, h}});
    };
    functions.drawBorder = [](void*, int i, int x, int y, int w, int h) { drawn.push_back({"border", {i, x, y, w, h}}); };
    functions.textWidth = [](void*, const char*) { return 10; };
    functions.textHeight = [](void*, const char*) { return 10; };
    functions.drawText = [](void*, const char*, int c, int x, int y) { drawn.push_back({"text", {c, x, y}}); };
    return functions;
  }

  LWXPDrawFuncs functions_;
  LWXPanelFuncs table_;
  std::unique_ptr<test_support::ServiceOverride> override_;
};

/// Runs the draw callback of a control.
void draw(const Panel& panel, std::uint32_t control, int width = thumbnail_width, int height = thumbnail_height) {
  const auto hints = panel.hints_of(LWXPTAG_DRAWCALLBACK, control);
  ASSERT_EQ(hints.size(), 1U);
  ASSERT_NE(hints[0]->arguments[1], 0U);
  int area = 0;
  reinterpret_cast<LWXPanelDrawFunc*>(hints[0]->arguments[1])(panel.id, control, &area, width, height);
}

class CameraPanel : public testing::TestWithParam<CameraFacts> {
 protected:
  void SetUp() override { camera = stage.create(facts.server_name); }
  Panel& panel() { return camera->panel(); }

  const CameraFacts& facts = GetParam();
  Stage stage;
  std::unique_ptr<HostedCamera> camera;
};

INSTANTIATE_TEST_SUITE_P(All, CameraPanel, testing::ValuesIn(test_support::all_cameras()),
                         [](const auto& camera) { return camera.param.server_name; });

TEST_P(CameraPanel, IsAViewOfItsInstance) {
  EXPECT_EQ(panel().type, LWXP_VIEW);
  EXPECT_EQ(panel().instance, camera->raw());
  ASSERT_TRUE(panel().stored_data.contains(0));
  EXPECT_EQ(panel().stored_data.at(0), camera->raw());
  EXPECT_NE(panel().get_function, nullptr);
  EXPECT_NE(panel().set_function, nullptr);
}

TEST_P(CameraPanel, ListsItsControlsInOrder) {
  ASSERT_EQ(panel().controls.size(), facts.controls.size());
  for (std::size_t i = 0; i < facts.controls.size(); ++i) {
    EXPECT_EQ(panel().controls[i].id, facts.controls[i].id) << "row " << i;
    EXPECT_EQ(panel().controls[i].label, facts.controls[i].label) << "row " << i;
    EXPECT_EQ(panel().controls[i].control_class, facts.controls[i].control_class) << "row " << i;
  }
}

TEST_P(CameraPanel, DescribesTheDataOfItsControls) {
  for (const ControlFacts& control : facts.controls) {
    SCOPED_TRACE(control.label);
    const standin::PanelData* data = panel().data_of(control.id);
    if (control.data_type.empty()) {
      EXPECT_EQ(data, nullptr);
      continue;
    }
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->name, control.data_name);
    EXPECT_EQ(data->type, control.data_type);
  }
}

TEST_P(CameraPanel, AnswersEveryIdOfItsOwn) {
  for (const ValueFacts& value : facts.values) {
    SCOPED_TRACE(testing::Message() << std::hex << value.id);
    switch (value.kind) {
      case ValueFacts::Kind::none:
        EXPECT_EQ(panel().get(value.id), nullptr);
        break;
      case ValueFacts::Kind::envelope: {
        const standin::VariantParameter* parameter = stage.host.parameters.table.find(panel().get_envelope(value.id));
        EXPECT_EQ(parameter, &camera->parameter(value.text));
        break;
      }
      case ValueFacts::Kind::text:
        EXPECT_EQ(panel().get_text(value.id), value.text);
        break;
      case ValueFacts::Kind::word:
        EXPECT_EQ(panel().get_integer(value.id), static_cast<int>(value.default_value));
        break;
      case ValueFacts::Kind::number:
        EXPECT_EQ(panel().get_float(value.id), value.default_value);
        break;
    }
  }
}

TEST_P(CameraPanel, ShowsTheVersion) {
  const auto version = std::find_if(facts.controls.begin(), facts.controls.end(),
                                    [](const ControlFacts& control) { return control.label == "Version"; });
  ASSERT_NE(version, facts.controls.end());
  EXPECT_EQ(panel().get_text(version->id), version_text);
}

TEST_P(CameraPanel, KnowsNoOtherId) {
  std::set<std::uint32_t> known;
  for (const ValueFacts& value : facts.values) known.insert(value.id);
  std::vector<std::uint32_t> ids{0, 1, 0x7FFF, 0xFFFF, 0x18006, 0x80008006, UINT32_MAX};
  for (std::uint32_t id = 0x8000; id < 0x8040; ++id) ids.push_back(id);
  const auto before = camera->save_text();
  for (const std::uint32_t id : ids) {
    if (known.contains(id)) continue;
    EXPECT_EQ(panel().get(id), nullptr) << std::hex << id;
    double value[2] = {1.0, 2.0};
    EXPECT_EQ(panel().set(id, value), LWXPRC_DFLT) << std::hex << id;
  }
  EXPECT_EQ(camera->save_text(), before);
}

TEST_P(CameraPanel, MissingInstanceOrValueIsSurvived) {
  const auto before = camera->save_text();
  for (const ValueFacts& value : facts.values) {
    EXPECT_EQ(panel().get_function(nullptr, value.id), nullptr) << std::hex << value.id;
    double number[2] = {};
    panel().set_function(nullptr, value.id, number);
    panel().set_function(camera->raw(), value.id, nullptr);
  }
  EXPECT_EQ(camera->save_text(), before);
}

TEST_P(CameraPanel, SettingAnEnvelopeOrTextChangesNothing) {
  const auto before = camera->save_text();
  for (const ValueFacts& value : facts.values) {
    if (value.kind != ValueFacts::Kind::envelope && value.kind != ValueFacts::Kind::text) continue;
    double number[2] = {123.0, 456.0};
    EXPECT_EQ(panel().set(value.id, number), LWXPRC_DFLT);
  }
  EXPECT_EQ(camera->save_text(), before);
  for (const ValueFacts& value : facts.values) {
    if (value.kind != ValueFacts::Kind::text) continue;
    EXPECT_EQ(panel().get_text(value.id), value.text);
  }
}

TEST_P(CameraPanel, StoresWords) {
  for (const ValueFacts& value : facts.values) {
    if (value.kind != ValueFacts::Kind::word) continue;
    // The first entries of every list; where it is not a list, a word like any other.
    for (const int word : {1, 2, 0, 1}) {
      EXPECT_EQ(panel().set_integer(value.id, word), LWXPRC_DFLT);
      EXPECT_EQ(panel().get_integer(value.id), word) << std::hex << value.id;
    }
  }
}

TEST_P(CameraPanel, ClampsPhotographicNumbersAndTheirEnvelopes) {
  struct Typed {
    std::uint32_t id;
    const char* channel;
    double typed;
    double stored;
  };
  const std::vector<Typed> all{
      {0x8014, "PhotoISO", 0.2, 1.0},
      {0x8014, "PhotoISO", 1.0, 1.0},
      {0x8014, "PhotoISO", -5.0, 1.0},
      {0x8014, "PhotoISO", not_a_number, 1.0},
      {0x8014, "PhotoISO", 409600.0, 409600.0},
      {0x8015, "PhotoIris", 0.1, 0.5},
      {0x8015, "PhotoIris", 0.5, 0.5},
      {0x8015, "PhotoIris", 22.0, 22.0},
      {0x8015, "PhotoIris", -infinity, 0.5},
      {0x8015, "PhotoIris", not_a_number, 0.5},
      {0x8016, "PhotoShutter", 400.0, 360.0},
      {0x8016, "PhotoShutter", 360.0, 360.0},
      {0x8016, "PhotoShutter", 0.0, 1.0},
      {0x8016, "PhotoShutter", 1.0, 1.0},
      {0x8016, "PhotoShutter", 172.8, 172.8},
      {0x8016, "PhotoShutter", infinity, 360.0},
      {0x8016, "PhotoShutter", not_a_number, 1.0},
  };
  for (const Typed& typed : all) {
    const bool has = std::any_of(facts.values.begin(), facts.values.end(), [&](const ValueFacts& value) {
      return value.id == typed.id && value.kind == ValueFacts::Kind::number;
    });
    if (!has) {
      EXPECT_EQ(panel().data_of(typed.id), nullptr);
      continue;
    }
    SCOPED_TRACE(testing::Message() << typed.channel << " typed as " << typed.typed);
    EXPECT_EQ(panel().set_float(typed.id, typed.typed), LWXPRC_DFLT);
    EXPECT_EQ(panel().get_float(typed.id), typed.stored);
    EXPECT_EQ(camera->parameter(typed.channel).envelope, standin::Envelope::constant(typed.stored));
  }
}

TEST_P(CameraPanel, HintsEndAndNameOnlyItsControls) {
  std::set<std::uint32_t> known{0x8000};
  for (const ControlFacts& control : facts.controls) known.insert(control.id);
  for (const PanelHint& hint : panel().hints)
    if (hint.tag == LWXPTAG_FOCUS)
      EXPECT_EQ(hint.arguments.at(0), UINTPTR_MAX);
    else if (hint.tag != LWXPTAG_DESTROYNOTIFY)
      EXPECT_TRUE(known.contains(hint.control())) << std::hex << hint.tag << " names " << hint.control();
}

TEST_P(CameraPanel, HasTheDividersAndSensitivitiesItNeeds) {
  const auto dividers = controls_of(panel(), LWXPTAG_DIVIDER);
  for (const std::uint32_t id : facts.dividers_after)
    EXPECT_NE(std::find(dividers.begin(), dividers.end(), id), dividers.end()) << "no divider after " << std::hex << id;
  for (const std::uint32_t id : facts.sensitive) {
    const auto hints = panel().hints_of(LWXPTAG_SENSITIVITY, id);
    ASSERT_FALSE(hints.empty()) << std::hex << id;
    for (const PanelHint* hint : hints) EXPECT_EQ(hint->arguments.at(1), 1U);
  }
}

TEST_P(CameraPanel, ShowsItsLogoInFullSize) {
  const auto sizes = panel().hints_of(LWXPTAG_CONFIGURE, facts.logo_id());
  ASSERT_EQ(sizes.size(), 1U);
  EXPECT_EQ(sizes[0]->arguments, (std::vector<std::uintptr_t>{facts.logo_id(), 0, 0xFFFFFFFF80000001U}));
}

TEST_P(CameraPanel, DrawsItsLogoPixelByPixelOverBlack) {
  const DrawLog log(stage.module, facts.server_name);
  draw(panel(), facts.logo_id());
  ASSERT_EQ(drawn.size(), 1U + 60U * 280U);
  EXPECT_EQ(drawn[0], (Drawn{"rgb box", {0, 0, 0, 0, 0, thumbnail_width, thumbnail_height}}));
  std::set<std::pair<int, int>> places;
  int bright = 0;
  // Of every pixel's grey and place: artists know the mark, and no pixel of it changes by accident.
  std::uint64_t mark = 0;
  for (std::size_t i = 1; i < drawn.size(); ++i) {
    const auto& [function, numbers] = drawn[i];
    mark += static_cast<std::uint64_t>(numbers[0]) * static_cast<std::uint64_t>(numbers[3] * 1009 + numbers[4] * 7919);
    ASSERT_EQ(function, "rgb pixel");
    ASSERT_EQ(numbers[0], numbers[1]);
    ASSERT_EQ(numbers[0], numbers[2]);
    ASSERT_TRUE(numbers[0] >= 0 && numbers[0] <= 255);
    ASSERT_TRUE(numbers[3] >= 20 && numbers[3] <= 299) << numbers[3];
    ASSERT_TRUE(numbers[4] >= 1 && numbers[4] <= 60) << numbers[4];
    places.emplace(numbers[3], numbers[4]);
    bright += numbers[0] > 128 ? 1 : 0;
  }
  EXPECT_EQ(places.size(), 60U * 280U);
  EXPECT_EQ(mark, 396013265775U);
  EXPECT_GT(bright, 500);
  EXPECT_LT(bright, 60 * 280 / 2);
}

TEST_P(CameraPanel, LogoStaysInsideItsArea) {
  const standin::Picture picture = panel().draw(facts.logo_id(), thumbnail_width, thumbnail_height);
  EXPECT_EQ(picture.cut_off, 0U);
  EXPECT_EQ(picture.at(0, 0), (standin::Picture::Color{0, 0, 0}));
  for (int y = 61; y < thumbnail_height; ++y)
    for (int x = 0; x < thumbnail_width; ++x) ASSERT_EQ(picture.at(x, y), (standin::Picture::Color{0, 0, 0}));
}

TEST_P(CameraPanel, RefusedPanelLeavesNone) {
  stage.host.panels.refusal.arm(1);
  LWInterface record{};
  record.inst = camera->raw();
  const auto options = [](LWInstance) -> LWError { return nullptr; };
  record.options = options;
  const standin::Server& server = stage.module.server(LWCAMERA_INTERFACE_CLASS, facts.server_name);
  EXPECT_EQ(stage.module.activate(server, 5, &record), AFUNC_OK);
  EXPECT_EQ(record.panel, nullptr);
  EXPECT_EQ(record.options, nullptr);
  EXPECT_EQ(record.command, nullptr);
  EXPECT_EQ(record.inst, camera->raw());
  EXPECT_EQ(stage.host.panels.table.alive(), 0U);
  // The next one is made.
  EXPECT_FALSE(panel().controls.empty());
}

TEST_P(CameraPanel, TwoPanelsShowTheirOwnInstances) {
  const auto other = stage.create(facts.server_name, "Other 1");
  other->load_text(test_support::as_text(test_support::distinct_settings(facts)));
  Panel& mine = panel();
  Panel& others = other->panel();
  for (const ValueFacts& value : facts.values)
    if (value.kind == ValueFacts::Kind::word)
      EXPECT_EQ(mine.get_integer(value.id), static_cast<int>(value.default_value));
    else if (value.kind == ValueFacts::Kind::number)
      EXPECT_EQ(mine.get_float(value.id), value.default_value);
    else if (value.kind == ValueFacts::Kind::envelope)
      EXPECT_NE(mine.get_envelope(value.id), others.get_envelope(value.id));
}

/// The popups whose entries the panel asks the module for.
struct Popups : testing::Test {
  static LWXPanelPopCountFunc* count_function(const Panel& panel, std::uint32_t control) {
    return reinterpret_cast<LWXPanelPopCountFunc*>(panel.hints_of(LWXPTAG_POPFUNCS, control).at(0)->arguments.at(1));
  }
  static LWXPanelPopNameFunc* name_function(const Panel& panel, std::uint32_t control) {
    return reinterpret_cast<LWXPanelPopNameFunc*>(panel.hints_of(LWXPTAG_POPFUNCS, control).at(0)->arguments.at(2));
  }
  /// The namespace's own functions, for lists that no control shows.
  template <class Function>
  Function* exported(const std::string& name_space, const std::string& function, const std::string& arguments) {
    return stage.module.library().find_as<Function>(test_support::exported_name(name_space, function, arguments).c_str());
  }

  Stage stage;
};

TEST_F(Popups, StereoConvergesOnTheScenesObjects) {
  const auto camera = stage.create("QuorinStereoCam");
  EXPECT_EQ(camera->panel().choices(0x8002), (std::vector<std::string>{"(none)", "Cube", "Ball"}));
  stage.host.remove_item("Cube");
  EXPECT_EQ(camera->panel().choices(0x8002), (std::vector<std::string>{"(none)", "Ball"}));
  stage.host.remove_item("Ball");
  EXPECT_EQ(camera->panel().choices(0x8002), (std::vector<std::string>{"(none)"}));
}

TEST_F(Popups, ObjectsOutsideTheListHaveNoName) {
  const auto camera = stage.create("QuorinStereoCam");
  const auto name = name_function(camera->panel(), 0x8002);
  for (const int index : {0, -1, INT_MIN, 3, 4, INT_MAX}) EXPECT_STREQ(name(camera->raw(), index), "(none)") << index;
  EXPECT_STREQ(name(camera->raw(), 2), "Ball");
}

TEST_F(Popups, EveryLensCameraCanListTheObjects) {
  for (const CameraFacts& facts : test_support::all_cameras()) {
    // These have lists of their own.
    if (facts.looks_through_other_cameras || facts.name_space == "CylinderCam" || facts.name_space == "FisheyeCam" ||
        facts.name_space == "SkyboxCam") {
      continue;
    }
    SCOPED_TRACE(facts.server_name);
    const auto camera = stage.create(facts.server_name);
    auto* count = exported<LWXPanelPopCountFunc>(facts.name_space, "PanelPopCount", "Pv");
    auto* name = exported<LWXPanelPopNameFunc>(facts.name_space, "PanelPopName", "Pvi");
    ASSERT_NE(count, nullptr);
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(count(camera->raw()), 3);
    EXPECT_EQ(count(nullptr), 3);
    EXPECT_STREQ(name(camera->raw(), 1), "Cube");
    EXPECT_STREQ(name(nullptr, 2), "Ball");
    for (const int index : {-1, 0, 3}) EXPECT_STREQ(name(camera->raw(), index), "(none)") << index;
  }
}

TEST_F(Popups, WithoutTheItemServiceThereIsOneEntry) {
  // Nothing has been activated yet.
  auto* count = exported<LWXPanelPopCountFunc>("StereoCam", "PanelPopCount", "Pv");
  auto* name = exported<LWXPanelPopNameFunc>("StereoCam", "PanelPopName", "Pvi");
  EXPECT_EQ(count(nullptr), 1);
  for (const int index : {-1, 0, 1, 2}) EXPECT_STREQ(name(nullptr, index), "(none)") << index;
}

TEST_F(Popups, ARefusedActivationLeavesThemTheItemService) {
  const auto camera = stage.create("QuorinStereoCam");
  const auto count = count_function(camera->panel(), 0x8002);
  const int before = count(camera->raw());
  ASSERT_GT(before, 1);
  stage.host.withhold(LWITEMINFO_GLOBAL);
  LWInstanceFuncs instance{};
  LWCameraHandler handler{};
  handler.inst = &instance;
  EXPECT_EQ(stage.module.activate(stage.module.server(LWCAMERA_HANDLER_CLASS, "QuorinStereoCam"), 4, &handler),
            AFUNC_BADGLOBAL);
  EXPECT_EQ(count(camera->raw()), before);
  stage.host.offer(LWITEMINFO_GLOBAL);
}

TEST_F(Popups, CylinderChoosesItsAxis) {
  const auto camera = stage.create("QuorinCylinderCam");
  EXPECT_EQ(camera->panel().choices(0x8007), (std::vector<std::string>{"Horizontal Axis", "Vertical Axis"}));
  const auto name = name_function(camera->panel(), 0x8007);
  for (const int index : {-1, 2, INT_MIN, INT_MAX}) EXPECT_STREQ(name(camera->raw(), index), "") << index;
  EXPECT_EQ(count_function(camera->panel(), 0x8007)(nullptr), 2);
}

TEST_F(Popups, FisheyeNamesItsGrids) {
  const auto camera = stage.create("QuorinFisheyeCam");
  auto* count = exported<LWXPanelPopCountFunc>("FisheyeCam", "PanelPopCount", "Pv");
  auto* name = exported<LWXPanelPopNameFunc>("FisheyeCam", "PanelPopName", "Pvi");
  EXPECT_EQ(count(camera->raw()), 2);
  EXPECT_STREQ(name(camera->raw(), 0), "Ray Tracing Grid");
  EXPECT_STREQ(name(camera->raw(), 1), "Line Matching Grid");
  for (const int index : {-1, 2, INT_MIN, INT_MAX}) EXPECT_STREQ(name(camera->raw(), index), "") << index;
}

TEST_F(Popups, SkyboxNamesItsLayouts) {
  const auto camera = stage.create("QuorinSkyboxCam");
  EXPECT_EQ(camera->panel().choices(0x8006),
            (std::vector<std::string>{"Unfolded to Cross Shape", "Unfolded to Alternate Shape"}));
  const auto name = name_function(camera->panel(), 0x8006);
  for (const int index : {-1, 2, INT_MIN, INT_MAX}) EXPECT_STREQ(name(camera->raw(), index), "") << index;
}

TEST_F(Popups, DpiChoosesTheSideThatIsMeasured) {
  const auto camera = stage.create("QuorinDpiCam");
  EXPECT_EQ(camera->panel().choices(0x800d), (std::vector<std::string>{"Horizontal Width", "Vertical Height"}));
}

TEST_F(Popups, OtherCamerasAreListedWithoutTheOwnOne) {
  for (const CameraFacts& facts : test_support::all_cameras()) {
    if (!facts.looks_through_other_cameras) continue;
    SCOPED_TRACE(facts.server_name);
    const auto camera = stage.create(facts.server_name, "Other 2");
    std::vector<std::string> expected{"(none)", "Camera", "Other 1"};
    for (int i = 3; i <= 12; ++i) expected.push_back("Other " + std::to_string(i));
    int lists = 0;
    for (const ControlFacts& control : facts.controls) {
      if (control.control_class != "iPopChoice" || control.label == "Printed Image Size") continue;
      ++lists;
      EXPECT_EQ(camera->panel().choices(control.id), expected) << control.label;
      const auto count = count_function(camera->panel(), control.id);
      const auto name = name_function(camera->panel(), control.id);
      EXPECT_EQ(count(camera->raw()), 13);
      EXPECT_EQ(count(nullptr), 1);
      for (const int index : {-1, 0, 13, 14, INT_MIN, INT_MAX}) EXPECT_STREQ(name(camera->raw(), index), "(none)") << index;
      EXPECT_STREQ(name(nullptr, 1), "(none)");
    }
    EXPECT_GT(lists, 0);
  }
}

TEST_F(Popups, OnlyCameraOfASceneHasNothingToLookThrough) {
  for (int i = 1; i <= 12; ++i) stage.host.remove_item("Other " + std::to_string(i));
  for (const CameraFacts& facts : test_support::all_cameras()) {
    if (!facts.looks_through_other_cameras) continue;
    const auto camera = stage.create(facts.server_name);
    for (const ControlFacts& control : facts.controls) {
      if (control.control_class != "iPopChoice" || control.label == "Printed Image Size") continue;
      EXPECT_EQ(camera->panel().choices(control.id), (std::vector<std::string>{"(none)"})) << facts.server_name;
      EXPECT_EQ(camera->panel().set_integer(control.id, 1), LWXPRC_DFLT);
      EXPECT_EQ(camera->panel().get_integer(control.id), 0) << facts.server_name;
    }
  }
}

TEST_F(Popups, ChoiceOutsideTheListBecomesNone) {
  for (const CameraFacts& facts : test_support::all_cameras()) {
    if (!facts.looks_through_other_cameras) continue;
    const auto camera = stage.create(facts.server_name);
    for (const ControlFacts& control : facts.controls) {
      if (control.control_class != "iPopChoice" || control.label == "Printed Image Size") continue;
      SCOPED_TRACE(facts.server_name + " " + control.label);
      EXPECT_EQ(camera->panel().set_integer(control.id, 12), LWXPRC_DFLT);
      EXPECT_EQ(camera->panel().get_integer(control.id), 12);
      for (const int index : {13, -1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(camera->panel().set_integer(control.id, index), LWXPRC_DFLT);
        EXPECT_EQ(camera->panel().get_integer(control.id), 0) << index;
      }
    }
  }
}

struct PanoramicPanel : Popups {};

TEST_F(PanoramicPanel, HandsTheHostExactlyTheseHints) {
  const auto camera = stage.create("QuorinPanoramicCam");
  const auto draw_function = reinterpret_cast<std::uintptr_t>(
      stage.module.library().find("_ZN12PanoramicCam20PanelControlDrawFuncEP14LWXPanelOpaquejPvii"));
  ASSERT_NE(draw_function, 0U);
  const std::vector<std::uintptr_t> expected{
      0x3D001201,
      UINTPTR_MAX,  //
      0x3D017403,
      0x8005,
      0,
      0xFFFFFFFF80000001U,  //
      0x3D016502,
      0x8005,
      draw_function,  //
      0x3D021481,
      0x8001,
      0,  //
      0x3D021481,
      0x8006,
      0,  //
      0x3D021481,
      0x8000,
      0,  //
      0x3D021481,
      0x8008,
      0,  //
      0x3D014402,
      0x8007,
      1,  //
      0x3D014402,
      0x8008,
      1,  //
      0x3D014402,
      0x8006,
      1,  //
      0x3D014402,
      0x8007,
      1,  //
      0x3D014402,
      0x8008,
      1,  //
      0,
  };
  EXPECT_EQ(words_of(camera->panel().hints), expected);
}

struct AdvancedPanoramicPanel : Popups {};

TEST_F(AdvancedPanoramicPanel, LimitsItsScales) {
  const auto camera = stage.create("QuorinAdvPanCam");
  const Panel& panel = camera->panel();
  for (const std::uint32_t id : {0x8009U, 0x800aU, 0x800bU, 0x800cU}) {
    ASSERT_EQ(panel.hints_of(LWXPTAG_MIN, id).size(), 1U) << std::hex << id;
    ASSERT_EQ(panel.hints_of(LWXPTAG_MAX, id).size(), 1U) << std::hex << id;
    EXPECT_EQ(static_cast<std::intptr_t>(panel.hints_of(LWXPTAG_MIN, id)[0]->arguments.at(1)), -5);
    EXPECT_EQ(panel.hints_of(LWXPTAG_MAX, id)[0]->arguments.at(1), 5U);
  }
  EXPECT_EQ(panel.hints_of(LWXPTAG_MIN).size(), 4U);
  EXPECT_EQ(panel.hints_of(LWXPTAG_MAX).size(), 4U);
}

struct SkyboxPanel : Popups {
  static constexpr std::uint32_t diagram = 0x8012;

  static std::vector<Drawn> expected(const std::vector<std::pair<int, int>>& squares,
                                     const std::vector<std::array<int, 4>>& lines) {
    std::vector<Drawn> calls{{"rgb box", {0, 0, 0, 0, 0, thumbnail_width, thumbnail_height}}};
    for (const auto& [left, top] : squares) calls.push_back({"rgb box", {150, 150, 150, left, top, 40, 40}});
    for (const auto& line : lines) calls.push_back({"line", {0, line[0], line[1], line[2], line[3]}});
    return calls;
  }

  static std::vector<Drawn> cross() {
    return expected({{120, 14}, {80, 54}, {120, 54}, {160, 54}, {200, 54}, {120, 94}},
                    {{119, 53, 119, 94}, {119, 94, 160, 94}, {160, 94, 160, 53}, {160, 53, 119, 53}, {199, 53, 199, 94}});
  }
  static std::vector<Drawn> alternate() {
    return expected({{200, 14}, {80, 54}, {120, 54}, {160, 54}, {200, 54}, {120, 94}},
                    {{119, 53, 119, 94}, {119, 94, 160, 94}, {160, 94, 160, 53}, {199, 53, 199, 94}, {199, 53, 240, 53}});
  }
};

TEST_F(SkyboxPanel, DrawsTheChosenLayout) {
  const auto camera = stage.create("QuorinSkyboxCam");
  const Panel& panel = camera->panel();
  const DrawLog log(stage.module, "QuorinSkyboxCam");
  panel.set_integer(0x8006, 0);
  draw(panel, diagram);
  EXPECT_EQ(drawn, cross());
  drawn.clear();
  panel.set_integer(0x8006, 1);
  draw(panel, diagram);
  EXPECT_EQ(drawn, alternate());
  drawn.clear();
  panel.set_integer(0x8006, 0);
  draw(panel, diagram);
  EXPECT_EQ(drawn, cross());
}

TEST_F(SkyboxPanel, DiagramIsNotTheLogo) {
  const auto camera = stage.create("QuorinSkyboxCam");
  const Panel& panel = camera->panel();
  EXPECT_NE(panel.hints_of(LWXPTAG_DRAWCALLBACK, 0x8000).at(0)->arguments[1],
            panel.hints_of(LWXPTAG_DRAWCALLBACK, diagram).at(0)->arguments[1]);
}

TEST_F(SkyboxPanel, IsRefreshedWhenItsInstanceIsLoaded) {
  const auto camera = stage.create("QuorinSkyboxCam");
  const Panel& panel = camera->panel();
  const DrawLog log(stage.module, "QuorinSkyboxCam");
  camera->load_text({"1"});
  EXPECT_EQ(panel.get_integer(0x8006), 1);
  EXPECT_EQ(refreshed, std::vector<LWXPanelID>{panel.id});
}

TEST_F(SkyboxPanel, LoadingWithoutAPanelRefreshesNone) {
  const auto camera = stage.create("QuorinSkyboxCam");
  const DrawLog log(stage.module, "QuorinSkyboxCam");
  camera->load_text({"1"});
  EXPECT_TRUE(refreshed.empty());
}

}  // namespace panel_test
