#pragma once

#include <string>
#include <utility>
#include <vector>

#include "standin/validate/validation.h"

namespace standin::validate {

/// Moves the failures that this module is known for, and has to have, to what is excused. `servers`: names and user names of
/// the module's cameras, by which it is known. Threads: any.
void apply_exceptions(Result& result, const std::vector<std::pair<std::string, std::string>>& servers);

}  // namespace standin::validate
