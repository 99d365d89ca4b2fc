#include "cameras/multiview/tile_camera_suite.h"

namespace test_support {

// --- Rays.

TEST_P(TileCameraTest, HandsEveryFilmPositionToItsTile) {
  render();
  stage.host.evaluators.record_requests(true);
  const std::vector<FilmOffset> positions = film_positions();
  for (const FilmOffset& at : positions) {
    const standin::RayQuery query{at.x, at.y, 0.25, -0.5, 0.125, standin::Eye::left};
    ASSERT_EQ(camera->evaluate(query).result, LWCAMEVAL_RAY);
  }
  const auto requests = stage.host.evaluators.requests();
  ASSERT_EQ(requests.size(), positions.size());
  for (std::size_t i = 0; i < positions.size(); ++i) {
    const FilmOffset& at = positions[i];
    const std::size_t tile = facts.tile_of(film(), at.x, at.y);
    const FilmOffset shift = facts.shift(film(), tile);
    const standin::RayQuery& query = requests[i].query;
    EXPECT_EQ(requests[i].camera_name, source(tile)) << at.x << ' ' << at.y;
    EXPECT_EQ(query.film_x, at.x + shift.x);
    EXPECT_EQ(query.film_y, at.y + shift.y);
    EXPECT_EQ(query.lens_x, 0.25);
    EXPECT_EQ(query.lens_y, -0.5);
    EXPECT_EQ(query.fractional_time, 0.125);
    EXPECT_EQ(query.eye, standin::Eye::left);
  }
}

TEST_P(TileCameraTest, ShiftIsOfTheCallsFilmAndSplitOfTheFrames) {
  render();
  stage.host.evaluators.record_requests(true);
  DividedFilm changed = film();
  changed.width *= 1.5;
  changed.height *= 0.75;
  camera->access().filmSize[0] = changed.width;
  camera->access().filmSize[1] = changed.height;
  for (const FilmOffset& at : film_positions()) {
    camera->evaluate({.film_x = at.x, .film_y = at.y});
    const std::size_t tile = facts.tile_of(changed, at.x, at.y);
    const auto request = stage.host.evaluators.requests().back();
    ASSERT_EQ(request.camera_name, source(tile));
    ASSERT_EQ(request.query.film_x, at.x + facts.shift(changed, tile).x);
    ASSERT_EQ(request.query.film_y, at.y + facts.shift(changed, tile).y);
  }
}

TEST_P(TileCameraTest, WhereBoundariesCrossTheFirstOfThemCounts) {
  render();
  stage.host.evaluators.record_requests(true);
  // The boundaries of a film of negative size come in the opposite order along the film.
  DividedFilm mirrored = film();
  mirrored.width = -mirrored.width;
  mirrored.height = -mirrored.height;
  std::set<std::size_t> seen;
  std::vector<FilmOffset> positions = film_positions();
  for (const double x : facts.column_boundaries(mirrored))
    for (const double beside : {std::nextafter(x, -1.0), x, std::nextafter(x, 1.0)}) positions.push_back({beside, 0.0});
  for (const double y : facts.row_boundaries(mirrored))
    for (const double beside : {std::nextafter(y, -1.0), y, std::nextafter(y, 1.0)}) positions.push_back({0.0, beside});
  camera->access().filmSize[0] = mirrored.width;
  camera->access().filmSize[1] = mirrored.height;
  for (const FilmOffset& at : positions) {
    camera->evaluate({.film_x = at.x, .film_y = at.y});
    const std::size_t tile = facts.tile_of(mirrored, at.x, at.y);
    ASSERT_EQ(stage.host.evaluators.requests().back().camera_name, source(tile)) << at.x << ' ' << at.y;
    seen.insert(tile);
  }
  EXPECT_GT(seen.size(), 1U);
}

TEST_P(TileCameraTest, OnlyTheFourUpCameraHasNoTileForAFilmPositionThatIsNotANumber) {
  render();
  stage.host.evaluators.record_requests(true);
  constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
  for (const auto& [x, y] : {std::pair{not_a_number, 0.0}, {0.0, not_a_number}, {not_a_number, not_a_number}}) {
    const std::size_t before = stage.host.evaluators.requests().size();
    camera->evaluate({.film_x = x, .film_y = y});
    const auto requests = stage.host.evaluators.requests();
    if (facts.server_name == "Quorin4UpCam") {
      EXPECT_EQ(requests.size(), before) << x << ' ' << y;
      continue;
    }
    ASSERT_EQ(requests.size(), before + 1) << x << ' ' << y;
    EXPECT_EQ(requests.back().camera_name, source(facts.tile_of(film(), x, y))) << x << ' ' << y;
  }
}

TEST_P(TileCameraTest, AnswersWhatTheEvaluatorAnswers) {
  FakeEvaluation fake(stage.module, facts.server_name);
  render();
  for (const int answer : {0, 1, 3, 9, 15}) {
    for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
      fake.answers[stage.host.id_of(source(tile))].evaluation = answer;
      EXPECT_EQ(ray_in(tile).result, answer);
    }
  }
  camera.reset();
}

