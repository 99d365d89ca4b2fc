#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "sdk/states.h"
#include "standin/scene/envelope.h"

namespace standin {

/// One item that a module saved outside of the blocks that it opened itself, in text form.
struct SavedLine {
  /// "envelope" for a VParm; of a number its type: "float" or "integer" (4 bytes), "double", "short", "byte"; else "block" or
  /// "text".
  std::string kind;
  std::vector<std::string> lines;
};

/// Collects what a module saves. In text form, the lines that a scene file keeps between `Plugin` and `EndPlugin`; in binary
/// form, big-endian bytes. Threads: one.
class SaveState {
 public:
  explicit SaveState(LWIoMode mode);
  SaveState(const SaveState&) = delete;
  SaveState& operator=(const SaveState&) = delete;

  /// What the module's save is given.
  const LWSaveState* record() const { return &record_; }
  /// The state of a record; null when the record is not one of ours.
  static SaveState* behind(const LWSaveState* record) noexcept;

  LWIoMode mode() const { return static_cast<LWIoMode>(record_.ioMode); }
  const std::vector<std::string>& lines() const { return lines_; }
  const std::vector<std::uint8_t>& bytes() const { return bytes_; }
  /// The lines, with what each of them holds; none in binary form.
  std::vector<SavedLine> items() const;

  /// Text: one line. Binary: the characters and a zero byte.
  void write_line(const std::string& line);
  /// Text: one line of them. Binary: one after another.
  template <class Number>
  void write_numbers(const Number* values, int count);
  /// Text: `{ token`. Binary: code and, once ended, size.
  void begin_block(const LWBlockIdent& ident);
  void end_block();
  int depth() const { return static_cast<int>(open_blocks_.size()); }

 private:
  void add_line(const std::string& line, const char* kind);

  LWSaveState record_{};
  std::vector<std::string> lines_;
  /// Text: the kind and first line of everything outside of blocks.
  std::vector<std::pair<const char*, std::size_t>> item_starts_;
  std::vector<std::uint8_t> bytes_;
  /// Binary: where each open block's size goes.
  std::vector<std::size_t> open_blocks_;
};

/// Gives a module what it saved before. A read past the end, or of something that is not a number of that type, returns a
/// smaller count than requested and leaves the rest unchanged. Threads: one.
class LoadState {
 public:
  explicit LoadState(std::vector<std::string> lines);
  explicit LoadState(std::vector<std::uint8_t> bytes);
  LoadState(const LoadState&) = delete;
  LoadState& operator=(const LoadState&) = delete;

  /// What the module's load is given.
  const LWLoadState* record() const { return &record_; }
  /// The state of a record; null when the record is not one of ours.
  static LoadState* behind(const LWLoadState* record) noexcept;

  LWIoMode mode() const { return static_cast<LWIoMode>(record_.ioMode); }
  bool at_end();

  /// Reads one line's numbers, or that many in binary; returns how many. A line that opens or closes a block is not consumed.
  template <class Number>
  int read_numbers(Number* values, int count);
  /// Whether there was one (text: not one that opens or closes a block).
  bool read_line(std::string& line);
  /// Enters the next block when it is one of the idents (ended by code 0); its code, or 0.
  LWID find_block(const LWBlockIdent* idents);
  /// Skips to the end of the block that was entered last.
  void end_block();
  int depth() const { return static_cast<int>(block_ends_.size()); }
  /// How often less was read than was asked for.
  int short_reads() const { return short_reads_; }

 private:
  LWLoadState record_{};
  int short_reads_ = 0;
  std::vector<std::string> lines_;
  std::vector<std::uint8_t> bytes_;
  /// The next line or byte.
  std::size_t position_ = 0;
  /// For every block entered: the line that closes it, or the byte after it.
  std::vector<std::size_t> block_ends_;

  /// The end of the innermost block, or of everything.
  std::size_t end() const;
  void skip_blank_lines();
  LWID find_text_block(const LWBlockIdent* idents);
  LWID find_binary_block(const LWBlockIdent* idents);
};

/// What cameras have saved, by server: a state that is loaded again is known to be whole. Keeps no more than hashes, and of a
/// great many states the first. Threads: one.
class SavedStates {
 public:
  void add(const std::string& server_name, const std::vector<std::string>& lines);
  void add(const std::string& server_name, const std::vector<std::uint8_t>& bytes);
  bool has(const std::string& server_name, const std::vector<std::string>& lines) const;
  bool has(const std::string& server_name, const std::vector<std::uint8_t>& bytes) const;

 private:
  void add_hash(std::size_t hash);
  std::set<std::size_t> hashes_;
};

/// One VParm's contents: `{ VParm`, a value or an `{ Envelope` block, `}`.
void save_parameter(SaveState& state, const Envelope& envelope);

/// Null, or what is wrong, in which case the envelope is unchanged.
LWError load_parameter(LoadState& state, Envelope& envelope);

}  // namespace standin
