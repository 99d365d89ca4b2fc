#include "tests/support/fake_evaluation.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>

namespace test_support {
namespace {

FakeEvaluation* current = nullptr;

LWItemID item_of(LWCameraEvaluatorID evaluator) {
  const auto found = current->alive.find(evaluator);
  if (found == current->alive.end()) {
    ADD_FAILURE() << "an evaluator is used that is not alive";
    return nullptr;
  }
  return found->second;
}

LWCameraEvaluatorID create(LWItemID item) {
  static std::uintptr_t last = 0;
  current->calls.emplace_back("create");
  if (current->refuses) return nullptr;
  auto* const evaluator = reinterpret_cast<LWCameraEvaluatorID>(++last);
  current->alive[evaluator] = item;
  return evaluator;
}

void destroy(LWCameraEvaluatorID evaluator) {
  current->calls.emplace_back("destroy");
  item_of(evaluator);
  current->alive.erase(evaluator);
}

LWError init(LWCameraEvaluatorID evaluator, int mode) {
  item_of(evaluator);
  current->calls.push_back("init " + std::to_string(mode));
  return nullptr;
}

void clean_up(LWCameraEvaluatorID evaluator) {
  item_of(evaluator);
  current->calls.emplace_back("cleanUp");
}

LWError new_time(LWCameraEvaluatorID evaluator, LWFrame /*frame*/, LWTime /*time*/) {
  item_of(evaluator);
  current->calls.emplace_back("newTime");
  return nullptr;
}

int preview(LWCameraEvaluatorID evaluator, double lens_x, double lens_y, LWCameraEye eye, LWDMatrix4 matrix) {
  current->previews.push_back({item_of(evaluator), 0.0, 0.0, lens_x, lens_y, 0.0, eye});
  // Tests tell the previews apart by their order.
  matrix[0][0] = static_cast<double>(current->previews.size());
  return current->answers[item_of(evaluator)].projection;
}

LWError new_frame(LWCameraEvaluatorID evaluator) {
  item_of(evaluator);
  current->calls.emplace_back("newFrame");
  return nullptr;
}

int evaluate(LWCameraEvaluatorID evaluator, double film_x, double film_y, double lens_x, double lens_y, double time,
             LWCameraEye eye, LWCameraRay* /*ray*/) {
  current->rays.push_back({item_of(evaluator), film_x, film_y, lens_x, lens_y, time, eye});
  return current->answers[item_of(evaluator)].evaluation;
}

int project(LWCameraEvaluatorID evaluator, double lens_x, double lens_y, const LWDVector /*world*/, double time,
            LWCameraEye eye, LWDVector film) {
  current->projections.push_back({item_of(evaluator), 0.0, 0.0, lens_x, lens_y, time, eye});
  const EvaluatorAnswer& answer = current->answers[item_of(evaluator)];
  std::copy(std::begin(answer.film), std::end(answer.film), film);
  return answer.projection;
}

LWCameraEvaluationFuncs* table() {
  static LWCameraEvaluationFuncs functions = [] {
    LWCameraEvaluationFuncs made{};
    made.create = create;
    made.destroy = destroy;
    made.init = init;
    made.cleanUp = clean_up;
    made.newTime = new_time;
    made.preview = preview;
    made.newFrame = new_frame;
    made.evaluate = evaluate;
    made.project = project;
    return made;
  }();
  return &functions;
}

}  // namespace

FakeEvaluation::FakeEvaluation(const standin::Module& module, const std::string& server_name)
    : override_(module, server_name, LWCAMERAEVALUATION_GLOBAL, table()) {
  current = this;
}

FakeEvaluation::~FakeEvaluation() {
  EXPECT_TRUE(alive.empty()) << alive.size() << " evaluators are left";
  current = nullptr;
}

}  // namespace test_support
