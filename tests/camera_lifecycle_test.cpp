#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "standin/host/save_state.h"
#include "tests/support/camera_facts.h"
#include "tests/support/saved_settings.h"
#include "tests/support/stage.h"

namespace camera_lifecycle_test {

using standin::Host;
using standin::HostedCamera;
using standin::VariantParameter;
using test_support::as_binary;
using test_support::as_text;
using test_support::CameraFacts;
using test_support::ChannelFacts;
using test_support::default_settings;
using test_support::distinct_settings;
using test_support::SavedFacts;
using test_support::SavedValue;
using test_support::Stage;
using test_support::ValueFacts;

constexpr const char* could_not_copy = "Could not copy";

/// The contents of a camera's envelopes, in order.
std::vector<standin::Envelope> envelopes_of(const HostedCamera& camera) {
  std::vector<standin::Envelope> contents;
  for (const VariantParameter* parameter : camera.parameters()) contents.push_back(parameter->envelope);
  return contents;
}

/// The words and numbers that the panel shows.
std::vector<double> plain_values_of(HostedCamera& camera, const CameraFacts& facts) {
  std::vector<double> values;
  const standin::Panel& panel = camera.panel();
  for (const ValueFacts& value : facts.values) {
    if (value.kind == ValueFacts::Kind::word) values.push_back(panel.get_integer(value.id));
    if (value.kind == ValueFacts::Kind::number) values.push_back(panel.get_float(value.id));
  }
  return values;
}

/// Everything that the host may ask of an instance, in its order.
void live_a_whole_life(HostedCamera& camera) {
  camera.init_render(LWRM_RENDER);
  for (int frame = 0; frame < 3; ++frame) {
    const double seconds = frame / 30.0;
    camera.new_time(frame, seconds);
    camera.new_frame(frame, seconds, 1.0 / 60.0, 4);
    for (const double x : {-0.009, 0.0, 0.009}) {
      for (const standin::Eye eye : {standin::Eye::centre, standin::Eye::left, standin::Eye::right}) {
        camera.evaluate({.film_x = x, .film_y = 0.003, .lens_x = 0.1, .lens_y = -0.2, .fractional_time = 0.3, .eye = eye});
        camera.project({x, 1.0, 5.0}, 0.7, eye);
      }
    }
    LWDMatrix4 projection{};
    camera.preview(projection);
  }
  camera.clean_up();
  camera.init_render(LWRM_PREVIEW);
  camera.clean_up();
  standin::GizmoDrawing drawing;
  camera.draw_gizmo(drawing);
}

class CameraLifecycle : public testing::TestWithParam<CameraFacts> {
 protected:
  std::unique_ptr<HostedCamera> create(const std::string& item = "Camera") {
    return stage.create(GetParam().server_name, item);
  }
  const CameraFacts& facts = GetParam();
  Stage stage;
};

INSTANTIATE_TEST_SUITE_P(All, CameraLifecycle, testing::ValuesIn(test_support::all_cameras()),
                         [](const auto& camera) { return camera.param.server_name; });

TEST_P(CameraLifecycle, TellsItsNameAndFlags) {
  const auto camera = create();
  EXPECT_EQ(camera->describe(), facts.description);
  EXPECT_EQ(camera->flags(), facts.flags);
}

TEST_P(CameraLifecycle, CreatesItsEnvelopesInOrder) {
  const auto camera = create();
  const std::vector<VariantParameter*> parameters = camera->parameters();
  ASSERT_EQ(parameters.size(), facts.channels.size());
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    SCOPED_TRACE(facts.channels[i].name);
    EXPECT_EQ(parameters[i]->channel_name, facts.channels[i].name);
    EXPECT_EQ(parameters[i]->envelope, standin::Envelope::constant(facts.channels[i].default_value));
    EXPECT_EQ(parameters[i]->plugin_name, facts.plugin_name);
    EXPECT_EQ(parameters[i]->group, Host::channel_group_of(stage.host.item("Camera")));
    EXPECT_EQ(parameters[i]->type, LWVP_FLOAT);
    EXPECT_EQ(parameters[i]->texture_type, LWVPDT_NOTXTR);
  }
}

