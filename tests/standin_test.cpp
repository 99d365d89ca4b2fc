/// The stand-in host, seen from a module's side: through the services' tables, as a module calls them.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include "sdk/host.h"
#include "standin/host/host.h"
#include "standin/host/hosted_camera.h"
#include "standin/host/module.h"
#include "standin/host/plain_camera.h"
#include "standin/host/save_state.h"
#include "standin/session/introspection.h"
#include "standin/session/session.h"
#include "tests/support/camera_facts.h"
#include "tests/support/paths.h"

namespace standin::standin_test {

using testing::Test;
using Sentences = std::vector<std::string>;

/// A service as a module asks for it.
template <class Table>
Table& service(const char* name) {
  return *static_cast<Table*>(Host::global()(name, GFUSE_TRANSIENT));
}

LWVParmFuncs& vparms() { return service<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL); }
LWItemInfo& items() { return service<LWItemInfo>(LWITEMINFO_GLOBAL); }
LWCameraInfo& cameras() { return service<LWCameraInfo>(LWCAMERAINFO_GLOBAL); }
LWXPanelFuncs& panels() { return service<LWXPanelFuncs>(LWXPANELFUNCS_GLOBAL); }
LWCameraEvaluationFuncs& evaluators() { return service<LWCameraEvaluationFuncs>(LWCAMERAEVALUATION_GLOBAL); }
LWObjectFuncs& objects() { return service<LWObjectFuncs>(LWOBJECTFUNCS_GLOBAL); }

bool contains(const Sentences& sentences, const std::string& part) {
  return std::any_of(sentences.begin(), sentences.end(),
                     [&](const std::string& sentence) { return sentence.find(part) != std::string::npos; });
}

/// Two cameras and an object, at known places; 25 frames per second.
Scene small_scene() {
  Scene scene;
  scene.frames_per_second = 25.0;
  const auto add = [&](ItemKind kind, std::uint32_t id, const char* name, Vec3 position) {
    Item item;
    item.kind = kind;
    item.id = id;
    item.name = name;
    item.motion[0] = Envelope::constant(position.x);
    item.motion[1] = Envelope::constant(position.y);
    item.motion[2] = Envelope::constant(position.z);
    if (kind == ItemKind::camera) item.camera = CameraSettings{};
    scene.items.push_back(item);
  };
  add(ItemKind::object, 10000000, "Null", {0, 0, 5});
  add(ItemKind::camera, 30000000, "Left", {-1, 2, -3});
  add(ItemKind::camera, 30000001, "Right", {1, 2, -3});
  return scene;
}

class StandInHost : public Test {
 protected:
  Host host{small_scene()};

  Sentences everything_wrong() const {
    Sentences all = host.violations();
    const Sentences leaks = host.leaks();
    all.insert(all.end(), leaks.begin(), leaks.end());
    return all;
  }

  LWVParmID make_parameter(const char* name, double value) {
    const LWVParmID id = vparms().create(LWVP_FLOAT, LWVPDT_NOTXTR);
    vparms().setup(id, name, items().chanGroup(host.id_of("Left")), nullptr, nullptr, "Test", nullptr);
    std::array<double, 3> values{value, 0.0, 0.0};
    vparms().setVal(id, values.data());
    return id;
  }

  static double value_at(LWVParmID id, double seconds) {
    std::array<double, 3> values{};
    return vparms().getVal(id, seconds, nullptr, values.data());
  }
};

// --- Save and load states.

template <class State>
void write_one_of_each(const State* state) {
  const int integer = -70000;
  const std::array<unsigned, 2> words{255, 0xFFFFFFFFU};
  const short small = -5;
  const unsigned char byte = 200;
  const std::array<float, 2> floats{0.1F, -1.5e-7F};
  const double number = 1.0 / 3.0;
  state->writeI4(state->writeData, &integer, 1);
  state->writeU4(state->writeData, words.data(), 2);
  state->writeI2(state->writeData, &small, 1);
  state->writeU1(state->writeData, &byte, 1);
  state->writeFP(state->writeData, floats.data(), 2);
  state->writeDP(state->writeData, &number, 1);
  state->writeStr(state->writeData, "two \"words\"\nand \\");
}

void expect_one_of_each(const LWLoadState* state) {
  int integer = 0;
  std::array<unsigned, 2> words{};
  short small = 0;
  unsigned char byte = 0;
  std::array<float, 2> floats{};
  double number = 0.0;
  std::array<char, 64> text{};
  EXPECT_EQ(state->readI4(state->readData, &integer, 1), 1);
  EXPECT_EQ(state->readU4(state->readData, words.data(), 2), 2);
  EXPECT_EQ(state->readI2(state->readData, &small, 1), 1);
  EXPECT_EQ(state->readU1(state->readData, &byte, 1), 1);
  EXPECT_EQ(state->readFP(state->readData, floats.data(), 2), 2);
  EXPECT_EQ(state->readDP(state->readData, &number, 1), 1);
  EXPECT_GT(state->readStr(state->readData, text.data(), static_cast<int>(text.size())), 0);
  EXPECT_EQ(integer, -70000);
  EXPECT_EQ(words, (std::array<unsigned, 2>{255, 0xFFFFFFFFU}));
  EXPECT_EQ(small, -5);
  EXPECT_EQ(byte, 200);
  EXPECT_EQ(floats, (std::array<float, 2>{0.1F, -1.5e-7F}));
  EXPECT_EQ(number, 1.0 / 3.0);
  EXPECT_STREQ(text.data(), "two \"words\"\nand \\");
}

