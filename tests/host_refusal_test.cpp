/// A host that refuses handles: some parameters of a camera and not others, and evaluators of other cameras.

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/camera_facts.h"
#include "tests/support/link_folder.h"
#include "tests/support/saved_settings.h"
#include "tests/support/stage.h"

namespace host_refusal_test {

using standin::HostedCamera;
using standin::RayAnswer;
using test_support::all_cameras;
using test_support::CameraFacts;
using test_support::SavedFacts;
using test_support::Stage;
using test_support::ValueFacts;

/// All over the film: some in every tile of every camera that divides the frame.
std::vector<RayAnswer> rays(const HostedCamera& camera) {
  std::vector<RayAnswer> answers;
  for (int row = -2; row <= 2; ++row)
    for (int column = -3; column <= 3; ++column)
      for (const standin::Eye eye : {standin::Eye::centre, standin::Eye::left, standin::Eye::right})
        answers.push_back(
            camera.evaluate({.film_x = column * 0.0049, .film_y = row * 0.0051, .fractional_time = 0.25, .eye = eye}));
  return answers;
}

bool same(const RayAnswer& one, const RayAnswer& other) {
  return one.result == other.result &&
         (one.result == LWCAMEVAL_NONE || (one.position == other.position && one.direction == other.direction));
}

std::size_t count_rays(const std::vector<RayAnswer>& answers) {
  return static_cast<std::size_t>(
      std::ranges::count_if(answers, [](const RayAnswer& answer) { return answer.result != LWCAMEVAL_NONE; }));
}

class HostRefusal : public testing::TestWithParam<CameraFacts> {
 protected:
  std::unique_ptr<HostedCamera> create(const std::string& item = "Camera") { return stage.create(facts.server_name, item); }

