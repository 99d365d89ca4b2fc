#include "tool/commands/frame_range.h"

#include <algorithm>
#include <charconv>
#include <numeric>
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

FrameRange parse_range(const std::string& text, const std::string& all) {
  static const std::regex form(R"((-?\d+)(?:-(-?\d+)(?:[:x](\d+))?)?)");
  std::smatch part;
  if (!std::regex_match(text, part, form)) {
    throw UsageError(
        "--frames " + all +
        ": give a frame, such as 12, a range, such as 1-60, 1-60:5 or 1-60x5, or several with commas between them");
  }
  FrameRange range;
  range.first = number(part[1].str(), 0);
  range.last = number(part[2].str(), range.first);
  range.step = number(part[3].str(), 1);
  if (range.step < 1) throw UsageError("--frames " + all + ": the step must be 1 or more");
  if (range.last < range.first) throw UsageError("--frames " + all + ": the range " + text + " ends before it starts");
  return range;
}

}  // namespace

FrameList parse_frames(const std::string& text) {
  std::vector<FrameRange> ranges;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t comma = std::min(text.find(',', start), text.size());
    ranges.push_back(parse_range(text.substr(start, comma - start), text));
    start = comma + 1;
  }
  return FrameList(std::move(ranges));
}

long long FrameList::count() const {
  return std::accumulate(ranges_.begin(), ranges_.end(), 0LL,
                         [](long long sum, const FrameRange& range) { return sum + range.count(); });
}

/// Of the first range that has the frame: that is where it comes.
std::size_t FrameList::range_of(long long frame) const {
  const auto found =
      std::find_if(ranges_.begin(), ranges_.end(), [&](const FrameRange& range) { return range.contains(frame); });
  return static_cast<std::size_t>(found - ranges_.begin());
}

std::optional<int> FrameList::next(int frame) const {
  std::size_t range = range_of(frame);
  long long candidate = static_cast<long long>(frame) + ranges_[range].step;
  while (true) {
    if (candidate > ranges_[range].last) {
      if (++range == ranges_.size()) return std::nullopt;
      candidate = ranges_[range].first;
    }
    if (range_of(candidate) == range) return static_cast<int>(candidate);
    candidate += ranges_[range].step;
  }
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