TEST_P(TileCameraTest, TileWithoutACameraGivesNoRayAndLeavesTheOthersAlone) {
  for (std::size_t empty = 0; empty < facts.tile_count; ++empty) {
    std::vector<std::uint32_t> indexes = one_each();
    indexes[empty] = 0;
    load(indexes);
    begin();
    for (std::size_t tile = 0; tile < facts.tile_count; ++tile)
      EXPECT_EQ(ray_in(tile).result, tile == empty ? LWCAMEVAL_NONE : LWCAMEVAL_RAY) << tile;
  }
}

TEST_P(TileCameraTest, RayIsUntouchedWhereThereIsNone) {
  begin();
  LWCameraRay ray{};
  ray.rayPos[0] = 12.5;
  ray.rayDir[1] = -3.25;
  ray.filmNorm[2] = 0.75;
  EXPECT_EQ(camera->handler().evaluate(camera->raw(), 0, 0, 0, 0, 0, LWCAMEYE_CENTER, &ray, &camera->access()), 0);
  EXPECT_EQ(ray.rayPos[0], 12.5);
  EXPECT_EQ(ray.rayDir[1], -3.25);
  EXPECT_EQ(ray.filmNorm[2], 0.75);
}

TEST_P(TileCameraTest, WithoutChoicesThereAreNoRaysAndNoPreview) {
  begin();
  expect_no_rays();
  LWDMatrix4 projection{};
  EXPECT_EQ(camera->preview(projection), 0);
  EXPECT_EQ(call_count(), 0U);
}

TEST_P(TileCameraTest, ShowsThisModulesOtherCameras) {
  for (std::size_t tile = 0; tile < facts.tile_count; tile += 2) give_handler(source(tile), "QuorinPanoramicCam");
  render();
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
    const auto direct = stage.create(tile % 2 == 0 ? "QuorinPanoramicCam" : facts.server_name, source(tile));
    direct->begin_frame(3);
    for (const FilmOffset off : {FilmOffset{0.0, 0.0}, {0.001, -0.0015}, {-0.002, 0.001}}) {
      const FilmOffset at{middle_of(tile).x + off.x, middle_of(tile).y + off.y};
      ASSERT_EQ(facts.tile_of(film(), at.x, at.y), tile);
      const standin::RayAnswer answer = camera->evaluate({.film_x = at.x, .film_y = at.y});
      ASSERT_EQ(answer.result, LWCAMEVAL_RAY);
      if (tile % 2 == 1) {
        // The host's own perspective: the film distance is half the zoom factor times the film's height.
        const standin::Vec3 expected = standin::normalized({off.x, off.y, scene_zoom_factor * film().height / 2.0});
        EXPECT_LT(standin::length(answer.direction - expected), 1e-12);
        continue;
      }
      const FilmOffset shift = facts.shift(film(), tile);
      const standin::RayAnswer expected = direct->evaluate({.film_x = at.x + shift.x, .film_y = at.y + shift.y});
      EXPECT_EQ(answer.direction, expected.direction);
      EXPECT_EQ(answer.position, expected.position);
      EXPECT_EQ(answer.film_normal, expected.film_normal);
    }
  }
}

