#pragma once

#include "tool/output/packing.h"
#include "tool/render/frame_renderer.h"

namespace tool {

/// Renders both eyes of a frame into one picture, each as large as the job's frame, with all threads of the caller's TBB arena.
/// The job's part is all of the frame, its eyes are the left and then the right one; the picture's channels are those of one
/// eye. Threads: one.
RayCounts render_packed(const FrameJob& job, Packing packing, PictureFile& picture, Progress& progress);

}  // namespace tool