TEST_P(CameraLifecycle, StartsWithTheZoomOfItsOwnCameraAtTheHostsTime) {
  stage.host.camera("Other 3").zoom_factor.keys = {{1.0, 0.0, standin::Span::linear, {}},
                                                   {5.0, 1.0, standin::Span::linear, {}}};
  stage.host.set_time(7, 0.25);
  const auto camera = create("Other 3");
  for (const VariantParameter* parameter : camera->parameters()) {
    EXPECT_EQ(parameter->group, Host::channel_group_of(stage.host.item("Other 3")));
    if (parameter->channel_name != "ZoomFactor") continue;
    EXPECT_EQ(parameter->envelope, standin::Envelope::constant(2.0));
  }
}

TEST_P(CameraLifecycle, NewInstanceSavesItsDefaultsInOrder) {
  const auto camera = create();
  EXPECT_EQ(camera->save_text(), as_text(default_settings(facts)));
  EXPECT_EQ(camera->save_binary(), as_binary(default_settings(facts)));
}

TEST_P(CameraLifecycle, TextRoundTripKeepsEverySetting) {
  const auto lines = as_text(distinct_settings(facts));
  const auto camera = create();
  camera->load_text(lines);
  EXPECT_EQ(camera->save_text(), lines);
  const auto other = create("Other 1");
  other->load_text(camera->save_text());
  EXPECT_EQ(other->save_text(), lines);
}

TEST_P(CameraLifecycle, BinaryRoundTripKeepsEverySetting) {
  const auto bytes = as_binary(distinct_settings(facts));
  const auto camera = create();
  camera->load_binary(bytes);
  EXPECT_EQ(camera->save_binary(), bytes);
  EXPECT_EQ(camera->save_text(), as_text(distinct_settings(facts)));
  const auto other = create("Other 1");
  other->load_binary(camera->save_binary());
  EXPECT_EQ(other->save_binary(), bytes);
}

TEST_P(CameraLifecycle, LoadingAgainReplacesWhatWasLoaded) {
  const auto camera = create();
  camera->load_text(as_text(distinct_settings(facts, 1)));
  camera->load_text(as_text(distinct_settings(facts, 2)));
  EXPECT_EQ(camera->save_text(), as_text(distinct_settings(facts, 2)));
}

TEST_P(CameraLifecycle, SavedValuesReachTheirEnvelopes) {
  const auto camera = create();
  const std::vector<SavedValue> settings = distinct_settings(facts);
  camera->load_text(as_text(settings));
  for (std::size_t i = 0; i < settings.size(); ++i) {
    if (facts.saved[i].channel.empty()) continue;
    EXPECT_EQ(camera->parameter(facts.saved[i].channel).envelope,
              facts.saved[i].kind == SavedFacts::Kind::number
                  ? standin::Envelope::constant(static_cast<double>(settings[i].number))
                  : settings[i].envelope)
        << facts.saved[i].channel;
  }
}

TEST_P(CameraLifecycle, LoadingLeavesTheZoomEnvelopeAlone) {
  const auto camera = create();
  if (facts.channels.empty() || facts.channels.front().name != "ZoomFactor") {
    EXPECT_THROW(camera->parameter("ZoomFactor"), std::runtime_error);
    return;
  }
  camera->parameter("ZoomFactor").set_keys({{0.0, 1.5}, {1.0, 3.5}});
  const standin::Envelope before = camera->parameter("ZoomFactor").envelope;
  camera->load_text(as_text(distinct_settings(facts)));
  EXPECT_EQ(camera->parameter("ZoomFactor").envelope, before);
  EXPECT_EQ(camera->save_text(), as_text(distinct_settings(facts)));
}

