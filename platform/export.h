#pragma once

/// Marks a function or a variable that the module file offers to other programs.
/// An attribute that differs between systems has no other spelling than a macro; it is the only one.
#ifdef _WIN32
#define OVICAM_EXPORT __attribute__((dllexport))
#else
#define OVICAM_EXPORT __attribute__((visibility("default")))
#endif
