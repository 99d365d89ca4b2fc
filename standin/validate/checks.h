#pragma once

#include <vector>

#include "standin/validate/context.h"

namespace standin::validate {

/// The tests by subject. Threads: any.
const std::vector<Test>& loading_checks();
const std::vector<Test>& activation_checks();
const std::vector<Test>& instance_checks();
const std::vector<Test>& ray_checks();
const std::vector<Test>& conduct_checks();
const std::vector<Test>& panel_checks();

}  // namespace standin::validate
