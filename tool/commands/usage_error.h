#pragma once

#include <stdexcept>

namespace tool {

/// The command line asks for something that cannot be: told in one sentence, exit code 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tool
