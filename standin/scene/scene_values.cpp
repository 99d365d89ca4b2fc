#include "standin/scene/scene_values.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

#include "standin/scene/file_error.h"
#include "standin/scene/scene_keywords.h"

namespace standin {
namespace {

constexpr int span_count = 6;
constexpr int behaviour_count = 6;

std::vector<std::string_view> split_into_lines(std::string_view text) {
  std::vector<std::string_view> lines;
  lines.reserve(static_cast<std::size_t>(std::ranges::count(text, '\n')) + 1);
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    while (line.ends_with('\r')) line.remove_suffix(1);
    lines.push_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

bool opens_envelope(std::string_view text) { return first_word(text) == "{" && rest_of(text) == "Envelope"; }

bool opens_block(std::string_view text) { return trimmed(text).starts_with('{'); }

}  // namespace

bool opens_block_after_keyword(std::string_view line) {
  return first_word(rest_of(line)) == "{" && !trimmed(line).ends_with('}');
}

std::string_view rest_of(std::string_view text) { return trimmed(trimmed(text).substr(first_word(text).size())); }

std::string_view take_word(std::string_view& text) {
  const std::string_view word = first_word(text);
  text = rest_of(text);
  return word;
}

SceneValues::SceneValues(std::string_view text, const std::string& file_name)
    : lines_(split_into_lines(text)), file_name_(file_name) {}

void SceneValues::fail(const std::string& reason, std::size_t line) const {
  throw FileError(file_name_, "line " + std::to_string(line + 1), reason);
}

void SceneValues::warn(const std::string& kind, const std::string& sentence) {
  // A damaged file may hold as many kinds as it has lines.
  constexpr std::size_t most_kinds = 100;
  if (warned_of_.size() < most_kinds && warned_of_.insert(kind).second)
    warnings_.push_back(file_name_ + (at_end() ? "" : ", line " + std::to_string(next_ + 1)) + ": " + sentence);
}

void SceneValues::skip_blank_lines() {
  while (!at_end() && trimmed(lines_[next_]).empty()) ++next_;
}

int SceneValues::whole_number(std::string_view text, int minimum, int maximum) const {
  const auto number = parsed<int>(trimmed(text));
  if (number < minimum || number > maximum)
    fail(std::to_string(number) + " is out of range; it must be " + std::to_string(minimum) + " to " + std::to_string(maximum));
  return number;
}

double SceneValues::real_number(std::string_view text) {
  std::string_view digits = trimmed(text);
  // What a host on Windows writes for the outcome of a division by zero.
  if (digits.find(".#") != std::string_view::npos && digits.find_first_of(" \t") == std::string_view::npos) {
    warn("not finite",
         "\"" + std::string(digits.substr(0, 40)) + "\" is no number; 0 is used, here and wherever else it stands");
    return 0.0;
  }
  if (digits.starts_with('+')) digits.remove_prefix(1);
  const auto number = parsed<double>(digits);
  if (!std::isfinite(number)) fail("a number is not finite");
  return number;
}

double SceneValues::positive_number(std::string_view text) {
  const double number = real_number(text);
  if (!(number > 0.0)) fail("the number must be greater than 0");
  return number;
}

int SceneValues::kind_number(std::string_view text, int count, const std::string& what, const std::string& treatment) {
  const auto number = parsed<int>(trimmed(text));
  if (number < 0 || number >= count)
    warn(what + ' ' + std::to_string(number), what + ' ' + std::to_string(number) + " is not known; " + treatment);
  return number;
}

bool SceneValues::holds_envelope(std::string_view rest) const {
  const bool in_next_line = rest.empty() || rest == "(envelope)";
  return opens_envelope(rest) || (in_next_line && next_ + 1 < lines_.size() && opens_envelope(lines_[next_ + 1])) ||
         (is_old() && rest == "(envelope)");
}

bool SceneValues::holds_unknown_block(std::string_view rest) const {
  if (!rest.empty() && rest != "(envelope)") return opens_block(rest) && !opens_envelope(rest);
  return next_ + 1 < lines_.size() && opens_block(lines_[next_ + 1]) && !opens_envelope(lines_[next_ + 1]);
}

Key SceneValues::read_key(std::string_view text) {
  Key key;
  key.value = real_number(take_word(text));
  key.time_seconds = real_number(take_word(text));
  key.span =
      static_cast<Span>(kind_number(take_word(text), span_count, "the key span", "the curve runs straight into such keys"));
  for (double& parameter : key.parameters) {
    if (text.empty()) break;
    parameter = real_number(take_word(text));
  }
  if (!text.empty()) fail("a key has more numbers than value, time, span and six parameters");
  return key;
}

/// From the line after the one that opens the block to the line after the one that closes it.
Envelope SceneValues::read_envelope_block() {
  const std::size_t opening_line = next_ - 1;
  Envelope envelope;
  std::optional<int> count;
  for (skip_blank_lines(); !at_end(); skip_blank_lines()) {
    const std::string_view line = lines_[next_];
    const std::string_view keyword = first_word(line);
    if (trimmed(line) == "}" && count) {
      if (envelope.keys.size() != static_cast<std::size_t>(*count)) {
        fail("the Envelope block announces " + std::to_string(*count) + " keys and holds " +
                 std::to_string(envelope.keys.size()),
             opening_line);
      }
      std::ranges::stable_sort(envelope.keys, {}, &Key::time_seconds);
      ++next_;
      return envelope;
    }
    if (!count) {
      count = whole_number(line, 0, INT32_MAX);
    } else if (keyword == "Key") {
      envelope.keys.push_back(read_key(rest_of(line)));
    } else if (keyword == "Behaviors") {
      constexpr const char* treatment = "the value stays what it is at the key";
      const std::string_view numbers = rest_of(line);
      envelope.before =
          static_cast<EndBehaviour>(kind_number(first_word(numbers), behaviour_count, "the end behaviour", treatment));
      envelope.after =
          static_cast<EndBehaviour>(kind_number(rest_of(numbers), behaviour_count, "the end behaviour", treatment));
    } else if (is_known_keyword(keyword)) {
      // What is read on its own elsewhere stands here only because the end of the block was lost.
      fail("an Envelope block holds a line that is neither Key nor Behaviors");
    } else {
      warn("in an Envelope: " + std::string(keyword),
           "\"" + std::string(keyword.substr(0, 40)) + "\" in an Envelope block is not known; it has no effect");
      const std::size_t end = opens_block(line) ? end_of_block() : next_ + 1;
      for (; next_ < end; ++next_) envelope.lines_within.emplace_back(lines_[next_]);
      continue;
    }
    ++next_;
  }
  fail("the Envelope block is not finished; \"}\" is missing", opening_line);
}

/// Plug-ins that change a channel follow it.
void SceneValues::read_driving_plugins(Envelope& envelope) {
  while (true) {
    std::size_t line = next_;
    while (line < lines_.size() && trimmed(lines_[line]).empty()) ++line;
    if (line == lines_.size() || first_word(lines_[line]) != "Plugin" || first_word(rest_of(lines_[line])) != "ChannelHandler")
      return;
    next_ = line;
    const std::string server(rest_of(rest_of(rest_of(lines_[line]))));
    warn("ChannelHandler " + server, "the plug-in \"" + server + "\" that drives a channel is not run; its keys are used");
    for (const std::size_t end = end_of_plugin(); next_ < end; ++next_) envelope.lines_after.emplace_back(lines_[next_]);
  }
}

bool SceneValues::channels_follow() const {
  std::size_t line = next_;
  while (line < lines_.size() && trimmed(lines_[line]).empty()) ++line;
  return line < lines_.size() && first_word(lines_[line]) == "NumChannels";
}

/// The next line that is not blank, which must begin with the keyword; what follows it there.
std::string_view SceneValues::expect(std::string_view keyword, std::size_t because_of_line) {
  skip_blank_lines();
  if (at_end() || first_word(lines_[next_]) != keyword)
    fail("a motion is not finished; a line with " + std::string(keyword) + " is missing", because_of_line);
  return rest_of(lines_[next_]);
}

void SceneValues::read_channels(std::span<Envelope> channels, std::size_t opening_line) {
  const int count = whole_number(expect("NumChannels", opening_line), 0, static_cast<int>(channels.size()));
  ++next_;
  for (int i = 0; i < count; ++i) {
    const int channel = whole_number(expect("Channel", opening_line), 0, static_cast<int>(channels.size()) - 1);
    ++next_;
    if (expect("{", opening_line) != "Envelope") fail("a channel must be an Envelope block");
    ++next_;
    Envelope& envelope = channels[static_cast<std::size_t>(channel)];
    envelope = read_envelope_block();
    read_driving_plugins(envelope);
  }
}

/// How versions 1 and 2 write what changes: a count of channels, a count of keys, and for each key a line of values and a line
/// with its frame. Only what follows the last key can be chosen.
void SceneValues::read_old_envelopes(std::span<Envelope> channels, std::size_t opening_line) {
  const auto next_line = [&] {
    skip_blank_lines();
    if (at_end()) fail("the keys are cut short", opening_line);
    return lines_[next_];
  };
  const auto channel_count = static_cast<std::size_t>(whole_number(next_line(), 1, static_cast<int>(channels.size())));
  ++next_;
  const int key_count = whole_number(next_line(), 0, INT32_MAX);
  ++next_;
  std::vector<Envelope> read(channel_count);
  for (int key = 0; key < key_count; ++key) {
    std::string_view values = next_line();
    std::vector<double> numbers;
    for (std::size_t i = 0; i < channel_count; ++i) numbers.push_back(real_number(take_word(values)));
    if (!values.empty()) fail("a key has more values than its " + std::to_string(channel_count) + " channels");
    ++next_;
    std::string_view settings = next_line();
    Key at;
    at.time_seconds = real_number(take_word(settings)) / old_frames_per_second_;
    at.span = !settings.empty() && real_number(take_word(settings)) != 0.0 ? Span::linear : Span::tcb;
    for (std::size_t i = 0; i < 3 && !settings.empty(); ++i) at.parameters[i] = real_number(take_word(settings));
    ++next_;
    for (std::size_t i = 0; i < channel_count; ++i) {
      at.value = numbers[i];
      read[i].keys.push_back(at);
    }
  }
  skip_blank_lines();
  if (!at_end() && first_word(lines_[next_]) == "EndBehavior") {
    const int behaviour =
        kind_number(rest_of(lines_[next_]), behaviour_count, "the end behaviour", "the value stays what it is at the key");
    for (Envelope& envelope : read) envelope.after = static_cast<EndBehaviour>(behaviour);
    ++next_;
  }
  for (std::size_t i = 0; i < read.size(); ++i) {
    std::ranges::stable_sort(read[i].keys, {}, &Key::time_seconds);
    channels[i] = std::move(read[i]);
  }
  if (channel_count == 1) std::fill(channels.begin() + 1, channels.end(), channels[0]);
}

void SceneValues::read_values(std::string_view rest, std::span<Envelope> values) {
  const std::size_t opening_line = next_;
  if (!holds_envelope(rest)) {
    const bool keyword_alone = rest.empty();
    ++next_;
    if (keyword_alone && channels_follow()) {
      read_channels(values, opening_line);
      return;
    }
    next_ = opening_line;
    std::vector<double> numbers;
    for (std::size_t i = 0; i < values.size(); ++i) {
      // The last number is all that is left, so that a line with too much in it is found out.
      numbers.push_back(real_number(i + 1 < values.size() ? take_word(rest) : rest));
    }
    std::ranges::transform(numbers, values.begin(), &Envelope::constant);
    ++next_;
    return;
  }
  const bool is_block = opens_envelope(rest) || opens_envelope(lines_[std::min(next_ + 1, lines_.size() - 1)]);
  if (!is_block) {
    ++next_;
    read_old_envelopes(values, opening_line);
    return;
  }
  next_ += opens_envelope(rest) ? 1 : 2;
  std::size_t count = 0;
  do {
    values[count] = read_envelope_block();
    read_driving_plugins(values[count]);
    ++count;
    skip_blank_lines();
  } while (count < values.size() && !at_end() && opens_envelope(lines_[next_]) && ++next_ > 0);
  if (count == 1)
    std::fill(values.begin() + 1, values.end(), values[0]);
  else if (count < values.size())
    fail("an Envelope block is missing: one is needed for red, green and blue each", opening_line);
}

void SceneValues::read_motion(Motion& motion) {
  const std::size_t opening_line = next_++;
  if (!is_old() || channels_follow()) {
    read_channels(motion, opening_line);
    return;
  }
  skip_blank_lines();
  if (!at_end() && whole_number(lines_[next_], 0, INT32_MAX) < 2) fail("a motion has more than one channel");
  Motion read = motion;
  read_old_envelopes(read, opening_line);
  motion = read;
  for (std::size_t angle = 3; angle < 6; ++angle)
    for (Key& key : motion[angle].keys) key.value *= std::numbers::pi / 180.0;
}

std::size_t SceneValues::end_of_block() const {
  std::size_t depth = 0;
  for (std::size_t i = next_; i < lines_.size(); ++i) {
    const std::string_view line = trimmed(lines_[i]);
    if ((line.starts_with('{') && !line.ends_with('}')) || opens_block_after_keyword(line))
      ++depth;
    else if (line == "}" && --depth == 0)
      return i + 1;
    if (depth == 0) return i + 1;
  }
  fail("the block is not finished; \"}\" is missing");
}

std::size_t SceneValues::end_of_plugin() const {
  for (std::size_t i = next_; i < lines_.size(); ++i)
    if (trimmed(lines_[i]) == "EndPlugin") return i + 1;
  fail("the Plugin block is not finished; EndPlugin is missing");
}

}  // namespace standin
