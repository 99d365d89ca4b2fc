#include "tool/commands/frame_range.h"

#include <charconv>
#include <regex>

#include "tool/commands/usage_error.h"

namespace tool {
namespace {

/// Digits of a number in a name that has no place for it.
constexpr int usual_digits = 4;

int number(const std::string& text, int otherwise) {
  int value = otherwise;
  if (!text.empty() && std::from_chars(text.data(), text.data() + text.size(), value).ec != std::errc())
    throw UsageError("--frames: " + text + " is not a frame number");
  return value;
}

}  // namespace

FrameRange parse_frames(const std::string& text) {
  static const std::regex form(R"((-?\d+)(?:-(-?\d+)(?::(\d+))?)?)");
  std::smatch part;
  if (!std::regex_match(text, part, form))
    throw UsageError("--frames " + text + ": give a frame, such as 12, or a range, such as 1-60 or 1-60:5");
  FrameRange range;
  range.first = number(part[1].str(), 0);
  range.last = number(part[2].str(), range.first);
  range.step = number(part[3].str(), 1);
  if (range.step < 1) throw UsageError("--frames " + text + ": the step must be 1 or more");
  if (range.last < range.first) throw UsageError("--frames " + text + ": the range ends before it starts");
  return range;
}

FrameName::FrameName(const std::filesystem::path& pattern, bool many_frames) : folder_(pattern.parent_path()) {
  static const std::regex place("%(?:0([1-9]))?d|#+");
  const std::string name = pattern.filename().string();
  std::smatch found;
  for (auto it = std::sregex_iterator(name.begin(), name.end(), place); it != std::sregex_iterator(); ++it) found = *it;
  if (!found.empty()) {
    before_ = name.substr(0, static_cast<std::size_t>(found.position()));
    after_ = found.suffix().str();
    digits_ = found.str().front() == '#' ? static_cast<int>(found.length()) : number(found[1].str(), 1);
    numbered_ = true;
  } else {
    before_ = pattern.stem().string() + (many_frames ? "." : "");
    after_ = pattern.extension().string();
    digits_ = usual_digits;
    numbered_ = many_frames;
  }
}

std::filesystem::path FrameName::of(int frame) const {
  if (!numbered_) return folder_ / (before_ + after_);
  std::string digits = std::to_string(frame < 0 ? -static_cast<long long>(frame) : frame);
  const auto wanted = static_cast<std::size_t>(digits_);
  if (digits.size() < wanted) digits.insert(0, wanted - digits.size(), '0');
  return folder_ / (before_ + (frame < 0 ? "-" : "") + digits + after_);
}

}  // namespace tool