TEST_P(TileCameraTest, OddNumbersAreSurvived) {
  render();
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double number : {std::nan(""), infinity, -infinity, 1e308, -1e308, 5e-324, 0.0}) {
    for (double& size : camera->access().filmSize) size = number;
    camera->handler().newFrame(camera->raw(), &camera->frame_info(), &camera->access());
    const int result = camera->evaluate({.film_x = number, .film_y = number}).result;
    EXPECT_TRUE(result == LWCAMEVAL_NONE || result == LWCAMEVAL_RAY) << result;
    camera->project({number, number, number});
  }
}

TEST_P(TileCameraTest, FrameWithoutPixelsIsSurvived) {
  stage.host.camera("Camera").width_pixels = 0;
  stage.host.camera("Camera").height_pixels = 0;
  render();
  // Every split line is infinitely far away: one tile has the whole frame, or none has any of it.
  const int result = ray_in(0).result;
  EXPECT_TRUE(result == LWCAMEVAL_NONE || result == LWCAMEVAL_RAY) << result;
  camera->project({0.0, 0.0, 5.0});
}

// --- Projection and preview.

TEST_P(TileCameraTest, ProjectsWhatItsTilesShow) {
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
    std::vector<std::uint32_t> indexes = all_the_same(0);
    indexes[tile] = 1;
    load(indexes);
    begin();
    const FilmOffset at{middle_of(tile).x + 0.0005, middle_of(tile).y - 0.0004};
    const standin::RayAnswer ray = camera->evaluate({.film_x = at.x, .film_y = at.y});
    ASSERT_EQ(ray.result, LWCAMEVAL_RAY);
    const auto found = camera->project(ray.position + ray.direction * 7.0);
    ASSERT_TRUE(found) << tile;
    EXPECT_NEAR(found->first, at.x, 1e-12);
    EXPECT_NEAR(found->second, at.y, 1e-12);
  }
}

TEST_P(TileCameraTest, ProjectionTakesTheFirstTileThatHoldsItsOwnAnswer) {
  const LWCameraHandler& handler = camera->handler();
  camera->begin_frame(3);
  FakeEvaluation fake(stage.module, facts.server_name);
  load(one_each());
  camera->init_render();
  std::mt19937 engine(7);
  const auto number = [&](double reach) { return (static_cast<double>(engine()) / 0xFFFFFFFFU * 2.0 - 1.0) * reach; };
  int accepted = 0;
  for (int turn = 0; turn < 2000; ++turn) {
    fake.projections.clear();
    std::optional<FilmOffset> expected;
    std::size_t asked = facts.tile_count;
    for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
      EvaluatorAnswer& answer = fake.answers[stage.host.id_of(source(tile))];
      constexpr std::array results{1, 0, 2, -1, 1};
      answer.projection = results[engine() % results.size()];
      answer.film[0] = number(film().width * 0.7);
      answer.film[1] = number(film().height * 0.7);
      answer.film[2] = 99.0;
      const FilmOffset shift = facts.shift(film(), tile);
      const FilmOffset back{answer.film[0] - shift.x, answer.film[1] - shift.y};
      if (!expected && answer.projection == 1 && facts.tile_of(film(), back.x, back.y) == tile) {
        expected = back;
        asked = tile + 1;
      }
    }
    LWDVector point{1.0, 2.0, 3.0};
    LWDVector out{11.0, 12.0, 13.0};
    const int result = handler.project(camera->raw(), 0.25, 0.5, point, 0.75, LWCAMEYE_RIGHT, out, &camera->access());
    ASSERT_EQ(result, expected ? 1 : 0);
    ASSERT_EQ(fake.projections.size(), asked);
    EXPECT_EQ(fake.projections.back().lens_x, 0.25);
    EXPECT_EQ(fake.projections.back().lens_y, 0.5);
    EXPECT_EQ(fake.projections.back().time, 0.75);
    EXPECT_EQ(fake.projections.back().eye, LWCAMEYE_RIGHT);
    EXPECT_EQ(out[0], expected ? expected->x : 11.0);
    EXPECT_EQ(out[1], expected ? expected->y : 12.0);
    EXPECT_EQ(out[2], expected ? 0.0 : 13.0);
    accepted += result;
  }
  EXPECT_GT(accepted, 100);
  EXPECT_LT(accepted, 1999);
  camera.reset();
}

