#include "tool/lens/half_ahead.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numbers>

namespace tool {
namespace {

using standin::Eye;

/// Along each side of the half, where it is found out how much of it the camera sees.
constexpr int probes = 64;

}  // namespace

HalfAheadSession::HalfAheadSession(std::unique_ptr<standin::Session> camera, PoseAt pose_at, std::string name)
    : camera_(std::move(camera)), pose_at_(std::move(pose_at)), name_(std::move(name)) {}

std::vector<std::string> HalfAheadSession::take_warnings() {
  std::vector<std::string> warnings = camera_->take_warnings();
  std::ranges::move(std::exchange(warnings_, {}), std::back_inserter(warnings));
  return warnings;
}

standin::FrameSetup HalfAheadSession::begin_frame(int frame) {
  setup_ = camera_->begin_frame(frame);
  half_.emplace(pose_at_(setup_.start_seconds), std::numbers::pi);
  eyes_[0] = std::make_unique<CameraLens>(*camera_, setup_, Eye::left, name_);
  eyes_[1] = std::make_unique<CameraLens>(*camera_, setup_, Eye::right, name_);
  if (const double seen = share_seen(); seen < 1.0 && !has_warned_) {
    has_warned_ = true;
    warnings_.push_back(name_ + " sees only " + std::to_string(static_cast<int>(seen * 100.0)) +
                        " % of the half that lies ahead of it; the rest of the picture is transparent");
  }
  standin::FrameSetup square = setup_;
  square.film_width = square.film_height;
  return square;
}

double HalfAheadSession::share_seen() {
  std::vector<standin::RayQuery> queries;
  for (const Eye eye : {Eye::left, Eye::right})
    for (int row = 0; row < probes; ++row)
      for (int column = 0; column < probes; ++column)
        queries.push_back({.film_x = ((column + 0.5) / probes - 0.5) * setup_.film_height,
                           .film_y = ((row + 0.5) / probes - 0.5) * setup_.film_height,
                           .eye = eye});
  std::vector<standin::RayAnswer> answers(queries.size());
  evaluate(queries, answers);
  const auto seen = std::ranges::count_if(answers, [](const standin::RayAnswer& answer) { return answer.result != 0; });
  return static_cast<double>(seen) / static_cast<double>(answers.size());
}

const CameraLens* HalfAheadSession::lens_of(Eye eye) const {
  return eye == Eye::left ? eyes_[0].get() : eye == Eye::right ? eyes_[1].get() : nullptr;
}

void HalfAheadSession::evaluate(std::span<const standin::RayQuery> queries, std::span<standin::RayAnswer> answers) {
  for (std::size_t first = 0; first < queries.size();) {
    const Eye eye = queries[first].eye;
    std::size_t end = first + 1;
    while (end < queries.size() && queries[end].eye == eye) ++end;
    evaluate_eye(eye, queries.subspan(first, end - first), answers.subspan(first, end - first));
    first = end;
  }
}

void HalfAheadSession::evaluate_eye(Eye eye, std::span<const standin::RayQuery> queries,
                                    std::span<standin::RayAnswer> answers) {
  const CameraLens* lens = lens_of(eye);
  if (lens == nullptr) {
    std::ranges::fill(answers, standin::RayAnswer{});
    return;
  }
  std::vector<FramePlace> places(queries.size());
  for (std::size_t i = 0; i < queries.size(); ++i)
    places[i] = {queries[i].film_x / setup_.film_height + 0.5, queries[i].film_y / setup_.film_height + 0.5, true};
  std::vector<LensDirection> directions(queries.size());
  half_->look(places, directions);
  lens->locate(directions, places);
  std::vector<standin::RayQuery> of_camera(queries.begin(), queries.end());
  for (std::size_t i = 0; i < queries.size(); ++i) {
    of_camera[i].film_x = places[i].found ? (places[i].s - 0.5) * setup_.film_width : 0.0;
    of_camera[i].film_y = places[i].found ? (places[i].t - 0.5) * setup_.film_height : 0.0;
  }
  camera_->evaluate(of_camera, answers);
  for (std::size_t i = 0; i < queries.size(); ++i)
    if (!places[i].found) answers[i].result = 0;
}

std::optional<std::pair<double, double>> HalfAheadSession::project(standin::Vec3 world, double fractional_time, Eye eye) {
  const standin::PointQuery query{world, fractional_time, eye};
  standin::PointAnswer answer;
  project({&query, 1}, {&answer, 1});
  if (answer.found == 0) return std::nullopt;
  return std::pair(answer.film_x, answer.film_y);
}

void HalfAheadSession::project(std::span<const standin::PointQuery> queries, std::span<standin::PointAnswer> answers) {
  camera_->project(queries, answers);
  for (std::size_t i = 0; i < queries.size(); ++i) {
    const CameraLens* lens = lens_of(queries[i].eye);
    if (answers[i].found == 0 || lens == nullptr) {
      answers[i].found = 0;
      continue;
    }
    FramePlace place{answers[i].film_x / setup_.film_width + 0.5, answers[i].film_y / setup_.film_height + 0.5, true};
    LensDirection direction;
    lens->look({&place, 1}, {&direction, 1});
    half_->locate({&direction, 1}, {&place, 1});
    answers[i] = {(place.s - 0.5) * setup_.film_height, (place.t - 0.5) * setup_.film_height, place.found ? 1 : 0};
  }
}

void HalfAheadSession::end() {
  eyes_ = {};
  camera_->end();
}

}  // namespace tool
