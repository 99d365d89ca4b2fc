#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "standin/validate/validation.h"

namespace tool {

/// A command line that runs this one result again, alone.
std::string repeating_command(const standin::validate::Options& options, const standin::validate::Result& result);

/// The results as JSON, for programs. Ends with a line end.
std::string validation_json(const standin::validate::Options& options, const std::vector<standin::validate::Result>& results);

/// The results as the XML that build servers read: a suite for each test, a case for each camera. Ends with a line end.
std::string validation_junit(const standin::validate::Options& options, const std::vector<standin::validate::Result>& results);

}  // namespace tool
