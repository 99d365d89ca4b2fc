#pragma once

#include <charconv>
#include <cstddef>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "standin/scene/envelope.h"
#include "standin/scene/scene.h"

namespace standin {

/// What follows the first word.
std::string_view rest_of(std::string_view text);

/// The word that the text begins with; what follows it is left in `text`.
std::string_view take_word(std::string_view& text);

/// Whether a block begins in the line, in place of the value after its keyword.
bool opens_block_after_keyword(std::string_view line);

/// The lines of a scene file, the line that is read next, and what the values of every item have in common: numbers, envelopes
/// and motions, in the form of the file's version. Damage throws FileError with the line.
class SceneValues {
 protected:
  SceneValues(std::string_view text, const std::string& file_name);

  [[noreturn]] void fail(const std::string& reason, std::size_t line) const;
  [[noreturn]] void fail(const std::string& reason) const { fail(reason, next_); }

  /// Notes what a person should know of the next line, or of the whole file when there is none; later lines of the same kind
  /// are not told of.
  void warn(const std::string& kind, const std::string& sentence);

  bool at_end() const { return next_ >= lines_.size(); }
  void skip_blank_lines();

  template <class Number, class... Format>
  Number parsed(std::string_view text, Format... format) const {
    Number number{};
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number, format...);
    if (text.empty() || result.ec != std::errc() || result.ptr != end)
      fail("\"" + std::string(text.substr(0, 40)) + "\" is not a number, or not one that is possible here");
    return number;
  }

  int whole_number(std::string_view text, int minimum, int maximum) const;
  double real_number(std::string_view text);
  double positive_number(std::string_view text);

  /// The number of one of `count` kinds, from 0. One beyond them is handed on as it is, with a warning.
  int kind_number(std::string_view text, int count, const std::string& what, const std::string& treatment);

  /// Versions 1 and 2: angles in degrees, colours in 256ths, keys at frames.
  bool is_old() const { return version_ < 3; }

  /// Whether a block that is not an envelope stands in place of the value after the keyword.
  bool holds_unknown_block(std::string_view rest) const;

  /// Whether an envelope stands there, in the line itself or in the next.
  bool holds_envelope(std::string_view rest) const;

  /// Numbers or envelopes after a keyword, from its line to the line after the last value. One envelope for several values is
  /// meant for each.
  void read_values(std::string_view rest, std::span<Envelope> values);

  /// From the line with the keyword to the line after the motion.
  void read_motion(Motion& motion);

  /// The line after the block that the next line opens, at whatever depth blocks lie within it.
  std::size_t end_of_block() const;
  std::size_t end_of_plugin() const;

  std::vector<std::string_view> lines_;
  std::size_t next_ = 0;
  int version_ = 5;
  /// Of versions 1 and 2, whose keys need it before its own line may have been read.
  double old_frames_per_second_ = 30.0;
  std::vector<std::string> warnings_;

 private:
  Key read_key(std::string_view text);
  Envelope read_envelope_block();
  void read_driving_plugins(Envelope& envelope);
  void read_channels(std::span<Envelope> channels, std::size_t opening_line);
  void read_old_envelopes(std::span<Envelope> channels, std::size_t opening_line);
  std::string_view expect(std::string_view keyword, std::size_t because_of_line);
  bool channels_follow() const;

  const std::string& file_name_;
  std::set<std::string> warned_of_;
};

}  // namespace standin
