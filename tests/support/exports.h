#pragma once

#include <string>
#include <vector>

namespace test_support {

/// Every name that the module promises to export, from tests/exports.txt: as compilers for both systems spell it.
std::vector<std::string> promised_exports();

/// The names that the module file exports, without what the standard library and the sanitizers add of their own.
/// Throws std::runtime_error when the file cannot be read.
std::vector<std::string> found_exports();

/// The name as it stands in the source, without arguments; a name of C stays as it is.
std::string source_name(const std::string& exported);

}  // namespace test_support