  const CameraFacts& facts = GetParam();
  test_support::LinkFolder folder;
  Stage stage;
};

/// Everything that a host does with an instance, but for its creation and destruction.
void live(HostedCamera& camera) {
  camera.init_render(LWRM_RENDER);
  for (int frame = 0; frame < 2; ++frame) {
    camera.begin_frame(frame, {.motion_blur = true, .motion_steps = 3});
    rays(camera);
    camera.project({0.1, 0.2, 5.0}, 0.3);
    LWDMatrix4 matrix{};
    camera.preview(matrix);
  }
  camera.clean_up();
  standin::GizmoDrawing drawing;
  camera.draw_gizmo(drawing);
}

/// Asks for everything that the panel shows, and draws what it draws.
void look_at_panel(HostedCamera& camera, const CameraFacts& facts) {
  const standin::Panel& panel = camera.panel();
  for (const ValueFacts& value : facts.values) panel.get(value.id);
  for (const standin::PanelControl& control : panel.controls) panel.choices(control.id);
  for (const standin::PanelHint* hint : panel.hints_of(LWXPTAG_DRAWCALLBACK)) panel.draw(hint->control(), 320, 150);
}

using RefusedParameters = HostRefusal;

TEST_P(RefusedParameters, FromAnyOneOnLeaveTheCameraItsDefaultsAndNothingBehind) {
  const auto whole = create("Other 1");
  whole->init_render(LWRM_RENDER);
  whole->begin_frame(1, {.motion_blur = true, .motion_steps = 3});
  const std::vector<RayAnswer> expected = rays(*whole);
  const std::size_t before = stage.host.parameters.table.alive();
  for (std::size_t granted = 0; granted < facts.channels.size(); ++granted) {
    SCOPED_TRACE(granted);
    stage.host.parameters.refusal.arm_from(static_cast<int>(granted) + 1);
    auto camera = create();
    stage.host.parameters.refusal.arm(0);
    const std::vector<standin::VariantParameter*> parameters = camera->parameters();
    ASSERT_EQ(parameters.size(), granted);
    const auto is_granted = [&](const std::string& channel) {
      return std::ranges::any_of(parameters, [&](const auto* parameter) { return parameter->channel_name == channel; });
    };
    for (std::size_t i = 0; i < granted; ++i) EXPECT_EQ(parameters[i]->channel_name, facts.channels[i].name);

    camera->init_render(LWRM_RENDER);
    camera->begin_frame(1, {.motion_blur = true, .motion_steps = 3});
    const std::vector<RayAnswer> answers = rays(*camera);
    for (std::size_t i = 0; i < answers.size(); ++i) EXPECT_TRUE(same(answers[i], expected[i])) << "ray " << i;
    camera->clean_up();

    look_at_panel(*camera, facts);
    for (const ValueFacts& value : facts.values)
      if (value.kind == ValueFacts::Kind::envelope)
        EXPECT_EQ(camera->panel().get(value.id) != nullptr, is_granted(value.text)) << value.text;
    // Numbers are stored with the envelope that they belong to or without one.
    for (const ValueFacts& value : facts.values)
      if (value.kind == ValueFacts::Kind::number) camera->panel().set_float(value.id, 5.5);

    std::vector<test_support::SavedValue> settings;
    const std::vector<test_support::SavedValue> all = test_support::distinct_settings(facts);
    for (std::size_t i = 0; i < all.size(); ++i)
      if (facts.saved[i].kind != SavedFacts::Kind::envelope || is_granted(facts.saved[i].channel)) settings.push_back(all[i]);
    camera->load_text(test_support::as_text(settings));
    EXPECT_EQ(camera->save_text(), test_support::as_text(settings));
    camera->load_binary(camera->save_binary());
    EXPECT_EQ(camera->save_text(), test_support::as_text(settings));

    whole->copy_from(*camera);
    camera->copy_from(*whole);
    live(*camera);
    EXPECT_EQ(camera->parameters(), parameters);
    EXPECT_EQ(stage.host.parameters.table.alive(), before + granted);
    camera.reset();
    EXPECT_EQ(stage.host.parameters.table.alive(), before);
  }
  // With all of them again.
  auto camera = create();
  camera->load_text(test_support::as_text(test_support::distinct_settings(facts)));
  EXPECT_EQ(camera->save_text(), test_support::as_text(test_support::distinct_settings(facts)));
  live(*camera);
}

INSTANTIATE_TEST_SUITE_P(EveryCamera, RefusedParameters, testing::ValuesIn(all_cameras()),
                         [](const auto& each) { return each.param.server_name; });

std::vector<CameraFacts> cameras_that_show_others() {
  std::vector<CameraFacts> cameras;
  std::ranges::copy_if(all_cameras(), std::back_inserter(cameras), &CameraFacts::looks_through_other_cameras);
  return cameras;
}

class RefusedEvaluators : public HostRefusal {
 protected:
  /// The controls in which a person chooses cameras.
  static std::vector<std::uint32_t> choosers(HostedCamera& camera) {
    std::vector<std::uint32_t> controls;
    for (const standin::PanelHint* hint : camera.panel().hints_of(LWXPTAG_POPFUNCS)) controls.push_back(hint->control());
    return controls;
  }
  /// Every chooser shows a camera of its own, each of which looks elsewhere.
  static void choose(HostedCamera& camera) {
    const std::vector<std::uint32_t> controls = choosers(camera);
    ASSERT_FALSE(controls.empty());
    for (std::size_t i = 0; i < controls.size(); ++i) camera.panel().set_integer(controls[i], static_cast<int>(i) + 1);
  }
  void SetUp() override {
    for (int i = 1; i <= 12; ++i)
      stage.host.item("Other " + std::to_string(i)).motion[3] = standin::Envelope::constant(0.3 * i);
  }
  std::size_t living_evaluators() { return stage.host.evaluators.table.alive(); }
};

TEST_P(RefusedEvaluators, GiveNoRaysAndTheNextRenderShowsThemAgain) {
  auto willing = create();
  choose(*willing);
  willing->init_render(LWRM_RENDER);
  willing->begin_frame(1);
  const std::vector<RayAnswer> expected = rays(*willing);
  const std::size_t all = choosers(*willing).size();
  ASSERT_EQ(living_evaluators(), all);
  ASSERT_EQ(count_rays(expected), expected.size());

  auto camera = create();
  choose(*camera);
  const std::vector<std::string> saved = camera->save_text();
  for (std::size_t granted = 0; granted < all; ++granted) {
    SCOPED_TRACE(granted);
    stage.host.evaluators.refusal.arm_from(static_cast<int>(granted) + 1);
    camera->init_render(LWRM_RENDER);
    EXPECT_EQ(living_evaluators(), all + granted);
    camera->begin_frame(1);
    const std::vector<RayAnswer> answers = rays(*camera);
    for (std::size_t i = 0; i < answers.size(); ++i)
      EXPECT_TRUE(answers[i].result == LWCAMEVAL_NONE || same(answers[i], expected[i])) << "ray " << i;
    EXPECT_LT(count_rays(answers), expected.size());
    EXPECT_EQ(count_rays(answers) == 0, granted == 0);
    camera->project({0.1, 0.2, 5.0});
    LWDMatrix4 matrix{};
    const int preview = camera->preview(matrix);
    if (granted == 0) EXPECT_EQ(preview, 0);
    camera->clean_up();
    // A person sees and keeps the choice all the same.
    look_at_panel(*camera, facts);
    EXPECT_EQ(camera->save_text(), saved);

    const auto copy = create();
    copy->copy_from(*camera);
    live(*copy);
    EXPECT_EQ(copy->save_text(), saved);
    EXPECT_EQ(count_rays(rays(*copy)), 0U) << "the host still refuses";

    stage.host.evaluators.refusal.arm(0);
    for (HostedCamera* again : {camera.get(), copy.get()}) {
      again->init_render(LWRM_RENDER);
      again->begin_frame(1);
      const std::vector<RayAnswer> now = rays(*again);
      for (std::size_t i = 0; i < now.size(); ++i) EXPECT_TRUE(same(now[i], expected[i])) << "ray " << i;
      again->clean_up();
    }
  }
  camera.reset();
  EXPECT_EQ(living_evaluators(), all);
  willing.reset();
  EXPECT_EQ(living_evaluators(), 0U);
}

TEST_P(RefusedEvaluators, OfAChoiceInThePanelAreMadeByTheNextRender) {
  auto camera = create();
  stage.host.evaluators.refusal.arm_from(1);
  choose(*camera);
  EXPECT_EQ(living_evaluators(), 0U);
  camera->begin_frame(1);
  EXPECT_EQ(count_rays(rays(*camera)), 0U);
  stage.host.evaluators.refusal.arm(0);
  camera->init_render(LWRM_RENDER);
  camera->begin_frame(1);
  EXPECT_EQ(count_rays(rays(*camera)), rays(*camera).size());
  EXPECT_EQ(living_evaluators(), choosers(*camera).size());

  // One that is there is not kept when the host refuses another in its place.
  stage.host.evaluators.refusal.arm_from(1);
  for (const std::uint32_t control : choosers(*camera)) camera->panel().set_integer(control, 12);
  EXPECT_EQ(living_evaluators(), 0U);
  EXPECT_EQ(count_rays(rays(*camera)), 0U);
  for (const std::uint32_t control : choosers(*camera)) EXPECT_EQ(camera->panel().get_integer(control), 12);
  camera->clean_up();
  camera.reset();
  stage.host.evaluators.refusal.arm(0);
}

INSTANTIATE_TEST_SUITE_P(EveryCameraThatShowsOthers, RefusedEvaluators, testing::ValuesIn(cameras_that_show_others()),
                         [](const auto& each) { return each.param.server_name; });

}  // namespace host_refusal_test