TEST_P(CameraLifecycle, ShortTextKeepsWhatWasRead) {
  const std::vector<SavedValue> all = distinct_settings(facts);
  for (std::size_t count = 0; count < all.size(); ++count) {
    SCOPED_TRACE(count);
    const auto camera = create();
    camera->load_text(as_text({all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count)}));
    std::vector<SavedValue> expected = default_settings(facts);
    std::copy_n(all.begin(), count, expected.begin());
    EXPECT_EQ(camera->save_text(), as_text(expected));
  }
}

TEST_P(CameraLifecycle, BinaryDataCutAtAnyByteIsSurvived) {
  const auto bytes = as_binary(distinct_settings(facts));
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    const auto camera = create();
    camera->load_binary({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)});
    EXPECT_FALSE(camera->save_text().empty());
  }
}

TEST_P(CameraLifecycle, SettingsOfAnotherCameraAreSurvived) {
  const auto camera = create();
  for (const CameraFacts& other : test_support::all_cameras()) {
    camera->load_text(as_text(distinct_settings(other)));
    camera->load_binary(as_binary(distinct_settings(other)));
  }
  camera->load_text({"", "}", "{ Nonsense", "words", "}", "{ VParm", "1"});
  live_a_whole_life(*camera);
}

TEST_P(CameraLifecycle, NumbersThatAreNotAboveZeroLoadAsDefaults) {
  for (const char* text : {"0", "-1", "-0", "nan", "-inf"}) {
    SCOPED_TRACE(text);
    const auto camera = create();
    std::vector<std::string> lines;
    std::vector<SavedValue> expected = distinct_settings(facts);
    for (std::size_t i = 0; i < expected.size(); ++i) {
      if (expected[i].kind == SavedFacts::Kind::number) {
        lines.emplace_back(text);
        expected[i].number = default_settings(facts)[i].number;
      } else {
        const auto more = as_text({expected[i]});
        lines.insert(lines.end(), more.begin(), more.end());
      }
    }
    camera->load_text(lines);
    EXPECT_EQ(camera->save_text(), as_text(expected));
    for (std::size_t i = 0; i < expected.size(); ++i) {
      if (expected[i].kind != SavedFacts::Kind::number) continue;
      // The default itself, not the single-precision number nearest to it.
      EXPECT_EQ(camera->parameter(facts.saved[i].channel).envelope, standin::Envelope::constant(facts.saved[i].default_value));
    }
  }
}

TEST_P(CameraLifecycle, KeyedEnvelopesOfNumbersStayKeyedWhenLoaded) {
  const auto camera = create();
  std::vector<standin::Envelope> keyed;
  for (const SavedFacts& saved : facts.saved) {
    if (saved.kind != SavedFacts::Kind::number) continue;
    camera->parameter(saved.channel).set_keys({{0.0, 100.0}, {1.0, 200.0}});
    keyed.push_back(camera->parameter(saved.channel).envelope);
  }
  camera->load_text(as_text(distinct_settings(facts)));
  std::size_t next = 0;
  for (const SavedFacts& saved : facts.saved) {
    if (saved.kind != SavedFacts::Kind::number) continue;
    EXPECT_EQ(camera->parameter(saved.channel).envelope, keyed[next++]);
  }
}

TEST_P(CameraLifecycle, WholeLifeLeavesNothingBehind) {
  const auto camera = create();
  const auto before_panel = camera->panel().controls.size();
  live_a_whole_life(*camera);
  EXPECT_EQ(camera->panel().controls.size(), before_panel);
  EXPECT_EQ(stage.host.parameters.table.alive(), facts.channels.size());
  // Without a choice there is no camera to look through.
  EXPECT_TRUE(stage.host.evaluators.calls().empty());
}

