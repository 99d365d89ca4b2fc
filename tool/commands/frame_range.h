#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tool {

/// Frames from first to last, both included.
struct FrameRange {
  int first = 0;
  int last = 0;
  int step = 1;

  bool single() const { return last - static_cast<long long>(first) < step; }
  long long count() const { return (last - static_cast<long long>(first)) / step + 1; }
};

/// "A", "A-B" or "A-B:STEP". Throws UsageError for anything else, and for a range that ends before it starts.
FrameRange parse_frames(const std::string& text);

/// File names of one or many pictures: the last "%04d" or run of '#' in the file's name stands for the frame's number.
class FrameName {
 public:
  /// For many frames, a name without a place for the number gets it before the extension.
  FrameName(const std::filesystem::path& pattern, bool many_frames);

  std::filesystem::path of(int frame) const;

 private:
  std::filesystem::path folder_;
  std::string before_;
  std::string after_;
  bool numbered_ = false;
  int digits_ = 0;
};

}  // namespace tool