TEST_P(TileCameraTest, PreviewIsThatOfTheLastCamera) {
  FakeEvaluation fake(stage.module, facts.server_name);
  load(one_each());
  camera->init_render();
  LWDMatrix4 matrix{};
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile)
    fake.answers[stage.host.id_of(source(tile))].projection = static_cast<int>(tile) + 5;
  EXPECT_EQ(camera->preview(matrix, standin::Eye::right, 0.25, 0.75), static_cast<int>(facts.tile_count) + 4);
  EXPECT_EQ(matrix[0][0], static_cast<double>(facts.tile_count));
  ASSERT_EQ(fake.previews.size(), facts.tile_count);
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
    EXPECT_EQ(fake.previews[tile].item, stage.host.id_of(source(tile)));
    EXPECT_EQ(fake.previews[tile].lens_x, 0.25);
    EXPECT_EQ(fake.previews[tile].lens_y, 0.75);
    EXPECT_EQ(fake.previews[tile].eye, LWCAMEYE_RIGHT);
  }
  // Without the last camera, it is that of the one before.
  choose(facts.tile_count - 1, 0);
  EXPECT_EQ(camera->preview(matrix), static_cast<int>(facts.tile_count) + 3);
  camera.reset();
}

TEST_P(TileCameraTest, PreviewShowsTheLastCamerasOwnMatrix) {
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile)
    stage.host.camera(source(tile)).zoom_factor = standin::Envelope::constant(1.0 + static_cast<double>(tile));
  render();
  LWDMatrix4 all{};
  EXPECT_EQ(camera->preview(all), 1);
  std::vector<std::uint32_t> indexes = all_the_same(0);
  indexes[0] = static_cast<std::uint32_t>(facts.tile_count);
  load(indexes);
  begin();
  LWDMatrix4 last{};
  EXPECT_EQ(camera->preview(last), 1);
  EXPECT_NE(last[0][0], 0.0);
  for (int row = 0; row < 4; ++row)
    for (int column = 0; column < 4; ++column) EXPECT_EQ(all[row][column], last[row][column]);
}

// --- Evaluators.

TEST_P(TileCameraTest, CallsItsEvaluatorsInOrder) {
  load(one_each());
  camera->init_render(LWRM_RENDER);
  Calls expected;
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
    expected.push_back("create " + source(tile));
    expected.push_back("init " + source(tile) + " 0");
  }
  for (const std::string& call : of_every_tile("init", " 1")) expected.push_back(call);
  EXPECT_EQ(calls_since(0), expected);

  std::size_t before = call_count();
  camera->new_time(3, 0.1);
  EXPECT_EQ(calls_since(before), of_every_tile("newTime", " 3 0.1"));

  before = call_count();
  camera->new_frame(4, 0.2);
  expected.clear();
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
    // With the frame and time of the last newTime, not with those of the frame record.
    expected.push_back("newTime " + source(tile) + " 3 0.1");
    expected.push_back("newFrame " + source(tile));
  }
  EXPECT_EQ(calls_since(before), expected);

  before = call_count();
  LWDMatrix4 projection{};
  camera->preview(projection);
  EXPECT_EQ(calls_since(before), of_every_tile("preview"));

  before = call_count();
  camera->clean_up();
  EXPECT_EQ(calls_since(before), of_every_tile("cleanUp"));
  EXPECT_EQ(living_evaluators(), facts.tile_count);

  before = call_count();
  camera->init_render(LWRM_PREVIEW);
  expected.clear();
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
    expected.push_back("destroy " + source(tile));
    expected.push_back("create " + source(tile));
    expected.push_back("init " + source(tile) + " 0");
  }
  for (const std::string& call : of_every_tile("init", " 0")) expected.push_back(call);
  EXPECT_EQ(calls_since(before), expected);

  before = call_count();
  camera.reset();
  EXPECT_EQ(calls_since(before), of_every_tile("destroy"));
}