TEST_P(CameraLifecycle, NewCameraHasNoPreview) {
  const auto camera = create();
  camera->init_render(LWRM_PREVIEW);
  camera->begin_frame(1);
  LWDMatrix4 projection;
  for (auto& row : projection) std::ranges::fill(row, 77.0);
  EXPECT_EQ(camera->preview(projection), 0);
  for (const auto& row : projection) EXPECT_TRUE(std::ranges::all_of(row, [](double number) { return number == 77.0; }));
}

TEST_P(CameraLifecycle, CallsBeforeAnyFrameAreSurvived) {
  const auto camera = create();
  for (const double time : {0.0, 0.5, 1.0}) {
    camera->evaluate({.film_x = 0.001, .fractional_time = time});
    camera->project({0.0, 0.0, 1.0}, time);
  }
  LWDMatrix4 projection{};
  EXPECT_EQ(camera->preview(projection), 0);
  camera->clean_up();
  standin::GizmoDrawing drawing;
  camera->draw_gizmo(drawing);
}

TEST_P(CameraLifecycle, MissingRecordsAreSurvived) {
  const auto camera = create();
  camera->begin_frame(1);
  const LWCameraHandler& handler = camera->handler();
  EXPECT_EQ(handler.inst->load(camera->raw(), nullptr), nullptr);
  EXPECT_EQ(handler.inst->save(camera->raw(), nullptr), nullptr);
  EXPECT_EQ(handler.newFrame(camera->raw(), nullptr, &camera->access()), nullptr);
  EXPECT_EQ(handler.newFrame(camera->raw(), &camera->frame_info(), nullptr), nullptr);
}

TEST_P(CameraLifecycle, MissingInstanceIsSurvived) {
  const auto camera = create();
  camera->begin_frame(1);
  const LWCameraHandler& handler = camera->handler();
  handler.inst->destroy(nullptr);
  standin::SaveState save(LWIO_TEXT);
  const standin::LoadState load(as_text(distinct_settings(facts)));
  EXPECT_EQ(handler.inst->load(nullptr, load.record()), nullptr);
  EXPECT_EQ(handler.inst->save(nullptr, save.record()), nullptr);
  EXPECT_TRUE(save.lines().empty());
  EXPECT_EQ(handler.inst->descln(nullptr), facts.description);
  EXPECT_EQ(handler.rend->init(nullptr, LWRM_RENDER), nullptr);
  EXPECT_EQ(handler.rend->newTime(nullptr, 1, 0.0), nullptr);
  handler.rend->cleanup(nullptr);
  EXPECT_EQ(handler.newFrame(nullptr, &camera->frame_info(), &camera->access()), nullptr);
  EXPECT_EQ(handler.flags(nullptr), facts.flags);
  LWDMatrix4 projection{};
  EXPECT_EQ(handler.preview(nullptr, 0, 0, LWCAMEYE_CENTER, projection, &camera->access()), 0);
}

TEST_P(CameraLifecycle, CopyTakesOverEverySetting) {
  const auto source = create();
  source->load_text(as_text(distinct_settings(facts)));
  for (VariantParameter* parameter : source->parameters()) parameter->set_keys({{0.0, 0.75}, {1.0, 1.5}});
  // Scenes keep numbers in single precision, copies do not: these are numbers of double precision.
  for (const ValueFacts& value : facts.values)
    if (value.kind == ValueFacts::Kind::number) source->panel().set_float(value.id, 5.6);
  const auto target = create("Other 1");
  const std::vector<VariantParameter*> own = target->parameters();
  target->copy_from(*source);

  EXPECT_EQ(target->parameters(), own);
  EXPECT_EQ(envelopes_of(*target), envelopes_of(*source));
  EXPECT_EQ(plain_values_of(*target, facts), plain_values_of(*source, facts));
  EXPECT_EQ(target->save_text(), source->save_text());
  EXPECT_EQ(target->describe(), facts.description);
}

