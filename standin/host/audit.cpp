#include "standin/host/audit.h"

namespace standin {
namespace {

/// Enough to see what is wrong; a mistake made for every pixel would fill the memory.
constexpr std::size_t most_kept = 1000;

}  // namespace

void Audit::report(const std::string& sentence) {
  const std::lock_guard lock(mutex_);
  if (violations_.size() < most_kept) violations_.push_back(sentence);
}

std::vector<std::string> Audit::violations() const {
  const std::lock_guard lock(mutex_);
  return violations_;
}

}  // namespace standin
