#pragma once

#include <string>
#include <vector>

#include "standin/validate/validation.h"

namespace standin::validate {

/// Whether some other test is there to find what the failure of this one says: the host's audit is on in every test, and a
/// camera that crashes does so for all of them. Threads: any.
bool may_be_a_consequence(const std::string& test, const std::string& failure);

/// Moves the failures that another test is there for, and has found on the same camera, to the consequences. Threads: any.
void attribute_consequences(std::vector<Result>& results);

}  // namespace standin::validate
