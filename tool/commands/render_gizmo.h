#pragma once

#include "tool/commands/render_arguments.h"

namespace tool {

/// Draws the camera's gizmo over the scene's edges into the pictures that the command line names. Throws UsageError for options
/// that only rendered pictures have, std::runtime_error where opening the camera or writing a picture does. Threads: one.
void render_gizmo(const RenderArguments& arguments);

}  // namespace tool