TEST_P(CameraLifecycle, CopyLivesOnWithoutItsSource) {
  const auto target = create();
  {
    const auto source = create("Other 1");
    source->load_text(as_text(distinct_settings(facts)));
    live_a_whole_life(*source);
    target->copy_from(*source);
  }
  EXPECT_EQ(target->save_text(), as_text(distinct_settings(facts)));
  EXPECT_EQ(stage.host.parameters.table.alive(), facts.channels.size());
  target->load_text(as_text(default_settings(facts)));
  live_a_whole_life(*target);
}

TEST_P(CameraLifecycle, CopyIntoAnInstanceThatRendersLeavesNothingBehind) {
  const auto source = create("Other 1");
  const auto target = create();
  live_a_whole_life(*target);
  target->begin_frame(1);
  target->copy_from(*source);
  EXPECT_EQ(target->save_text(), as_text(default_settings(facts)));
  live_a_whole_life(*target);
}

TEST_P(CameraLifecycle, CopyWithoutOneSideIsRefusedAndChangesNothing) {
  const auto camera = create();
  const auto lines = as_text(distinct_settings(facts));
  camera->load_text(lines);
  const auto copy = camera->handler().inst->copy;
  EXPECT_STREQ(copy(camera->raw(), nullptr), could_not_copy);
  EXPECT_STREQ(copy(nullptr, camera->raw()), could_not_copy);
  EXPECT_STREQ(copy(nullptr, nullptr), could_not_copy);
  EXPECT_EQ(camera->save_text(), lines);
}

TEST_P(CameraLifecycle, CopyToItselfChangesNothing) {
  const auto camera = create();
  camera->load_text(as_text(distinct_settings(facts)));
  camera->begin_frame(1, {.motion_blur = true, .motion_steps = 3});
  const auto before = camera->evaluate({.film_x = 0.001, .film_y = 0.002, .fractional_time = 0.25});
  camera->copy_from(*camera);
  const auto after = camera->evaluate({.film_x = 0.001, .film_y = 0.002, .fractional_time = 0.25});
  EXPECT_EQ(after.result, before.result);
  EXPECT_EQ(after.position, before.position);
  EXPECT_EQ(after.direction, before.direction);
  EXPECT_EQ(camera->save_text(), as_text(distinct_settings(facts)));
}

TEST_P(CameraLifecycle, RefusedEnvelopeIsSurvivedThroughTheWholeLife) {
  for (std::size_t refused = 0; refused < facts.channels.size(); ++refused) {
    const std::string& channel = facts.channels[refused].name;
    SCOPED_TRACE("without " + channel);
    stage.host.parameters.refusal.arm(static_cast<int>(refused) + 1);
    const auto camera = create();
    std::vector<std::string> names;
    for (const VariantParameter* parameter : camera->parameters()) names.push_back(parameter->channel_name);
    std::vector<std::string> expected_names;
    std::vector<SavedValue> settings;
    for (const ChannelFacts& facts_of_channel : facts.channels)
      if (facts_of_channel.name != channel) expected_names.push_back(facts_of_channel.name);
    EXPECT_EQ(names, expected_names);

    // What has no envelope takes no part in loading and saving; a number is stored whether or not it has one.
    const std::vector<SavedValue> all = distinct_settings(facts);
    for (std::size_t i = 0; i < all.size(); ++i)
      if (facts.saved[i].kind != SavedFacts::Kind::envelope || facts.saved[i].channel != channel) settings.push_back(all[i]);
    camera->load_text(as_text(settings));
    EXPECT_EQ(camera->save_text(), as_text(settings));
    for (const ValueFacts& value : facts.values) {
      if (value.kind != ValueFacts::Kind::envelope) continue;
      EXPECT_EQ(camera->panel().get(value.id) == nullptr, value.text == channel) << value.text;
    }

    const auto whole = create("Other 1");
    whole->copy_from(*camera);
    camera->copy_from(*whole);
    EXPECT_EQ(camera->save_text(), as_text(settings));
    live_a_whole_life(*camera);
  }
}

