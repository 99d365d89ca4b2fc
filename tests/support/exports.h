#pragma once

#include <string>
#include <vector>

namespace test_support {

/// Every name that the module promises to export, as the compilers of both systems spell it, in the order of bytes: those of
/// each camera, from the file exports.txt in its folder, and the others, from tests/exports.txt.
std::vector<std::string> promised_exports();

/// The names that the module file exports, without what the standard library and the sanitizers add of their own.
/// Throws std::runtime_error when the file cannot be read.
std::vector<std::string> found_exports();

/// The names that the module file takes from other libraries. Throws std::runtime_error when the file cannot be read.
std::vector<std::string> found_imports();

/// The exported name of NAMESPACE::function. The argument types are given as they are spelled in exported names.
std::string exported_name(const std::string& name_space, const std::string& function, const std::string& arguments);

/// The name as it is written in the source, without arguments. C names are returned unchanged.
std::string source_name(const std::string& exported);

}  // namespace test_support
