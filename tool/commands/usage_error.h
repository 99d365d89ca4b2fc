#pragma once

#include <stdexcept>

namespace tool {

/// A mistake in the command line: one sentence, and exit code 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tool