TEST_P(CameraLifecycle, InstanceWithoutAnyEnvelopeLivesItsWholeLife) {
  // Only a render node goes without the service; everywhere else the handler is not activated.
  stage.host.set_system_id(LWSYS_SCREAMERNET);
  stage.host.withhold(LWVPARMFUNCS_GLOBAL);
  {
    const auto camera = create();
    EXPECT_TRUE(camera->parameters().empty());
    camera->load_text(as_text(distinct_settings(facts)));
    camera->save_text();
    const auto other = create("Other 1");
    other->copy_from(*camera);
    live_a_whole_life(*camera);
  }
  stage.host.offer(LWVPARMFUNCS_GLOBAL);
}

TEST_P(CameraLifecycle, InstancesKeepTheirSettingsApart) {
  constexpr int count = 100;
  std::vector<std::unique_ptr<HostedCamera>> cameras;
  cameras.reserve(count);
  for (int i = 0; i < count; ++i) {
    cameras.push_back(create("Other " + std::to_string(i % 12 + 1)));
    cameras.back()->load_text(as_text(distinct_settings(facts, i + 1)));
  }
  EXPECT_EQ(stage.host.parameters.table.alive(), count * facts.channels.size());
  for (int i = 0; i < count; ++i)
    EXPECT_EQ(cameras[static_cast<std::size_t>(i)]->save_text(), as_text(distinct_settings(facts, i + 1)));
  // In an order of destruction that is neither that of creation nor its reverse.
  for (std::size_t i = 0; i < count; ++i) cameras[(i * 37) % count].reset();
  EXPECT_EQ(stage.host.parameters.table.alive(), 0U);
}

TEST_P(CameraLifecycle, HundredInstancesLeaveNoHandle) {
  constexpr std::size_t count = 100;
  constexpr std::size_t living = 25;
  std::vector<std::unique_ptr<HostedCamera>> cameras;
  for (std::size_t i = 0; i < count; ++i) {
    cameras.push_back(create());
    HostedCamera& camera = *cameras.back();
    camera.load_text(as_text(default_settings(facts)));
    camera.panel();
    // The host allows only so many evaluators at a time.
    if (i % (count / living) != 0) continue;
    for (const ValueFacts& value : facts.values)
      if (value.kind == ValueFacts::Kind::word) camera.panel().set_integer(value.id, 1);
    live_a_whole_life(camera);
  }
  const std::size_t cameras_shown = !facts.looks_through_other_cameras ? 0 : facts.channels.empty() ? facts.saved.size() : 1;
  EXPECT_EQ(stage.host.evaluators.table.alive(), living * cameras_shown);
  EXPECT_EQ(stage.host.panels.table.alive(), count);
  EXPECT_EQ(stage.host.parameters.table.alive(), count * facts.channels.size());
  cameras.clear();
  EXPECT_EQ(stage.host.evaluators.table.alive(), 0U);
  EXPECT_EQ(stage.host.panels.table.alive(), 0U);
  EXPECT_EQ(stage.host.parameters.table.alive(), 0U);
}

TEST_P(CameraLifecycle, MultiCameraFlagFollowsTheTileCameras) {
  const bool* flag = stage.module.library().find_as<const bool>("bMulticamActive");
  ASSERT_NE(flag, nullptr);
  const bool shows_tiles = facts.looks_through_other_cameras && facts.channels.empty();
  auto reset = stage.create("QuorinMultiCam", "Other 2");
  reset.reset();
  ASSERT_FALSE(*flag);
  {
    const auto camera = create();
    EXPECT_EQ(*flag, shows_tiles);
    auto second = create("Other 1");
    EXPECT_EQ(*flag, shows_tiles);
    second.reset();
    // The destruction of any camera clears it, whatever others there are.
    EXPECT_FALSE(*flag);
  }
  EXPECT_FALSE(*flag);
}

}  // namespace camera_lifecycle_test
