#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace standin {

/// What a module did wrong: one sentence for each violation, which names the call. Threads: any.
class Audit {
 public:
  void report(const std::string& sentence);
  std::vector<std::string> violations() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> violations_;
};

/// Refuses the n-th creation of one kind of handle, or every one from the n-th on. Threads: one.
class Refusal {
 public:
  /// 1: the next creation. 0: no further one.
  void arm(int nth) {
    remaining_ = nth;
    lasts_ = false;
  }
  /// 1: every creation from the next one on, until it is armed again.
  void arm_from(int nth) {
    remaining_ = nth;
    lasts_ = true;
  }
  /// Counts a creation; returns whether it is to be refused.
  bool refuses() {
    if (remaining_ == 0 || (remaining_ > 1 && --remaining_ > 0)) return false;
    if (!lasts_) remaining_ = 0;
    return true;
  }

 private:
  int remaining_ = 0;
  bool lasts_ = false;
};

}  // namespace standin
