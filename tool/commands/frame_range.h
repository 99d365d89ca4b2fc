#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// Frames from first to last, both included.
struct FrameRange {
  int first = 0;
  int last = 0;
  int step = 1;

  long long count() const { return (last - static_cast<long long>(first)) / step + 1; }
  bool contains(long long frame) const { return frame >= first && frame <= last && (frame - first) % step == 0; }
};

/// Ranges one after the other; a frame of several of them comes once.
class FrameList {
 public:
  /// One frame.
  explicit FrameList(int frame) : ranges_{{frame, frame, 1}} {}
  explicit FrameList(std::vector<FrameRange> ranges) : ranges_(std::move(ranges)) {}

  int first() const { return ranges_.front().first; }
  bool single() const { return ranges_.size() == 1 && ranges_.front().count() == 1; }
  /// At least as many as there are: a frame of several ranges is counted with each.
  long long count() const;
  /// The frame after this one, in the order of the list; none after the last.
  std::optional<int> next(int frame) const;

 private:
  std::size_t range_of(long long frame) const;

  /// Never empty.
  std::vector<FrameRange> ranges_;
};

/// Frames and ranges with commas between them: "A", "A-B", "A-B:STEP" or "A-BxSTEP". Throws UsageError for anything else, and
/// for a range that ends before it starts.
FrameList parse_frames(const std::string& text);

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
