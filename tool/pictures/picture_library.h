#pragma once

namespace tool {

/// A function of the library that reads pictures, which is loaded on first use: it takes longer to start than everything else
/// together. Throws std::runtime_error where it is not there. Threads: one.
void* picture_library_function(const char* name);

}  // namespace tool