TEST_P(TileCameraTest, ChoiceInThePanelCreatesAnEvaluatorAtOnce) {
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
    std::size_t before = call_count();
    EXPECT_EQ(choose(tile, 2), LWXPRC_DFLT);
    EXPECT_EQ(calls_since(before), (Calls{"create Other 2", "init Other 2 0"}));
    before = call_count();
    EXPECT_EQ(choose(tile, 5), LWXPRC_DFLT);
    EXPECT_EQ(calls_since(before), (Calls{"destroy Other 2", "create Other 5", "init Other 5 0"}));
    EXPECT_EQ(choice(tile), 5);
    before = call_count();
    EXPECT_EQ(choose(tile, tile % 2 == 0 ? 13 : 0), LWXPRC_DFLT);
    EXPECT_EQ(calls_since(before), (Calls{"destroy Other 5"}));
    EXPECT_EQ(choice(tile), 0);
  }
  EXPECT_EQ(living_evaluators(), 0U);
}

TEST_P(TileCameraTest, OtherIdsOfThePanelChangeNothing) {
  render();
  const std::size_t before = call_count();
  for (const std::uint32_t id : {0x8000U, 0x8002U, control(facts.tile_count), 0x8005U, 0U, 0xFFFFFFFFU})
    EXPECT_EQ(camera->panel().set_integer(id, 1), LWXPRC_DFLT);
  EXPECT_EQ(call_count(), before);
  EXPECT_EQ(camera->save_text(), as_text(words(one_each())));
}

TEST_P(TileCameraTest, ChoiceCountsOnlyTheOtherCameras) {
  // The tile camera's own item is between the others.
  stage.host.move_item("Camera", 2);
  const auto before = call_count();
  choose(0, 2);
  choose(0, 3);
  EXPECT_EQ(calls_since(before),
            (Calls{"create Other 2", "init Other 2 0", "destroy Other 2", "create Other 3", "init Other 3 0"}));
}

TEST_P(TileCameraTest, SavedIndexesThatNameNoCameraGiveNoRays) {
  for (const std::uint32_t index : {13U, 14U, 0x7FFFFFFFU, 0x80000000U, 0x80000001U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
    load(all_the_same(index));
    begin();
    expect_no_rays();
    EXPECT_EQ(camera->save_text(), as_text(words(all_the_same(index))));
  }
  EXPECT_EQ(call_count(), 0U);
}

TEST_P(TileCameraTest, ReorderedSceneChangesWhatAChoiceNames) {
  load(all_the_same(1));
  begin();
  stage.host.move_item("Other 7", 0);
  const auto before = call_count();
  camera->init_render();
  const Calls calls = calls_since(before);
  ASSERT_GE(calls.size(), 2U);
  EXPECT_EQ(calls[0], "destroy Other 1");
  EXPECT_EQ(calls[1], "create Other 7");
  EXPECT_EQ(camera->save_text(), as_text(words(all_the_same(1))));
}

TEST_P(TileCameraTest, RemovedCamerasGiveNoRays) {
  load(all_the_same(12));
  begin();
  EXPECT_EQ(ray_in(0).result, LWCAMEVAL_RAY);
  stage.host.remove_item("Other 12");
  // The evaluators stay until the next render, but from the next frame on their camera has no rays.
  camera->begin_frame(4);
  expect_no_rays();
  begin();
  expect_no_rays();
  EXPECT_EQ(living_evaluators(), 0U);
}

TEST_P(TileCameraTest, ReplacedCameraIsShownFromTheNextRenderOn) {
  load(all_the_same(12));
  begin();
  stage.host.remove_item("Other 12");
  stage.host.add_camera("Replacement", {5.0, 6.0, 7.0});
  begin();
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
    ASSERT_EQ(ray_in(tile).result, LWCAMEVAL_RAY);
    EXPECT_EQ(ray_in(tile).position, (standin::Vec3{5.0, 6.0, 7.0}));
  }
}

