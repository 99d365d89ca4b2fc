#include "cameras/overscan/selected_camera_suite.h"

namespace test_support {

TEST_P(SelectedCameraTest, CallsItsEvaluatorInOrder) {
  load_choice(4);
  camera->init_render(LWRM_RENDER);
  EXPECT_EQ(calls_since(0), (Calls{"create Other 4", "init Other 4 1"}));
  std::size_t before = call_count();
  camera->new_time(3, 0.1);
  EXPECT_EQ(calls_since(before), Calls{"newTime Other 4 3 0.1"});
  before = call_count();
  camera->new_frame(4, 0.2);
  // With the frame and time of the last newTime. There is no newFrame, because the evaluator prepares its frame itself.
  EXPECT_EQ(calls_since(before), Calls{"newTime Other 4 3 0.1"});
  EXPECT_EQ(ray().result, LWCAMEVAL_RAY);
  before = call_count();
  LWDMatrix4 matrix{};
  EXPECT_EQ(camera->preview(matrix), 1);
  EXPECT_EQ(calls_since(before), Calls{"preview Other 4"});
  before = call_count();
  camera->clean_up();
  EXPECT_EQ(calls_since(before), Calls{"cleanUp Other 4"});
  before = call_count();
  camera->init_render(LWRM_PREVIEW);
  EXPECT_EQ(calls_since(before), (Calls{"destroy Other 4", "create Other 4", "init Other 4 0"}));
  before = call_count();
  camera.reset();
  EXPECT_EQ(calls_since(before), Calls{"destroy Other 4"});
}

TEST_P(SelectedCameraTest, ChoiceInThePanelCreatesAnEvaluatorAtOnce) {
  EXPECT_EQ(select(2), LWXPRC_DFLT);
  EXPECT_EQ(calls_since(0), Calls{"create Other 2"});
  EXPECT_EQ(select(3), LWXPRC_DFLT);
  EXPECT_EQ(calls_since(1), (Calls{"destroy Other 2", "create Other 3"}));
  EXPECT_EQ(selected(), 3);
  for (const int none : {0, 13, -1, INT_MIN, INT_MAX}) {
    select(3);
    const std::size_t before = call_count();
    EXPECT_EQ(select(none), LWXPRC_DFLT);
    EXPECT_EQ(calls_since(before), Calls{"destroy Other 3"});
    EXPECT_EQ(selected(), 0);
  }
  EXPECT_EQ(living_evaluators(), 0U);
}

TEST_P(SelectedCameraTest, ChoiceCountsOnlyTheOtherCameras) {
  stage.host.move_item("Camera", 2);
  select(2);
  select(3);
  EXPECT_EQ(calls_since(0), (Calls{"create Other 2", "destroy Other 2", "create Other 3"}));
  // The own item is left out, whatever item the host's record names.
  camera->begin_frame(3);
  LWCameraAccess access = camera->access();
  access.cameraID = stage.host.id_of("Other 3");
  camera->handler().newFrame(camera->raw(), &camera->frame_info(), &access);
  const std::size_t before = call_count();
  select(2);
  EXPECT_EQ(calls_since(before), (Calls{"destroy Other 3", "create Other 2"}));
}

TEST_P(SelectedCameraTest, WithoutAChoiceThereIsNoView) {
  expect_no_view();
  begin();
  expect_no_view();
  camera->clean_up();
  EXPECT_EQ(call_count(), 0U);
}

TEST_P(SelectedCameraTest, SavedIndexesThatNameNoCameraGiveNoView) {
  for (const std::uint32_t index : {13U, 0x7FFFFFFFU, 0x80000000U, 0x80000001U, 0xFFFFFFFFU}) {
    load_choice(index);
    begin();
    expect_no_view();
    EXPECT_EQ(selected_text(), "Width x Height");
    EXPECT_EQ(calculated_text(), "Width x Height");
    EXPECT_EQ(camera->save_text(), with_choice(index));
  }
  EXPECT_EQ(call_count(), 0U);
}

TEST_P(SelectedCameraTest, RemovedCameraLeavesNoEvaluatorAndNoRays) {
  load_choice(12);
  begin();
  EXPECT_EQ(ray().result, LWCAMEVAL_RAY);
  EXPECT_EQ(selected_text(), " 640 x 480");
  stage.host.remove_item("Other 12");
  camera->begin_frame(4);
  expect_no_view();
  EXPECT_EQ(selected_text(), "Width x Height");
  EXPECT_EQ(calculated_text(), "Width x Height");
  begin();
  EXPECT_EQ(living_evaluators(), 0U);
  expect_no_view();
}

TEST_P(SelectedCameraTest, ReplacedAndReorderedCamerasAreFoundByTheirPlace) {
  load_choice(12);
  begin();
  stage.host.remove_item("Other 12");
  stage.host.add_camera("Replacement", {5.0, 6.0, 7.0});
  begin();
  EXPECT_EQ(ray().position, (standin::Vec3{5.0, 6.0, 7.0}));
  stage.host.move_item("Replacement", 0);
  const std::size_t before = call_count();
  camera->init_render();
  EXPECT_EQ(calls_since(before), (Calls{"destroy Replacement", "create Other 11", "init Other 11 1"}));
}

TEST_P(SelectedCameraTest, RefusedEvaluatorGivesNoView) {
  stage.host.evaluators.refusal.arm(1);
  load_choice(3);
  begin();
  expect_no_view();
  camera->clean_up();
  begin();
  EXPECT_EQ(ray().result, LWCAMEVAL_RAY);
  stage.host.evaluators.refusal.arm(1);
  select(4);
  expect_no_view();
  EXPECT_EQ(selected(), 4);
  EXPECT_EQ(living_evaluators(), 0U);
}

TEST_P(SelectedCameraTest, WithoutTheEvaluationServiceThereIsNoView) {
  camera.reset();
  stage.host.withhold(LWCAMERAEVALUATION_GLOBAL);
  camera = stage.create(server_name);
  load_choice(3);
  begin();
  expect_no_view();
  select(2);
  EXPECT_EQ(selected(), 2);
  EXPECT_EQ(selected_text(), " 640 x 480");
  camera->clean_up();
  EXPECT_EQ(call_count(), 0U);
}

TEST_P(SelectedCameraTest, CopyTakesTheChoiceAndCreatesItsEvaluatorLater) {
  load_choice(3);
  begin();
  auto copy = stage.create(server_name, "Other 1");
  std::size_t before = call_count();
  copy->copy_from(*camera);
  EXPECT_EQ(calls_since(before), Calls{});
  EXPECT_EQ(copy->save_text(), camera->save_text());
  copy->begin_frame(3);
  EXPECT_EQ(copy->evaluate({}).result, LWCAMEVAL_NONE);
  before = call_count();
  copy->init_render();
  // The third without the copy's own item, Other 1: after Camera and Other 2.
  EXPECT_EQ(calls_since(before), (Calls{"create Other 3", "init Other 3 1"}));
  EXPECT_EQ(copy->panel().choices(choice_id).at(1), "Camera");
  EXPECT_EQ(living_evaluators(), 2U);
  // Copying onto an instance that renders destroys its evaluator, once.
  copy->copy_from(*camera);
  EXPECT_EQ(living_evaluators(), 1U);
  copy.reset();
  EXPECT_EQ(living_evaluators(), 1U);
  EXPECT_EQ(ray().result, LWCAMEVAL_RAY);
}

TEST_P(SelectedCameraTest, CamerasThatShowOneAnotherAreSurvived) {
  stage.host.camera("Other 1").handler = standin::PluginBlock{LWCAMERA_HANDLER_CLASS, 1, server_name, with_choice(1)};
  stage.host.camera("Camera").handler = standin::PluginBlock{LWCAMERA_HANDLER_CLASS, 1, server_name, with_choice(1)};
  load_choice(1);
  begin();
  ray();
  camera->project({0.0, 0.0, 5.0});
  LWDMatrix4 matrix{};
  camera->preview(matrix);
  EXPECT_LE(living_evaluators(), stage.host.evaluators.most_alive);
  camera.reset();
  EXPECT_EQ(living_evaluators(), 0U);
}

TEST_P(SelectedCameraTest, LooksThroughThisModulesOtherCameras) {
  stage.host.camera("Other 2").handler = standin::PluginBlock{LWCAMERA_HANDLER_CLASS, 1, "QuorinPanoramicCam", {}};
  load_choice(2);
  begin();
  const auto direct = stage.create("QuorinPanoramicCam", "Other 2");
  direct->begin_frame(3);
  for (const double x : {-0.009, 0.0, 0.004}) {
    const standin::RayAnswer expected = direct->evaluate({.film_x = x, .film_y = 0.003});
    const standin::RayAnswer answer = ray(x, 0.003);
    EXPECT_EQ(answer.result, LWCAMEVAL_RAY);
    EXPECT_EQ(answer.direction, expected.direction);
    EXPECT_EQ(answer.position, expected.position);
  }
}

TEST_P(SelectedCameraTest, AnswersWhatTheEvaluatorAnswers) {
  FakeEvaluation fake(stage.module, server_name);
  load_choice(2);
  begin();
  for (const int result : {0, 1, 3, 9, 15}) {
    fake.answers[stage.host.id_of("Other 2")].evaluation = result;
    EXPECT_EQ(ray().result, result);
    fake.answers[stage.host.id_of("Other 2")].projection = result;
    LWDMatrix4 matrix{};
    EXPECT_EQ(camera->preview(matrix), result);
    LWDVector film{7.0, 8.0, 9.0};
    const LWDVector point{1.0, 2.0, 3.0};
    // Only an answer of 1 comes with a film position.
    EXPECT_EQ(camera->handler().project(camera->raw(), 0, 0, point, 0, LWCAMEYE_CENTER, film, &camera->access()),
              result == 1 ? 1 : 0);
    EXPECT_EQ(film[2], result == 1 ? 0.0 : 9.0);
  }
  camera.reset();
}

TEST_P(SelectedCameraTest, ProjectsWithOverscanAndJitter) {
  FakeEvaluation fake(stage.module, server_name);
  load_choice(2);
  set("Overscan", 0.25);
  set("Vertical Jitter", 0.5);
  set("Horizontal Jitter", -0.125);
  begin();
  EvaluatorAnswer& answer = fake.answers[stage.host.id_of("Other 2")];
  answer.film[0] = 0.005;
  answer.film[1] = -0.0025;
  answer.film[2] = 77.0;
  const auto film = camera->project({1.0, 2.0, 3.0}, 0.75, standin::Eye::left, 0.5, -0.5);
  ASSERT_TRUE(film);
  const double width = camera->access().filmSize[0];
  EXPECT_DOUBLE_EQ(film->first, 0.005 / 1.25 + 0.125 * 0.25 * width);
  EXPECT_DOUBLE_EQ(film->second, -0.0025 / 1.25 - 0.5 * 0.25 * width);
  ASSERT_EQ(fake.projections.size(), 1U);
  EXPECT_EQ(fake.projections[0].lens_x, 0.5);
  EXPECT_EQ(fake.projections[0].lens_y, -0.5);
  EXPECT_EQ(fake.projections[0].time, 0.75);
  EXPECT_EQ(fake.projections[0].eye, LWCAMEYE_LEFT);
  camera.reset();
}

TEST_P(SelectedCameraTest, PreviewScalesTheLensByTheOverscanOfTheFrame) {
  FakeEvaluation fake(stage.module, server_name);
  load_choice(2);
  set("Overscan", 0.5);
  begin();
  // Too late: the frame has read the overscan.
  set("Overscan", 3.0);
  LWDMatrix4 matrix{};
  EXPECT_EQ(camera->preview(matrix, standin::Eye::right, 0.5, -0.25), 1);
  EXPECT_EQ(fake.previews.at(0).lens_x, 0.75);
  EXPECT_EQ(fake.previews.at(0).lens_y, -0.375);
  EXPECT_EQ(fake.previews.at(0).eye, LWCAMEYE_RIGHT);
  EXPECT_EQ(matrix[0][0], 1.0);
  camera.reset();
}

TEST_P(SelectedCameraTest, SelectedResolutionIsShown) {
  EXPECT_EQ(selected_text(), "Width x Height");
  stage.host.camera("Other 5").width_pixels = 1920;
  stage.host.camera("Other 5").height_pixels = 1080;
  select(5);
  EXPECT_EQ(selected_text(), " 1920 x 1080");
  // A loaded choice shows even before a render.
  select(0);
  load_choice(5);
  EXPECT_EQ(selected_text(), " 1920 x 1080");
  for (const auto& [width, height] : {std::pair{INT_MAX, INT_MIN}, {0, 0}, {-1, -1}}) {
    stage.host.camera("Other 5").width_pixels = width;
    stage.host.camera("Other 5").height_pixels = height;
    EXPECT_EQ(selected_text(), " " + std::to_string(width) + " x " + std::to_string(height));
    EXPECT_FALSE(calculated_text().empty());
  }
}

TEST_P(SelectedCameraTest, TextsAreTheNamespacesOwn) {
  select(1);
  const auto* first = stage.module.library().find_as<const char>("_ZN11OverscanCam17Camera1ResolutionE");
  const auto* second = stage.module.library().find_as<const char>("_ZN11OverscanCam17Camera2ResolutionE");
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(camera->panel().get(selected_text_id), first);
  EXPECT_EQ(camera->panel().get(calculated_text_id), second);
  EXPECT_EQ(selected_text(), first);
}

TEST_P(SelectedCameraTest, OddNumbersAreSurvived) {
  load_choice(2);
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double number : {std::nan(""), infinity, -infinity, 1e308, -1e308, 1e10, -1e10, -1.0, 5e-324, 0.0}) {
    for (const char* channel : {"SizeAxis", "Overscan", "Vertical Jitter", "Horizontal Jitter"}) set(channel, number);
    begin();
    const int result = ray(number, number).result;
    EXPECT_TRUE(result == LWCAMEVAL_NONE || result == LWCAMEVAL_RAY);
    camera->project({number, number, number}, number);
    LWDMatrix4 matrix{};
    camera->preview(matrix);
    EXPECT_LT(calculated_text().size(), 40U);
    stage.host.camera("Other 2").width_pixels = stage.host.camera("Other 2").width_pixels == 0 ? INT_MAX : 0;
  }
}

TEST_P(SelectedCameraTest, InstancesKeepTheirEvaluatorsApart) {
  auto second = stage.create(server_name);
  load_choice(3);
  second->load_text(with_choice(5));
  begin();
  second->init_render();
  second->begin_frame(3);
  stage.host.evaluators.record_requests(true);
  ray();
  second->evaluate({});
  const auto requests = stage.host.evaluators.requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0].camera_name, "Other 3");
  EXPECT_EQ(requests[1].camera_name, "Other 5");
  second.reset();
  EXPECT_EQ(ray().result, LWCAMEVAL_RAY);
}

TEST_P(SelectedCameraTest, FlagIsExportedAndLeftAlone) {
  const bool* active = stage.module.library().find_as<const bool>("bOverscanCamActive");
  ASSERT_NE(active, nullptr);
  EXPECT_FALSE(*active);
  load_choice(2);
  begin();
  EXPECT_FALSE(*active);
}

}  // namespace test_support