TEST(SaveState, TextHasOneLinePerCallWithDecimalHexadecimalAndShortestNumbers) {
  SaveState state(LWIO_TEXT);
  write_one_of_each(state.record());
  EXPECT_EQ(state.lines(), (Sentences{"-70000", "ff ffffffff", "-5", "c8", "0.1 -1.5e-07", "0.3333333333333333",
                                      R"("two \"words\"\nand \\")"}));
}

TEST(SaveState, TextReadsBackTheSame) {
  SaveState saved(LWIO_TEXT);
  write_one_of_each(saved.record());
  LoadState loaded(saved.lines());
  expect_one_of_each(loaded.record());
  EXPECT_TRUE(loaded.at_end());
}

TEST(SaveState, BinaryIsBigEndianAndReadsBackTheSame) {
  SaveState saved(LWIO_BINARY);
  write_one_of_each(saved.record());
  ASSERT_GE(saved.bytes().size(), 8U);
  EXPECT_EQ(std::vector<std::uint8_t>(saved.bytes().begin(), saved.bytes().begin() + 8),
            (std::vector<std::uint8_t>{0xFF, 0xFE, 0xEE, 0x90, 0, 0, 0, 0xFF}));
  LoadState loaded(saved.bytes());
  expect_one_of_each(loaded.record());
  EXPECT_TRUE(loaded.at_end());
}

TEST(LoadState, ReadPastTheEndLeavesTheValueAlone) {
  LoadState text(Sentences{"7"});
  LoadState binary(std::vector<std::uint8_t>{0, 0, 0, 7, 0, 0});
  for (const LWLoadState* state : {text.record(), binary.record()}) {
    std::array<unsigned, 2> words{1, 2};
    EXPECT_EQ(state->readU4(state->readData, words.data(), 2), 1);
    EXPECT_EQ(words, (std::array<unsigned, 2>{7, 2}));
    EXPECT_EQ(state->readU4(state->readData, words.data(), 1), 0);
    EXPECT_EQ(words[0], 7U);
  }
}

TEST(LoadState, WhatIsNoNumberOfThatTypeIsNotRead) {
  LoadState state(Sentences{"zz", "100000000", "{ VParm", "1", "}"});
  unsigned word = 42;
  EXPECT_EQ(state.record()->readU4(&state, &word, 1), 0);
  EXPECT_EQ(state.record()->readU4(&state, &word, 1), 0);
  EXPECT_EQ(state.record()->readU4(&state, &word, 1), 0) << "a block is no number";
  EXPECT_EQ(word, 42U);
  Envelope envelope;
  EXPECT_EQ(load_parameter(state, envelope), nullptr) << "the block is where it was";
  EXPECT_EQ(envelope.at(0.0), 1.0);
}

class ParameterInEitherForm : public testing::TestWithParam<LWIoMode> {
 protected:
  static std::unique_ptr<LoadState> reload(const SaveState& saved) {
    return saved.mode() == LWIO_TEXT ? std::make_unique<LoadState>(saved.lines()) : std::make_unique<LoadState>(saved.bytes());
  }
};

TEST_P(ParameterInEitherForm, KeyedAndConstantReadBackTheSame) {
  Envelope keyed;
  keyed.keys = {{1.5, 0.0, Span::tcb, {0.5, 0, 0, 0, 0, 0}}, {-2.25, 1.0, Span::bezier_2d, {1, 2, 3, 4, 5, 6.5}}};
  keyed.before = EndBehaviour::repeat;
  keyed.after = EndBehaviour::linear;
  SaveState saved(GetParam());
  save_parameter(saved, keyed);
  save_parameter(saved, Envelope::constant(0.1));
  const auto state = reload(saved);
  Envelope first;
  Envelope second;
  ASSERT_EQ(load_parameter(*state, first), nullptr);
  ASSERT_EQ(load_parameter(*state, second), nullptr);
  EXPECT_TRUE(state->at_end());
  ASSERT_EQ(first.keys.size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(first.keys[i].value, keyed.keys[i].value);
    EXPECT_EQ(first.keys[i].time_seconds, keyed.keys[i].time_seconds);
    EXPECT_EQ(first.keys[i].span, keyed.keys[i].span);
    EXPECT_EQ(first.keys[i].parameters, keyed.keys[i].parameters);
  }
  EXPECT_EQ(first.before, EndBehaviour::repeat);
  EXPECT_EQ(first.after, EndBehaviour::linear);
  EXPECT_EQ(second.at(3.0), 0.1);
}

TEST_P(ParameterInEitherForm, MissingOrBrokenBlockLeavesTheEnvelopeAlone) {
  SaveState saved(GetParam());
  const unsigned word = 3;
  saved.record()->writeU4(&saved, &word, 1);
  const auto state = reload(saved);
  Envelope envelope = Envelope::constant(8.0);
  EXPECT_NE(load_parameter(*state, envelope), nullptr);
  EXPECT_EQ(envelope.at(0.0), 8.0);
  unsigned still_there = 0;
  EXPECT_EQ(state->record()->readU4(state.get(), &still_there, 1), 1);
  EXPECT_EQ(still_there, 3U);
}

INSTANTIATE_TEST_SUITE_P(Forms, ParameterInEitherForm, testing::Values(LWIO_TEXT, LWIO_BINARY),
                         [](const auto& info) { return info.param == LWIO_TEXT ? "Text" : "Binary"; });

TEST(ParameterBlock, TextIsTheSceneFilesOwnStyle) {
  SaveState saved(LWIO_TEXT);
  save_parameter(saved, Envelope::constant(0.5));
  VariantParameter keyed;
  keyed.set_keys({{0.0, 1.0}, {1.0, 2.0}});
  save_parameter(saved, keyed.envelope);
  EXPECT_EQ(saved.lines(), (Sentences{"{ VParm", "  0.5", "}", "{ VParm", "  { Envelope", "    2", "    Key 1 0 3 0 0 0 0 0 0",
                                      "    Key 2 1 3 0 0 0 0 0 0", "    Behaviors 1 1", "  }", "}"}));
}

TEST(ParameterBlock, BrokenEnvelopesAreRefusedAndTheNextBlockIsStillFound) {
  const std::vector<Sentences> broken{
      {"{ VParm", "{ Envelope", "2", "Key 1 0 0 0 0 0 0 0 0", "Behaviors 1 1", "}", "}"},
      {"{ VParm", "{ Envelope", "1", "Key 1 0 9 0 0 0 0 0 0", "Behaviors 1 1", "}", "}"},
      {"{ VParm", "{ Envelope", "1", "Key nan 0 0 0 0 0 0 0 0", "Behaviors 1 1", "}", "}"},
      {"{ VParm", "{ Envelope", "1", "Key 1 0 0 0 0 0 0 0 0", "Behaviors 1 7", "}", "}"},
      {"{ VParm", "{ Envelope", "2", "Key 1 1 0 0 0 0 0 0 0", "Key 1 0 0 0 0 0 0 0 0", "Behaviors 1 1", "}", "}"},
      {"{ VParm", "}"}};
  for (Sentences lines : broken) {
    const std::string shown = lines.size() > 3 ? lines[3] : lines[1];
    lines.insert(lines.end(), {"{ VParm", "6", "}"});
    LoadState state(lines);
    Envelope envelope = Envelope::constant(8.0);
    EXPECT_NE(load_parameter(state, envelope), nullptr) << shown;
    EXPECT_EQ(envelope.at(0.0), 8.0) << shown;
    EXPECT_EQ(load_parameter(state, envelope), nullptr) << shown;
    EXPECT_EQ(envelope.at(0.0), 6.0) << shown;
  }
}

// --- VParms.

TEST_F(StandInHost, ParameterKeepsAndAnimatesItsValue) {
  const LWVParmID id = make_parameter("Width", 4.0);
  EXPECT_EQ(value_at(id, 1.0), 4.0);
  host.find_parameter("Left", "Width").set_keys({{0.0, 0.0}, {2.0, 10.0}});
  EXPECT_DOUBLE_EQ(value_at(id, 1.0), 5.0);
  std::array<double, 3> values{99.0, 0.0, 0.0};
  EXPECT_EQ(vparms().setVal(id, values.data()), 0) << "a keyed parameter keeps its keys";
  EXPECT_DOUBLE_EQ(value_at(id, 1.0), 5.0);
  vparms().destroy(id);
  EXPECT_EQ(everything_wrong(), Sentences{});
}

TEST_F(StandInHost, GetValueTouchesAllThreeDoubles) {
  const LWVParmID id = make_parameter("Width", 4.0);
  std::array<double, 3> values{-1.0, -1.0, -1.0};
  vparms().getVal(id, 0.0, nullptr, values.data());
  EXPECT_EQ(values, (std::array<double, 3>{4.0, 4.0, 4.0}));
  vparms().destroy(id);
}

TEST_F(StandInHost, ParameterCopiesItsKeys) {
  const LWVParmID from = make_parameter("From", 1.0);
  const LWVParmID to = make_parameter("To", 2.0);
  host.find_parameter("Left", "From").set_keys({{0.0, 0.0}, {1.0, 8.0}});
  EXPECT_EQ(vparms().copy(to, from), nullptr);
  EXPECT_DOUBLE_EQ(value_at(to, 0.5), 4.0);
  vparms().destroy(from);
  vparms().destroy(to);
  EXPECT_EQ(everything_wrong(), Sentences{});
}

TEST_F(StandInHost, TheNthCreationCanBeRefused) {
  host.parameters.refusal.arm(2);
  const LWVParmID first = vparms().create(LWVP_FLOAT, LWVPDT_NOTXTR);
  const LWVParmID second = vparms().create(LWVP_FLOAT, LWVPDT_NOTXTR);
  const LWVParmID third = vparms().create(LWVP_FLOAT, LWVPDT_NOTXTR);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  EXPECT_NE(third, nullptr);
  vparms().destroy(first);
  vparms().destroy(third);
}

TEST_F(StandInHost, UnknownParameterNameListsTheNames) {
  const LWVParmID id = make_parameter("Width", 4.0);
  try {
    host.find_parameter("Left", "Height");
    ADD_FAILURE() << "it was found";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find("Width"), std::string::npos) << error.what();
  }
  vparms().destroy(id);
}

TEST_F(StandInHost, ValuesAreReadFromManyThreads) {
  const LWVParmID id = make_parameter("Width", 4.0);
  std::array<double, 4> sums{};
  std::vector<std::thread> threads;
  for (double& sum : sums) {
    threads.emplace_back([&sum, id, left = host.id_of("Left")] {
      std::array<double, 3> values{};
      for (int i = 0; i < 2000; ++i) {
        sum += vparms().getVal(id, 0.0, nullptr, values.data());
        items().param(left, LWIP_W_POSITION, 0.0, values.data());
        sum += values[0];
        sum += cameras().pixelAspect(left, 0.0);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(sums, (std::array<double, 4>{8000.0, 8000.0, 8000.0, 8000.0}));
  vparms().destroy(id);
  EXPECT_EQ(everything_wrong(), Sentences{});
}

// --- The audit.

TEST_F(StandInHost, AuditFindsALeak) {
  make_parameter("Forgotten", 1.0);
  ASSERT_EQ(host.leaks().size(), 1U);
  EXPECT_TRUE(contains(host.leaks(), "Forgotten"));
}

TEST_F(StandInHost, AuditFindsADoubleDestroyAndAUseAfterIt) {
  const LWVParmID id = make_parameter("Width", 1.0);
  vparms().destroy(id);
  EXPECT_EQ(host.violations(), Sentences{});
  vparms().destroy(id);
  EXPECT_TRUE(contains(host.violations(), "LWVParmFuncs destroy"));
  EXPECT_EQ(value_at(id, 0.0), 0.0);
  EXPECT_TRUE(contains(host.violations(), "LWVParmFuncs getVal"));
}

TEST_F(StandInHost, AHandleIsNotMistakenForALaterOne) {
  const LWVParmID old = make_parameter("Old", 1.0);
  vparms().destroy(old);
  const LWVParmID later = make_parameter("Later", 2.0);
  EXPECT_NE(old, later);
  EXPECT_EQ(value_at(old, 0.0), 0.0);
  EXPECT_EQ(value_at(later, 0.0), 2.0);
  EXPECT_EQ(host.violations().size(), 1U);
  vparms().destroy(later);
}

TEST_F(StandInHost, AHandleOfAnotherKindIsAViolation) {
  const LWVParmID id = make_parameter("Width", 1.0);
  panels().destroy(reinterpret_cast<LWXPanelID>(id));
  evaluators().destroy(reinterpret_cast<LWCameraEvaluatorID>(host.id_of("Left")));
  EXPECT_EQ(host.violations().size(), 2U);
  vparms().destroy(id);
}

TEST_F(StandInHost, AuditFindsAWriteToAServiceTable) {
  LWVParmFuncs& table = vparms();
  const auto before = table.destroy;
  table.destroy = nullptr;
  EXPECT_TRUE(contains(host.violations(), LWVPARMFUNCS_GLOBAL));
  table.destroy = before;
  EXPECT_EQ(host.violations(), Sentences{});
}

TEST_F(StandInHost, AuditFindsACallOfASlotThatIsNotOffered) {
  vparms().editEnv();
  EXPECT_TRUE(contains(host.violations(), "not offer"));
}

TEST(Guarded, TellsAWritePastEitherEnd) {
  Guarded<std::array<double, 3>> record;
  EXPECT_TRUE(record.intact());
  auto* bytes = reinterpret_cast<volatile unsigned char*>(&record);
  bytes[sizeof record - 1] = static_cast<unsigned char>(bytes[sizeof record - 1] + 1);
  EXPECT_FALSE(record.intact());
}

TEST_F(StandInHost, ThereIsOneHostAtATime) {
  EXPECT_EQ(Host::current(), &host);
  EXPECT_THROW(Host{Scene()}, std::runtime_error);
  EXPECT_EQ(Host::current(), &host);
}

// --- Services by name.

TEST_F(StandInHost, AServiceCanBeWithheldAndOfferedAgain) {
  host.withhold(LWXPANELFUNCS_GLOBAL);
  EXPECT_EQ(Host::global()(LWXPANELFUNCS_GLOBAL, GFUSE_ACQUIRE), nullptr);
  host.offer(LWXPANELFUNCS_GLOBAL);
  EXPECT_NE(Host::global()(LWXPANELFUNCS_GLOBAL, GFUSE_ACQUIRE), nullptr);
  EXPECT_EQ(Host::global()("LW Nothing 1", GFUSE_TRANSIENT), nullptr);
  EXPECT_NE(Host::global()(LWOBJECTINFO_GLOBAL, GFUSE_TRANSIENT), nullptr);
  EXPECT_EQ(host.services_asked().size(), 4U);
}

TEST_F(StandInHost, SystemIdIsTheWordItself) {
  host.set_system_id(LWSYS_SCREAMERNET | 5U);
  const auto word = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(Host::global()(LWSYSTEMID_GLOBAL, GFUSE_TRANSIENT)));
  EXPECT_EQ(word & LWSYS_TYPEBITS, LWSYS_SCREAMERNET);
}

TEST_F(StandInHost, TimeIsReadAtEachUse) {
  const auto& info = service<LWTimeInfo>(LWTIMEINFO_GLOBAL);
  host.set_time(7, 0.28);
  EXPECT_EQ(info.frame, 7);
  EXPECT_EQ(info.time, 0.28);
  EXPECT_EQ(host.violations(), Sentences{});
}

TEST_F(StandInHost, MessagesAreRecorded) {
  auto& messages = service<LWMessageFuncs>(LWMESSAGEFUNCS_GLOBAL);
  messages.error("one", nullptr);
  host.answer = 0;
  EXPECT_EQ(messages.yesNo("title", "one", "two"), 0);
  ASSERT_EQ(host.messages().size(), 2U);
  EXPECT_EQ(host.messages()[0].kind, "error");
  EXPECT_EQ(host.messages()[0].lines, (Sentences{"one", ""}));
  EXPECT_EQ(host.messages()[1].lines, (Sentences{"title", "one", "two"}));
}

// --- Items.

Sentences names_of(LWItemType type) {
  Sentences names;
  for (LWItemID id = items().first(type, nullptr); id != nullptr; id = items().next(id)) names.emplace_back(items().name(id));
  return names;
}

TEST_F(StandInHost, ItemsAreListedByKindInOrder) {
  EXPECT_EQ(names_of(LWI_CAMERA), (Sentences{"Left", "Right"}));
  EXPECT_EQ(names_of(LWI_OBJECT), (Sentences{"Null"}));
  EXPECT_EQ(names_of(LWI_LIGHT), Sentences{});
  host.add_camera("Middle");
  host.move_item("Middle", 1);
  EXPECT_EQ(names_of(LWI_CAMERA), (Sentences{"Left", "Middle", "Right"}));
  host.move_item("Left", 2);
  EXPECT_EQ(names_of(LWI_CAMERA), (Sentences{"Middle", "Right", "Left"}));
  host.remove_item("Right");
  EXPECT_EQ(names_of(LWI_CAMERA), (Sentences{"Middle", "Left"}));
  EXPECT_EQ(host.violations(), Sentences{});
}

TEST_F(StandInHost, AnIdStaysTheItemsOwnWhenOthersMove) {
  const LWItemID right = host.id_of("Right");
  host.move_item("Right", 0);
  EXPECT_STREQ(items().name(right), "Right");
  host.remove_item("Left");
  EXPECT_STREQ(items().name(right), "Right");
}

TEST_F(StandInHost, AStaleIdIsAViolationAndNotACrash) {
  const LWItemID left = host.id_of("Left");
  host.remove_item("Left");
  host.add_camera("Left");
  std::array<double, 3> values{9.0, 9.0, 9.0};
  EXPECT_EQ(items().name(left), nullptr);
  EXPECT_EQ(items().next(left), nullptr);
  items().param(left, LWIP_W_POSITION, 0.0, values.data());
  EXPECT_EQ(cameras().zoomFactor(left, 0.0), 0.0);
  EXPECT_EQ(evaluators().create(left), nullptr);
  EXPECT_EQ(host.violations().size(), 5U);
}

TEST_F(StandInHost, ItemParametersAreOfTheItem) {
  Item& left = host.item("Left");
  left.motion[3] = Envelope::constant(std::numbers::pi / 2);
  left.motion[6] = Envelope::constant(3.0);
  left.motion[7] = Envelope::constant(3.0);
  left.motion[8] = Envelope::constant(3.0);
  const LWItemID id = host.id_of("Left");
  std::array<double, 3> out{};
  const auto expect = [&](int code, std::array<double, 3> wanted) {
    items().param(id, code, 0.0, out.data());
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(out[i], wanted[i], 1e-12) << "code " << code << ", component " << i;
  };
  expect(LWIP_W_POSITION, {-1, 2, -3});
  expect(LWIP_SCALING, {3, 3, 3});
  // A quarter turn of heading faces +X; axes have length 1 however large the item is.
  expect(LWIP_FORWARD, {1, 0, 0});
  expect(LWIP_W_RIGHT, {0, 0, -1});
  expect(LWIP_UP, {0, 1, 0});
  expect(LWIP_ROTATION, {std::numbers::pi / 2, 0, 0});
  EXPECT_EQ(host.violations(), Sentences{});
}

TEST_F(StandInHost, CameraInfoFollowsTheSettings) {
  CameraSettings& settings = host.camera("Left");
  settings.zoom_factor = Envelope::constant(2.0);
  settings.width_pixels = 400;
  settings.height_pixels = 200;
  settings.aperture_height = 0.02;
  const LWItemID id = host.id_of("Left");
  double width = 0.0;
  double height = 0.0;
  cameras().filmSize(id, &width, &height);
  EXPECT_NEAR(width, 0.04, 1e-15);
  EXPECT_EQ(height, 0.02);
  EXPECT_DOUBLE_EQ(cameras().focalLength(id, 0.0), 0.02);
  cameras().fovAngles(id, 0.0, &width, &height);
  EXPECT_NEAR(width, std::numbers::pi / 2, 1e-12);
  EXPECT_NEAR(height, 2.0 * std::atan(0.5), 1e-12);
  cameras().zoomFactor(host.id_of("Null"), 0.0);
  EXPECT_TRUE(contains(host.violations(), "is not a camera"));
}

// --- Panels.

TEST(HintWords, AreSplitByTheRuleOfTheirTags) {
  const auto word = [](std::uintptr_t value) { return reinterpret_cast<void*>(value); };
  const auto all = static_cast<std::uintptr_t>(-1);
  const std::vector<void*> words{word(LWXPTAG_FOCUS),
                                 word(all),
                                 word(LWXPTAG_RANGE),
                                 word(0x8001),
                                 word(1),
                                 word(10),
                                 word(2),
                                 word(LWXPTAG_DIVIDER),
                                 word(0x8002),
                                 word(5),
                                 word(6),
                                 word(0),
                                 word(LWXPTAG_DIVIDER),
                                 word(0x8003),
                                 word(0),
                                 word(LWXPTAG_STRLIST),
                                 word(0x8004),
                                 word(0xABC),
                                 word(0),
                                 word(LWXPTAG_END)};
  const std::vector<PanelHint> hints = parse_hints(words.data());
  ASSERT_EQ(hints.size(), 5U);
  EXPECT_EQ(hints[0].arguments, (std::vector<std::uintptr_t>{all}));
  EXPECT_EQ(hints[1].arguments, (std::vector<std::uintptr_t>{0x8001, 1, 10, 2}));
  EXPECT_EQ(hints[2].control(), 0x8002U);
  EXPECT_EQ(hints[2].list, (std::vector<std::uintptr_t>{5, 6}));
  EXPECT_EQ(hints[3].list, std::vector<std::uintptr_t>{});
  EXPECT_EQ(hints[4].arguments.size(), 3U);
}

TEST(HintWords, AWordThatIsNoTagIsRefused) {
  const std::array<void*, 2> words{reinterpret_cast<void*>(std::uintptr_t{7}), nullptr};
  EXPECT_THROW(parse_hints(words.data()), std::runtime_error);
}

struct PanelModel {
  int number = 3;
  double size = 1.5;
};

class StandInPanel : public StandInHost {
 protected:
  static void* get(void* instance, std::uint32_t id) {
    auto& model = *static_cast<PanelModel*>(instance);
    return id == 1 ? static_cast<void*>(&model.number) : id == 2 ? static_cast<void*>(&model.size) : nullptr;
  }
  static int set(void* instance, std::uint32_t id, void* value) {
    auto& model = *static_cast<PanelModel*>(instance);
    if (id == 1)
      model.number = *static_cast<int*>(value);
    else if (id == 2)
      model.size = *static_cast<double*>(value);
    return id <= 2 ? LWXPRC_DRAW : LWXPRC_NONE;
  }
  static void draw(LWXPanelID /*panel*/, std::uint32_t /*id*/, void* area, int width, int height) {
    LWXPDrawFuncs& functions = *panels().drawf;
    functions.drawRGBBox(area, 0, 0, 0, 0, 0, width, height);
    functions.drawRGBPixel(area, 10, 20, 30, 2, 1);
    functions.drawRGBPixel(area, 10, 20, 30, width, 0);
  }
  static int count(void* /*data*/) { return 2; }
  static const char* name(void* data, int index) { return index == 0 ? "none" : static_cast<const char*>(data); }

  LWXPanelID make_panel() {
    // The host may read all of these for as long as the panel is there.
    static std::array<LWXPanelControl, 4> controls{
        {{1, "Number", "integer"}, {2, "Size", "float"}, {3, "Logo", "dThumbnail"}, {}}};
    static std::array<LWXPanelDataDesc, 3> data{{{1, "Number", "integer"}, {2, "Size", "float"}, {}}};
    static std::array<void*, 9> hints{tag(LWXPTAG_POPFUNCS),
                                      tag(1),
                                      reinterpret_cast<void*>(&count),
                                      reinterpret_cast<void*>(&name),
                                      tag(LWXPTAG_DRAWCALLBACK),
                                      tag(3),
                                      reinterpret_cast<void*>(&draw),
                                      tag(LWXPTAG_END),
                                      nullptr};
    const LWXPanelID panel = panels().create(LWXP_VIEW, controls.data());
    panels().hint(panel, 0, hints.data());
    panels().describe(panel, data.data(), &get, &set);
    panels().viewInst(panel, &model);
    panels().setData(panel, 0, const_cast<char*>("second"));
    return panel;
  }
  static void* tag(std::uintptr_t value) { return reinterpret_cast<void*>(value); }

  PanelModel model;
};

TEST_F(StandInPanel, HintsThatChangeWhileThePanelIsOpenAreAViolation) {
  std::array<void*, 4> hints{tag(LWXPTAG_FOCUS), tag(2), tag(LWXPTAG_END), nullptr};
  const LWXPanelID id = make_panel();
  panels().hint(id, 0, hints.data());
  hints[1] = tag(3);
  EXPECT_TRUE(host.panels.destroy(id));
  EXPECT_EQ(everything_wrong(), Sentences{"LWXPanel hint: the words of a panel's hints changed while it was open"});
}

TEST_F(StandInPanel, HintsAreKeptWordByWord) {
  const LWXPanelID id = make_panel();
  std::array<void*, 8> more{tag(LWXPTAG_DIVIDER), tag(1), tag(5), tag(6), tag(0), tag(LWXPTAG_FOCUS), tag(2), tag(LWXPTAG_END)};
  panels().hint(id, 3, more.data());
  const Panel& panel = *host.panels.table.find(id);
  ASSERT_EQ(panel.hint_words.size(), 2U);
  EXPECT_EQ(panel.hint_words[0].control, 0U);
  EXPECT_EQ(panel.hint_words[0].words.size(), 7U);
  EXPECT_EQ(panel.hint_words[1].control, 3U);
  EXPECT_EQ(panel.hint_words[1].words, (std::vector<std::uintptr_t>{0x3D021481, 1, 5, 6, 0, 0x3D001201, 2}));
}

TEST_F(StandInPanel, ValuesPassThroughTheModulesGetAndSet) {
  const LWXPanelID id = make_panel();
  const Panel& panel = *host.panels.table.find(id);
  EXPECT_EQ(panel.get_integer(panel.control("Number").id), 3);
  EXPECT_EQ(panel.set_integer(1, 8), LWXPRC_DRAW);
  EXPECT_EQ(panel.set_float(2, 2.5), LWXPRC_DRAW);
  EXPECT_EQ(model.number, 8);
  EXPECT_EQ(panel.get_float(2), 2.5);
  EXPECT_THROW(panel.get_integer(3), std::runtime_error);
  EXPECT_THROW(panel.control("Colour"), std::runtime_error);
  EXPECT_EQ(panel.choices(1), (Sentences{"none", "second"}));
  EXPECT_EQ(panel.choices(2), Sentences{});
  panels().destroy(id);
  EXPECT_EQ(everything_wrong(), Sentences{});
}

TEST_F(StandInPanel, ADrawCallbackPaintsAPicture) {
  const LWXPanelID id = make_panel();
  const Picture picture = host.panels.table.find(id)->draw(3, 8, 4);
  EXPECT_EQ(picture.at(2, 1), (Picture::Color{10, 20, 30}));
  EXPECT_EQ(picture.at(7, 3), (Picture::Color{0, 0, 0}));
  EXPECT_EQ(picture.cut_off, 1U);
  Picture outside(2, 2);
  panels().drawf->drawRGBPixel(&outside, 1, 2, 3, 0, 0);
  EXPECT_TRUE(contains(host.violations(), "drawRGBPixel"));
  panels().destroy(id);
}

// --- The host's own camera, and evaluators of it.

TEST_F(StandInHost, PerspectiveRayAndProjectionAreInverse) {
  host.item("Left").motion[3] = Envelope::constant(0.7);
  host.item("Left").motion[4] = Envelope::constant(-0.3);
  PlainCamera camera(host.scene(), host.item("Left").id);
  for (const bool depth_of_field : {false, true}) {
    camera.begin_frame(0.0, 0.0, depth_of_field);
    for (const RayQuery& query : {RayQuery{0.0, 0.0}, RayQuery{0.004, -0.003, 0.5, 0.25}, RayQuery{-0.01, 0.0075, -1.0, 0.0}}) {
      const RayAnswer ray = camera.evaluate(query);
      ASSERT_EQ(ray.result, LWCAMEVAL_RAY);
      EXPECT_NEAR(length(ray.direction), 1.0, 1e-12);
      const auto film = camera.project(ray.position + ray.direction * 7.0, query.lens_x, query.lens_y, 0.0, Eye::centre);
      ASSERT_TRUE(film);
      EXPECT_NEAR(film->first, query.film_x, 1e-12);
      EXPECT_NEAR(film->second, query.film_y, 1e-12);
    }
    EXPECT_FALSE(camera.project(Vec3{-1, 2, -3}, 0.0, 0.0, 0.0, Eye::centre)) << "the lens itself is on no film position";
  }
}

TEST_F(StandInHost, DepthOfFieldIsSharpAtTheFocalDistance) {
  host.camera("Left").focal_distance = Envelope::constant(4.0);
  PlainCamera camera(host.scene(), host.item("Left").id);
  camera.begin_frame(0.0, 0.0, true);
  const auto hit = [&](double lens_x, double lens_y) {
    const RayAnswer ray = camera.evaluate({0.005, 0.002, lens_x, lens_y});
    return ray.position + ray.direction * (4.0 / ray.direction.z);
  };
  EXPECT_NE(camera.evaluate({0.005, 0.002, 1.0, 0.0}).position, camera.evaluate({0.005, 0.002, 0.0, 0.0}).position);
  EXPECT_NEAR(length(hit(1.0, 0.0) - hit(0.0, 0.0)), 0.0, 1e-12);
  EXPECT_NEAR(length(hit(-0.3, 0.8) - hit(0.0, 0.0)), 0.0, 1e-12);
}

TEST_F(StandInHost, MotionBlurMovesThePerspectiveCamera) {
  VariantParameter x;
  x.set_keys({{0.0, 0.0}, {1.0, 10.0}});
  host.item("Left").motion[0] = x.envelope;
  PlainCamera camera(host.scene(), host.item("Left").id);
  camera.begin_frame(0.0, 0.5, false);
  EXPECT_NEAR(camera.evaluate({}).position.x, 0.0, 1e-12);
  RayQuery late;
  late.fractional_time = 1.0;
  EXPECT_NEAR(camera.evaluate(late).position.x, 5.0, 1e-12);
}

TEST_F(StandInHost, AnEvaluatorPreparesItsFrameByItself) {
  const LWCameraEvaluatorID evaluator = evaluators().create(host.id_of("Right"));
  ASSERT_NE(evaluator, nullptr);
  EXPECT_EQ(evaluators().init(evaluator, LWRM_RENDER), nullptr);
  EXPECT_EQ(evaluators().newTime(evaluator, 3, 0.12), nullptr);
  LWCameraRay ray{};
  EXPECT_EQ(evaluators().evaluate(evaluator, 0.0, 0.0, 0.0, 0.0, 0.0, LWCAMEYE_CENTER, &ray), LWCAMEVAL_RAY);
  EXPECT_EQ(ray.rayPos[0], 1.0);
  EXPECT_EQ(ray.rayDir[2], 1.0);
  EXPECT_EQ(ray.filmNorm[2], 1.0);
  const LWDVector ahead{1.0, 2.0, 5.0};
  LWDVector film{9.0, 9.0, 9.0};
  EXPECT_EQ(evaluators().project(evaluator, 0.0, 0.0, ahead, 0.0, LWCAMEYE_CENTER, film), 1);
  EXPECT_EQ(film[0], 0.0);
  LWDMatrix4 projection{};
  EXPECT_EQ(evaluators().preview(evaluator, 0.0, 0.0, LWCAMEYE_CENTER, projection), 1);
  EXPECT_NE(projection[0][0], 0.0);
  evaluators().cleanUp(evaluator);
  evaluators().destroy(evaluator);
  EXPECT_EQ(host.evaluators.calls(), (Sentences{"create Right", "init Right 1", "newTime Right 3 0.12", "preview Right",
                                                "cleanUp Right", "destroy Right"}));
  EXPECT_EQ(host.evaluators.evaluations, 1U);
  EXPECT_EQ(everything_wrong(), Sentences{});
}

TEST_F(StandInHost, AnEvaluatorOfARemovedCameraGivesNoRay) {
  const LWCameraEvaluatorID evaluator = evaluators().create(host.id_of("Right"));
  host.remove_item("Right");
  EXPECT_NE(evaluators().newTime(evaluator, 0, 0.0), nullptr);
  LWCameraRay ray{};
  EXPECT_EQ(evaluators().evaluate(evaluator, 0.0, 0.0, 0.0, 0.0, 0.0, LWCAMEYE_CENTER, &ray), LWCAMEVAL_NONE);
  evaluators().destroy(evaluator);
  EXPECT_EQ(everything_wrong(), Sentences{});
}

TEST_F(StandInHost, EvaluatorsAnswerManyThreadsAtOnce) {
  const LWCameraEvaluatorID evaluator = evaluators().create(host.id_of("Right"));
  std::array<int, 4> rays{};
  std::vector<std::thread> threads;
  for (int& count : rays) {
    threads.emplace_back([&count, evaluator] {
      for (int i = 0; i < 1000; ++i) {
        LWCameraRay ray{};
        count += evaluators().evaluate(evaluator, 0.0, 0.0, 0.0, 0.0, 0.0, LWCAMEYE_CENTER, &ray);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(rays, (std::array<int, 4>{1000, 1000, 1000, 1000}));
  EXPECT_EQ(host.evaluators.evaluations, 4000U);
  evaluators().destroy(evaluator);
}

// --- Objects.

TEST_F(StandInHost, MeshesAreReadThroughTheirRecord) {
  ObjectFile object;
  object.surfaces.push_back({"Paint", {}, 1.0, 0.0});
  Layer layer;
  layer.name = "Base";
  layer.points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0.5}};
  layer.polygons.push_back({{0, 2, 1}, 0});
  layer.uv_maps.push_back({"UV", 2, {{1, {0.25F, 0.75F}}}, {{{2, 0}, {1.0F, 1.0F}}}});
  object.layers.push_back(layer);
  host.scene_objects.add("Triangle", object);

  ASSERT_EQ(objects().numObjects(), 1);
  EXPECT_STREQ(objects().userName(0), "Triangle");
  EXPECT_EQ(objects().maxLayers(0), 1);
  EXPECT_EQ(objects().layerExists(0, 0), 1);
  EXPECT_EQ(objects().layerExists(0, 1), 0);
  constexpr LWID uv = lwid('T', 'X', 'U', 'V');
  ASSERT_EQ(objects().numVMaps(uv), 1);
  EXPECT_STREQ(objects().vmapName(uv, 0), "UV");

  LWMeshInfo* mesh = objects().layerMesh(0, 0);
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->numPoints(mesh), 3);
  EXPECT_EQ(mesh->numPolygons(mesh), 1);
  EXPECT_EQ(mesh->pntVSelect(mesh, mesh->pntVLookup(mesh, uv, "UV")), 2);
  LWPolID polygon = nullptr;
  mesh->scanPolys(
      mesh,
      [](void* data, LWPolID id) {
        *static_cast<LWPolID*>(data) = id;
        return std::size_t{1};
      },
      &polygon);
  ASSERT_EQ(mesh->polSize(mesh, polygon), 3);
  EXPECT_STREQ(mesh->polTag(mesh, polygon, lwid('S', 'U', 'R', 'F')), "Paint");
  const LWPntID corner = mesh->polVertex(mesh, polygon, 1);
  LWFVector position{};
  mesh->pntBasePos(mesh, corner, position);
  EXPECT_EQ(position[2], 0.5F);
  std::array<float, 2> values{};
  EXPECT_EQ(mesh->pntVPGet(mesh, corner, polygon, values.data()), 1);
  EXPECT_EQ(mesh->pntVGet(mesh, corner, values.data()), 0) << "it has a value in the polygon only";
  EXPECT_EQ(mesh->polVertex(mesh, polygon, 3), nullptr);
  EXPECT_EQ(host.violations(), Sentences{});
  EXPECT_EQ(host.leaks().size(), 1U);
  mesh->destroy(mesh);
  EXPECT_EQ(everything_wrong(), Sentences{});
  EXPECT_EQ(mesh->numPoints(mesh), 0);
  EXPECT_TRUE(contains(host.violations(), "numPoints"));
}

TEST_F(StandInHost, AnObjectThatIsNowhereIsEmptyAndReported) {
  Item item;
  item.name = "Lost";
  item.object_file = "nowhere.lwo";
  host.add_item(item);
  ASSERT_EQ(objects().numObjects(), 1);
  EXPECT_EQ(objects().maxLayers(0), 0);
  EXPECT_EQ(objects().layerMesh(0, 0), nullptr);
  ASSERT_EQ(host.messages().size(), 1U);
  EXPECT_EQ(host.messages()[0].kind, "error");
}

// --- Sessions without a module.

TEST(PerspectiveSession, RendersWithoutAModule) {
  const auto file = test_support::scratch_folder() / "scene.lws";
  write_scene_file(small_scene(), file);
  SessionOptions options;
  options.scene_file = file;
  options.camera_name = "Right";
  const auto session = open_session(options);
  const FrameSetup setup = session->begin_frame(2);
  EXPECT_DOUBLE_EQ(setup.start_seconds, 0.08);
  EXPECT_EQ(setup.duration_seconds, 0.0);
  EXPECT_NEAR(setup.film_width, 0.02, 1e-12);
  const std::array<RayQuery, 2> queries{RayQuery{}, RayQuery{0.01, 0.0}};
  std::array<RayAnswer, 2> answers{};
  session->evaluate(queries, answers);
  EXPECT_EQ(answers[0].result, LWCAMEVAL_RAY);
  EXPECT_NEAR(answers[0].position.x, 1.0, 1e-12);
  EXPECT_GT(answers[1].direction.x, 0.0);
  const auto film = session->project({1.0, 2.0, 0.0}, 0.0, Eye::centre);
  ASSERT_TRUE(film);
  EXPECT_NEAR(film->first, 0.0, 1e-12);
}

TEST(PerspectiveSession, WrongNamesListTheChoices) {
  const auto file = test_support::scratch_folder() / "scene.lws";
  write_scene_file(small_scene(), file);
  SessionOptions options;
  options.scene_file = file;
  options.camera_name = "Top";
  try {
    open_session(options);
    FAIL() << "it was opened";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find("Left, Right"), std::string::npos) << error.what();
  }
}

// --- The module.

TEST(ModuleFile, FileThatIsNoModuleIsRefusedWithItsName) {
  const auto file = test_support::scratch_folder() / "text.p";
  std::ofstream(file) << "no module";
  for (const auto& wrong : {file, file.parent_path() / "missing.p"}) {
    try {
      const Module module(wrong);
      FAIL() << "it was loaded";
    } catch (const std::runtime_error& error) {
      EXPECT_NE(std::string(error.what()).find(wrong.filename().string()), std::string::npos) << error.what();
    }
  }
}

TEST(ModuleFile, OffersEveryCameraInThreeClasses) {
  const Module module(test_support::module_file());
  EXPECT_EQ(module.servers().size(), 3 * test_support::all_cameras().size());
  EXPECT_EQ(module.server(LWCAMERA_HANDLER_CLASS, "QuorinPanoramicCam").user_name(), "Quorin Panoramic Camera");
  try {
    module.server(LWCAMERA_HANDLER_CLASS, "Nothing");
    FAIL() << "it was found";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find("QuorinFisheyeCam"), std::string::npos) << error.what();
  }
}

class EveryCamera : public testing::TestWithParam<test_support::CameraFacts> {};

TEST_P(EveryCamera, LivesRendersAndEndsWithoutAViolation) {
  Host host(small_scene());
  {
    const Module module(test_support::module_file());
    HostedCamera camera(host, module, GetParam().server_name, "Left");
    const Sentences text = camera.save_text();
    camera.load_text(text);
    EXPECT_EQ(camera.save_text(), text);
    camera.load_binary(camera.save_binary());
    EXPECT_EQ(camera.save_text(), text);
    HostedCamera copy(host, module, GetParam().server_name, "Right");
    copy.copy_from(camera);
    camera.init_render();
    for (const int frame : {0, 1}) {
      camera.begin_frame(frame, {true, 4, false});
      camera.evaluate({0.001, 0.002, 0.1, 0.2, 0.5});
      camera.project({0.5, 0.5, 10.0});
      LWDMatrix4 projection{};
      camera.preview(projection);
    }
    Panel& panel = camera.panel();
    EXPECT_EQ(panel.get_text(panel.control("Version").id), "v4.0.0.22 Oct 28 2026");
    GizmoDrawing drawing;
    camera.draw_gizmo(drawing);
    camera.clean_up();
  }
  EXPECT_EQ(host.violations(), Sentences{});
  EXPECT_EQ(host.leaks(), Sentences{});
}

INSTANTIATE_TEST_SUITE_P(Servers, EveryCamera, testing::ValuesIn(test_support::all_cameras()),
                         [](const auto& camera) { return camera.param.server_name; });

PluginBlock handler_block(const std::string& server, Sentences lines) {
  return {LWCAMERA_HANDLER_CLASS, 1, server, std::move(lines)};
}

TEST_F(StandInHost, AnEvaluatorRunsTheModulesCameraOfThatItem) {
  {
    const Module module(test_support::module_file());
    host.camera("Right").handler = handler_block("QuorinPanoramicCam", {});
    HostedCamera split(host, module, "QuorinMultiCam", "Left");
    split.panel().set_integer(split.panel().control("Cam 1 (Left Side of Frame)").id, 1);
    split.init_render();
    host.evaluators.record_requests(true);
    split.begin_frame(0);
    const double quarter = split.access().filmSize[0] * 0.25;
    EXPECT_EQ(split.evaluate({-0.004, 0.001, 0.1, 0.2, 0.5, Eye::left}).result, LWCAMEVAL_RAY);
    ASSERT_EQ(host.evaluators.requests().size(), 1U);
    const EvaluatorRequest request = host.evaluators.requests()[0];
    EXPECT_EQ(request.camera_name, "Right");
    EXPECT_DOUBLE_EQ(request.query.film_x, -0.004 + quarter);
    EXPECT_EQ(request.query.film_y, 0.001);
    EXPECT_EQ(request.query.lens_x, 0.1);
    EXPECT_EQ(request.query.eye, Eye::left);
    // A quarter of the film to the right of the panoramic camera's film centre looks to the right; so does its share of the
    // split film, the film centre's left neighbour.
    EXPECT_NEAR(split.evaluate({-quarter, 0.0}).direction.z, 1.0, 1e-6);
    EXPECT_NEAR(split.evaluate({-1e-9, 0.0}).direction.x, 1.0, 1e-6);
  }
  EXPECT_EQ(everything_wrong(), Sentences{});
}

TEST_F(StandInHost, CamerasThatShowOneAnotherEnd) {
  {
    const Module module(test_support::module_file());
    host.camera("Left").handler = handler_block("QuorinMultiCam", {"1", "0"});
    host.camera("Right").handler = handler_block("QuorinMultiCam", {"1", "0"});
    HostedCamera split(host, module, "QuorinMultiCam", "Left");
    split.load_saved();
    split.init_render();
    split.begin_frame(0);
    EXPECT_EQ(split.evaluate({-0.009, 0.0}).result, LWCAMEVAL_NONE);
    ASSERT_FALSE(host.messages().empty());
    EXPECT_EQ(host.messages()[0].kind, "warning");
  }
  EXPECT_EQ(everything_wrong(), Sentences{});
}

SessionOptions module_session(const std::string& server) {
  const auto file = test_support::scratch_folder() / "scene.lws";
  write_scene_file(small_scene(), file);
  SessionOptions options;
  options.scene_file = file;
  options.module_file = test_support::module_file();
  options.server_name = server;
  return options;
}

TEST(ModuleSession, SettingsChangeTheRays) {
  SessionOptions options = module_session("QuorinPanoramicCam");
  const auto right_edge = [&] {
    const auto session = open_session(options);
    const FrameSetup setup = session->begin_frame(0);
    const std::array<RayQuery, 1> query{RayQuery{setup.film_width * 0.5, 0.0}};
    std::array<RayAnswer, 1> answer{};
    session->evaluate(query, answer);
    return answer[0].direction;
  };
  EXPECT_NEAR(right_edge().z, -1.0, 1e-6) << "the whole circle is shown: its edge is straight behind";
  options.settings = {{"HorizontalFOVradians", "3.141592653589793"}};
  EXPECT_NEAR(right_edge().x, 1.0, 1e-6) << "half the circle is shown: its edge is to the right";
}

TEST(ModuleSession, WrongSettingAndServerListTheChoices) {
  const auto refusal = [](const SessionOptions& options) -> std::string {
    try {
      open_session(options);
      return "it was opened";
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  };
  SessionOptions options = module_session("QuorinPanoramicCam");
  options.settings = {{"Zoom", "1"}};
  EXPECT_NE(refusal(options).find("HorizontalFOVradians"), std::string::npos) << refusal(options);
  options.settings = {{"HorizontalFOVradians", "wide"}};
  EXPECT_NE(refusal(options).find("\"wide\" is not a number"), std::string::npos) << refusal(options);
  EXPECT_NE(refusal(module_session("Quorin")).find("QuorinStereoCam"), std::string::npos) << refusal(module_session("Quorin"));
}

TEST(Introspection, DescribesEveryCamera) {
  const auto cameras_of_module = describe_module(test_support::module_file()).cameras;
  EXPECT_EQ(cameras_of_module.size(), test_support::all_cameras().size());
  const auto panoramic = std::find_if(cameras_of_module.begin(), cameras_of_module.end(),
                                      [](const auto& camera) { return camera.server_name == "QuorinPanoramicCam"; });
  ASSERT_NE(panoramic, cameras_of_module.end());
  const auto field = std::find_if(panoramic->parameters.begin(), panoramic->parameters.end(),
                                  [](const auto& parameter) { return parameter.channel_name == "HorizontalFOVradians"; });
  ASSERT_NE(field, panoramic->parameters.end());
  EXPECT_NEAR(field->default_value, 2.0 * std::numbers::pi, 1e-12);
  EXPECT_EQ(panoramic->panel_rows.size(), 5U);
}

class DescribedCamera : public testing::Test {
 protected:
  static const CameraDescription& camera(const std::string& server_name) {
    static const ModuleDescription module = describe_module(test_support::module_file());
    const auto found = std::ranges::find(module.cameras, server_name, &CameraDescription::server_name);
    if (found == module.cameras.end()) throw std::runtime_error("no " + server_name);
    return *found;
  }
  static const ControlDescription& row(const CameraDescription& camera, const std::string& label) {
    const auto found = std::ranges::find(camera.panel_rows, label, &ControlDescription::label);
    if (found == camera.panel_rows.end()) throw std::runtime_error("no " + label);
    return *found;
  }
};

TEST_F(DescribedCamera, TellsRangesThatThePanelKeepsTo) {
  const CameraDescription& perspective = camera("QuorinPerspectiveCam");
  EXPECT_EQ(row(perspective, "ISO").minimum, 1.0);
  EXPECT_EQ(row(perspective, "ISO").maximum, std::nullopt);
  EXPECT_EQ(row(perspective, "Shutter Angle").maximum, 360.0);
  EXPECT_EQ(row(perspective, "ZoomFactor").minimum, std::nullopt);
  // From the panel's hints.
  EXPECT_EQ(row(camera("QuorinAdvPanCam"), "Right Horizontal Scale").minimum, -5.0);
  EXPECT_EQ(row(camera("QuorinDpiCam"), "Dots Per Inch").minimum, std::nullopt);
}

TEST_F(DescribedCamera, TellsWhichEnvelopeStandsBehindARow) {
  const CameraDescription& stereo = camera("QuorinStereoCam");
  EXPECT_EQ(row(stereo, "Convergence Toe In").channel_name, "HorizontalScale");
  EXPECT_EQ(row(stereo, "Iris (f-stop)").channel_name, "PhotoIris");
  EXPECT_EQ(row(stereo, "Show Convergence Plane").channel_name, "");
}

TEST_F(DescribedCamera, TellsWhatChoicesName) {
  EXPECT_EQ(row(camera("QuorinMultiCam"), "Cam 1 (Left Side of Frame)").choices_of, "cameras");
  EXPECT_EQ(row(camera("QuorinStereoCam"), "Convergence Item").choices_of, "objects");
  EXPECT_EQ(row(camera("QuorinSkyboxCam"), "Skybox Type").choices_of, "");
}

TEST_F(DescribedCamera, TellsTheOrderOfTheSceneFile) {
  using Item = SavedItemDescription;
  const std::vector<Item> fisheye{{"envelope", {"FisheyePower"}, {"Distortion Power"}},
                                  {"envelope", {"FisheyeScale"}, {"Distortion Scale"}},
                                  {"integer", {}, {"Auto Distortion Scale"}},
                                  {"integer", {}, {"Preview in Camera View"}},
                                  {"integer", {}, {}},
                                  {"integer", {}, {"Parallel Film Normals"}}};
  EXPECT_EQ(camera("QuorinFisheyeCam").saved_items, fisheye);
  const std::vector<Item> spherical{{"envelope", {"AngularFieldOfView"}, {"Angular Field Of View"}},
                                    {"float", {"PhotoISO"}, {"ISO"}},
                                    {"float", {"PhotoIris"}, {"Iris (f-stop)"}},
                                    {"float", {"PhotoShutter"}, {"Shutter Angle"}}};
  EXPECT_EQ(camera("QuorinSphericalCam").saved_items, spherical);
  EXPECT_EQ(camera("QuorinMultiCam").saved_items, (std::vector<Item>{{"integer", {}, {"Cam 1 (Left Side of Frame)"}},
                                                                     {"integer", {}, {"Cam 2 (Right Side of Frame)"}}}));
}

TEST_F(DescribedCamera, TellsWhetherPointsProject) {
  EXPECT_TRUE(camera("QuorinPanoramicCam").projects);
  EXPECT_TRUE(camera("QuorinMultiCam").projects) << "through the camera beside it";
  EXPECT_FALSE(camera("QuorinSkyboxCam").projects);
}

TEST_F(DescribedCamera, ShowsDrawingsAndDividers) {
  const CameraDescription& skybox = camera("QuorinSkyboxCam");
  ASSERT_TRUE(skybox.panel_rows.at(0).drawing);
  EXPECT_LT(skybox.panel_rows.at(0).drawing->height(), 100) << "no higher than what is painted";
  EXPECT_FALSE(row(skybox, "Skybox Type").drawing);
  EXPECT_TRUE(row(skybox, "Version").divider_below);
}

}  // namespace standin::standin_test