TEST_P(TileCameraTest, RefusedEvaluatorGivesNoRaysInItsTile) {
  for (std::size_t refused = 0; refused < facts.tile_count; ++refused) {
    load(one_each());
    stage.host.evaluators.refusal.arm(static_cast<int>(refused) + 1);
    begin();
    for (std::size_t tile = 0; tile < facts.tile_count; ++tile)
      EXPECT_EQ(ray_in(tile).result, tile == refused ? LWCAMEVAL_NONE : LWCAMEVAL_RAY);
    EXPECT_EQ(living_evaluators(), facts.tile_count - 1);
    EXPECT_EQ(camera->save_text(), as_text(words(one_each())));
  }
  stage.host.evaluators.refusal.arm(1);
  choose(0, 3);
  EXPECT_EQ(ray_in(0).result, LWCAMEVAL_NONE);
  EXPECT_EQ(choice(0), 3);
}

TEST_P(TileCameraTest, WithoutTheEvaluationServiceThereAreNoRays) {
  camera.reset();
  stage.host.withhold(LWCAMERAEVALUATION_GLOBAL);
  camera = stage.create(facts.server_name);
  render();
  expect_no_rays();
  LWDMatrix4 projection{};
  EXPECT_EQ(camera->preview(projection), 0);
  choose(0, 2);
  EXPECT_EQ(choice(0), 2);
  camera->clean_up();
  EXPECT_EQ(call_count(), 0U);
  camera.reset();
  stage.host.offer(LWCAMERAEVALUATION_GLOBAL);
}

TEST_P(TileCameraTest, CopyTakesTheChoicesAndCreatesItsEvaluatorsLater) {
  render();
  auto copy = stage.create(facts.server_name);
  std::size_t before = call_count();
  copy->copy_from(*camera);
  EXPECT_EQ(calls_since(before), Calls{});
  EXPECT_EQ(copy->save_text(), camera->save_text());
  copy->begin_frame(3);
  expect_no_rays(*copy);
  copy->init_render();
  copy->begin_frame(3);
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) EXPECT_EQ(ray_in(*copy, tile).result, LWCAMEVAL_RAY);
  // The evaluators of the source are not affected by any of this.
  EXPECT_EQ(living_evaluators(), 2 * facts.tile_count);
  copy.reset();
  EXPECT_EQ(living_evaluators(), facts.tile_count);
  EXPECT_EQ(ray_in(0).result, LWCAMEVAL_RAY);
}

TEST_P(TileCameraTest, EvaluatorsFromBeforeACopyAreDestroyedWithTheInstance) {
  render();
  const auto source_instance = stage.create(facts.server_name);
  const std::size_t before = call_count();
  for (int turn = 0; turn < 3; ++turn) {
    camera->copy_from(*source_instance);
    expect_no_rays();
    EXPECT_EQ(calls_since(before), Calls{});
  }
  EXPECT_EQ(living_evaluators(), facts.tile_count);
  camera.reset();
  EXPECT_EQ(calls_since(before), of_every_tile("destroy"));
  EXPECT_EQ(living_evaluators(), 0U);
}

TEST_P(TileCameraTest, CamerasThatShowOneAnotherAreSurvived) {
  // Other 1 shows Other 2 in every tile, Other 2 shows the camera, and the camera shows Other 1.
  const std::string& server = facts.server_name;
  give_handler("Other 1", server, words(all_the_same(3)));
  give_handler("Other 2", server, words(all_the_same(1)));
  give_handler("Camera", server, words(all_the_same(1)));
  load(all_the_same(1));
  begin();
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) ray_in(tile);
  camera->project({0.0, 0.0, 5.0});
  LWDMatrix4 projection{};
  camera->preview(projection);
  camera->clean_up();
  EXPECT_LE(living_evaluators(), stage.host.evaluators.most_alive);
  camera.reset();
  EXPECT_EQ(living_evaluators(), 0U);
}

TEST_P(TileCameraTest, TilesMayShowTileCameras) {
  give_handler("Other 1", facts.server_name, words(all_the_same(3)));
  load(all_the_same(1));
  begin();
  // The centre of each tile is the inner frame's centre, where one of the inner tiles shows Other 3, moved by its shift.
  const FilmOffset inner = facts.shift(film(), facts.tile_of(film(), 0.0, 0.0));
  const standin::Vec3 expected = standin::normalized({inner.x, inner.y, scene_zoom_factor * film().height / 2.0});
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
    const standin::RayAnswer ray = ray_in(tile);
    ASSERT_EQ(ray.result, LWCAMEVAL_RAY);
    EXPECT_LT(standin::length(ray.direction - expected), 1e-12);
  }
}

