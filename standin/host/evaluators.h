#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "sdk/services.h"
#include "standin/host/audit.h"
#include "standin/host/handle_table.h"
#include "standin/host/ray_query.h"

namespace standin {

class HostedCamera;
class PlainCamera;

/// One evaluator: a scene camera seen through whatever it renders with, either a handler of the module or the host's own
/// perspective camera. A ray that is asked for before new-frame makes the evaluator prepare the frame itself; before
/// new-time, that is the host's current one.
struct Evaluator {
  Evaluator();
  ~Evaluator();

  std::string camera_name;
  LWItemID camera = nullptr;
  /// 1: created by the camera that is rendered; 2: created by a camera that another evaluator runs; and so on.
  int depth = 1;
  std::unique_ptr<HostedCamera> instance;
  std::unique_ptr<PlainCamera> plain;

  int frame = 0;
  double time_seconds = 0.0;
  /// Between init and clean-up.
  bool rendering = false;
  bool has_time = false;
  /// The module itself has told it of the frame.
  bool has_frame = false;
  std::atomic<bool> ready = false;
  std::mutex preparing;
  /// A misuse has been noted.
  std::atomic<bool> misused = false;
  /// The answer to the last call that was refused.
  std::string error;
};

struct EvaluatorRequest {
  std::string camera_name;
  RayQuery query;
};

/// The evaluators that the module has created and not destroyed. Threads: evaluate, project and the counters from any number
/// at once.
class EvaluatorService {
 public:
  static constexpr int max_depth = 8;
  /// How many may live at once. For tests: a ring of cameras fills it, however many there are.
  std::size_t most_alive = 512;

  HandleTable<Evaluator, LWCameraEvaluatorID, 0x1A03> table;
  /// Makes `create` return null.
  Refusal refusal;
  std::atomic<std::uint64_t> evaluations = 0;
  std::atomic<std::uint64_t> projections = 0;

  /// Every call but evaluate and project, in order (of a great many, the newest), as "create Left", "init Left 1", "newTime
  /// Left 3 0.1", "newFrame Left", "preview Left", "cleanUp Left", "destroy Left".
  std::vector<std::string> calls() const;
  void log(const std::string& call);

  /// What the module asked of an evaluator before it was prepared for that or after its end, each once. This host answers all
  /// the same; others need not.
  std::vector<std::string> misuses() const;
  void note_misuse(const std::string& sentence);

  /// From now on, keeps what every evaluate asks for. For tests: it makes threads take turns.
  void record_requests(bool on) { recording_ = on; }
  bool recording() const noexcept { return recording_.load(std::memory_order_relaxed); }
  void record(const EvaluatorRequest& request);
  std::vector<EvaluatorRequest> requests() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  std::set<std::string> misuses_;
  std::vector<EvaluatorRequest> requests_;
  std::atomic<bool> recording_ = false;
};

}  // namespace standin
