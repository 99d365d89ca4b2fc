#pragma once

#include <map>
#include <string>
#include <vector>

#include "sdk/host.h"
#include "tests/support/service_override.h"

namespace test_support {

/// What an evaluator is asked for: a ray, where `film_x` and `film_y` count, or a projection.
struct EvaluatorQuestion {
  LWItemID item = nullptr;
  double film_x = 0.0;
  double film_y = 0.0;
  double lens_x = 0.0;
  double lens_y = 0.0;
  double time = 0.0;
  LWCameraEye eye = LWCAMEYE_CENTER;
};

/// What a camera's evaluator answers.
struct EvaluatorAnswer {
  int evaluation = LWCAMEVAL_RAY;
  int projection = 1;
  double film[3]{};
};

/// In place of the host's evaluation service for one camera namespace: evaluators that answer what the test says, and write
/// down what they are asked. Make it after the instances, and end it after them. Threads: one, and one at a time.
class FakeEvaluation {
 public:
  FakeEvaluation(const standin::Module& module, const std::string& server_name);
  ~FakeEvaluation();
  FakeEvaluation(const FakeEvaluation&) = delete;
  FakeEvaluation& operator=(const FakeEvaluation&) = delete;

  std::map<LWItemID, EvaluatorAnswer> answers;
  std::vector<EvaluatorQuestion> rays;
  std::vector<EvaluatorQuestion> projections;
  std::vector<EvaluatorQuestion> previews;
  /// "create", "newTime" and so on, in order.
  std::vector<std::string> calls;
  /// Living evaluators by handle.
  std::map<LWCameraEvaluatorID, LWItemID> alive;
  bool refuses = false;

 private:
  ServiceOverride override_;
};

}  // namespace test_support