TEST_P(TileCameraTest, InstancesKeepTheirEvaluatorsApart) {
  auto second = stage.create(facts.server_name);
  render();
  second->load_text(as_text(words(all_the_same(12))));
  second->init_render();
  second->begin_frame(3);
  stage.host.evaluators.record_requests(true);
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
    ray_in(tile);
    EXPECT_EQ(stage.host.evaluators.requests().back().camera_name, source(tile));
    ray_in(*second, tile);
    EXPECT_EQ(stage.host.evaluators.requests().back().camera_name, "Other 12");
  }
  second.reset();
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) EXPECT_EQ(ray_in(tile).result, LWCAMEVAL_RAY);
}

TEST_P(TileCameraTest, IndexesAreSavedInTileOrder) {
  std::vector<std::uint32_t> indexes;
  for (std::uint32_t tile = 0; tile < facts.tile_count; ++tile) indexes.push_back(12 - tile);
  load(indexes);
  for (std::size_t tile = 0; tile < facts.tile_count; ++tile) EXPECT_EQ(choice(tile), 12 - static_cast<int>(tile));
  EXPECT_EQ(camera->save_text(), as_text(words(indexes)));
  EXPECT_EQ(camera->save_binary(), as_binary(words(indexes)));
}

TEST_P(TileCameraTest, OnlyTheTwelveUpCameraTakesAProjectedPositionThatIsNotANumber) {
  constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
  std::optional<FakeEvaluation> evaluation(std::in_place, stage.module, facts.server_name);
  render();
  const bool takes_the_rest = facts.server_name == "Quorin12UpCam";
  const bool compares_y = facts.server_name != "QuorinMultiCam";
  for (const auto& [x, y] : {std::pair{not_a_number, 0.0}, {0.0, not_a_number}, {not_a_number, not_a_number}}) {
    for (std::size_t tile = 0; tile < facts.tile_count; ++tile) {
      EvaluatorAnswer& answer = evaluation->answers[stage.host.id_of(source(tile))];
      answer.film[0] = x;
      answer.film[1] = y;
    }
    const bool compared = std::isnan(x) || compares_y;
    EXPECT_EQ(camera->project({1.0, 2.0, 3.0}).has_value(), takes_the_rest || !compared) << x << " " << y;
  }
  camera.reset();
  evaluation.reset();
}

TEST_P(TileCameraTest, PanelOfADestroyedInstanceAnswersWithNothing) {
  const LWCameraHandler& handler = camera->handler();
  const LWInstance instance = handler.inst->create(nullptr, stage.host.id_of("Camera"), nullptr);
  LWInterface local{};
  local.inst = instance;
  const standin::Server& server = stage.module.server(LWCAMERA_INTERFACE_CLASS, facts.server_name);
  ASSERT_EQ(stage.module.activate(server, LWCAMERA_INTERFACE_VERSION, &local), AFUNC_OK);
  const standin::Panel& panel = *stage.host.panels.table.find(local.panel);
  const auto& popup = panel.hints_of(LWXPTAG_POPFUNCS, control(0)).at(0)->arguments;
  auto* count = reinterpret_cast<LWXPanelPopCountFunc*>(popup.at(1));
  auto* name = reinterpret_cast<LWXPanelPopNameFunc*>(popup.at(2));
  EXPECT_GT(count(instance), 1);
  EXPECT_STRNE(name(instance, 1), "(none)");
  handler.inst->destroy(instance);
  int choice = 1;
  EXPECT_EQ(count(instance), 1);
  EXPECT_STREQ(name(instance, 1), "(none)");
  EXPECT_EQ(panel.get_function(instance, control(0)), nullptr);
  EXPECT_EQ(panel.get_function(instance, 0x8002), nullptr);
  EXPECT_EQ(panel.set_function(instance, control(0), &choice), LWXPRC_DFLT);
  EXPECT_EQ(count(nullptr), 1);
  EXPECT_STREQ(name(nullptr, 1), "(none)");
  EXPECT_TRUE(stage.host.panels.destroy(local.panel));
}

}  // namespace test_support
