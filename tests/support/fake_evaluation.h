#pragma once

#include <map>
#include <string>
#include <vector>

#include "sdk/host.h"
#include "tests/support/service_override.h"

namespace test_support {

/// What an evaluator is asked for: a ray at `film_x` and `film_y`, or a projection or preview, which leave the two at 0.
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

/// Replaces the host's evaluation service for one camera namespace. Its evaluators answer what the test tells them to, and
/// record what they are asked. Create it after the instances, and destroy it after them as well. Only one can exist at a
/// time. Threads: one.
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
  /// The evaluators that have not been destroyed, by handle.
  std::map<LWCameraEvaluatorID, LWItemID> alive;
  bool refuses = false;

 private:
  ServiceOverride override_;
};

}  // namespace test_support
