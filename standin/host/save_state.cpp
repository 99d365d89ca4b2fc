#include "standin/host/save_state.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "standin/scene/number_text.h"

namespace standin {
namespace {

constexpr LWBlockIdent vparm_ident{lwid('V', 'P', 'R', 'M'), "VParm"};
constexpr LWBlockIdent envelope_ident{lwid('E', 'N', 'V', 'L'), "Envelope"};

template <std::size_t size>
using Word = std::conditional_t<
    size == 1, std::uint8_t,
    std::conditional_t<size == 2, std::uint16_t, std::conditional_t<size == 4, std::uint32_t, std::uint64_t>>>;

template <class Number>
void append_big_endian(std::vector<std::uint8_t>& bytes, Number value) {
  const auto word = std::bit_cast<Word<sizeof(Number)>>(value);
  for (int shift = static_cast<int>(sizeof(Number)) * 8 - 8; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(word) >> shift));
}

template <class Number>
Number from_big_endian(const std::uint8_t* bytes) {
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < sizeof(Number); ++i) word = (word << 8) | bytes[i];
  return std::bit_cast<Number>(static_cast<Word<sizeof(Number)>>(word));
}

template <class Number>
std::string to_text(Number value) {
  if constexpr (std::is_floating_point_v<Number>) return shortest(value);
  if constexpr (std::is_signed_v<Number>) return std::to_string(static_cast<long long>(value));
  std::array<char, 64> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), static_cast<unsigned long long>(value), 16).ptr};
}

template <class Number>
bool from_text(std::string_view text, Number& value) {
  const char* end = text.data() + text.size();
  std::from_chars_result result{};
  Number parsed{};
  if constexpr (std::is_floating_point_v<Number>) {
    result = std::from_chars(text.data(), end, parsed);
  } else if constexpr (std::is_same_v<Number, char>) {
    signed char byte = 0;
    result = std::from_chars(text.data(), end, byte);
    parsed = static_cast<char>(byte);
  } else {
    result = std::from_chars(text.data(), end, parsed, std::is_signed_v<Number> ? 10 : 16);
  }
  if (result.ec != std::errc() || result.ptr != end) return false;
  value = parsed;
  return true;
}

std::string_view trimmed(std::string_view line) {
  constexpr std::string_view blanks = " \t\r\n";
  const auto first = line.find_first_not_of(blanks);
  return first == std::string_view::npos ? std::string_view() : line.substr(first, line.find_last_not_of(blanks) - first + 1);
}

/// Takes the next word off the front of a line; empty when there is none.
std::string_view take_word(std::string_view& line) {
  line = trimmed(line);
  const std::string_view word = line.substr(0, line.find_first_of(" \t"));
  line.remove_prefix(word.size());
  return word;
}

bool opens_block(std::string_view trimmed_line) { return trimmed_line.starts_with('{'); }
bool closes_block(std::string_view trimmed_line) { return trimmed_line.starts_with('}'); }

/// The name after an opening brace.
std::string_view block_token(std::string_view trimmed_line) { return trimmed(trimmed_line.substr(1)); }

std::string quoted(const char* text) {
  std::string line = "\"";
  for (const char* c = text; *c != '\0'; ++c) {
    if (*c == '\n') {
      line += "\\n";
      continue;
    }
    if (*c == '"' || *c == '\\') line += '\\';
    line += *c;
  }
  return line + '"';
}

std::string unquoted(std::string_view line) {
  line = trimmed(line);
  if (line.size() < 2 || line.front() != '"' || line.back() != '"') return std::string(line);
  std::string text;
  for (std::size_t i = 1; i + 1 < line.size(); ++i) {
    if (line[i] == '\\' && i + 2 < line.size()) {
      ++i;
      text += line[i] == 'n' ? '\n' : line[i];
    } else {
      text += line[i];
    }
  }
  return text;
}

template <class Number>
constexpr const char* number_kind() {
  if constexpr (std::is_floating_point_v<Number>)
    return sizeof(Number) == 4 ? "float" : "double";
  else
    return sizeof(Number) == 4 ? "integer" : sizeof(Number) == 2 ? "short" : "byte";
}

SaveState& saving(void* data) { return *static_cast<SaveState*>(data); }
LoadState& loading(void* data) { return *static_cast<LoadState*>(data); }

template <class Number>
void write(void* data, const Number* values, int count) {
  saving(data).write_numbers(values, count);
}

template <class Number>
int read(void* data, Number* values, int count) {
  return loading(data).read_numbers(values, count);
}

void write_text(void* data, const char* text) {
  SaveState& state = saving(data);
  state.write_line(state.mode() == LWIO_TEXT ? quoted(text) : text);
}

int read_text(void* data, char* text, int size) {
  LoadState& state = loading(data);
  std::string line;
  if (size <= 0 || !state.read_line(line)) return 0;
  const std::string read = state.mode() == LWIO_TEXT ? unquoted(line) : line;
  const std::size_t length = std::min(read.size(), static_cast<std::size_t>(size) - 1);
  std::memcpy(text, read.data(), length);
  text[length] = '\0';
  return static_cast<int>(length);
}

const LWBlockIdent* find_ident(const LWBlockIdent* idents, LWID id) {
  while (idents->id != 0 && idents->id != id) ++idents;
  return idents->id != 0 ? idents : nullptr;
}

const LWBlockIdent* find_ident(const LWBlockIdent* idents, std::string_view token) {
  while (idents->id != 0 && token != idents->token) ++idents;
  return idents->id != 0 ? idents : nullptr;
}

void write_ident(void* data, const LWBlockIdent* idents, LWID id) {
  SaveState& state = saving(data);
  if (state.mode() == LWIO_BINARY)
    state.write_numbers(&id, 1);
  else if (const LWBlockIdent* ident = find_ident(idents, id))
    state.write_line(ident->token);
}

LWID read_ident(void* data, const LWBlockIdent* idents) {
  LoadState& state = loading(data);
  if (state.mode() == LWIO_BINARY) {
    LWID id = 0;
    return state.read_numbers(&id, 1) == 1 && find_ident(idents, id) != nullptr ? id : 0;
  }
  std::string line;
  if (!state.read_line(line)) return 0;
  const LWBlockIdent* ident = find_ident(idents, trimmed(line));
  return ident != nullptr ? ident->id : 0;
}

std::string text_of(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return text;
}

std::string text_of(const std::vector<std::uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

std::size_t hash_of(const std::string& server_name, const std::string& state) {
  return std::hash<std::string>{}(server_name + '\n' + state);
}

}  // namespace

SaveState::SaveState(LWIoMode mode) {
  record_.ioMode = mode;
  record_.writeData = this;
  record_.write = write<char>;
  record_.writeI1 = write<char>;
  record_.writeI2 = write<short>;
  record_.writeI4 = write<int>;
  record_.writeU1 = write<unsigned char>;
  record_.writeU2 = write<unsigned short>;
  record_.writeU4 = write<unsigned>;
  record_.writeFP = write<float>;
  record_.writeStr = write_text;
  record_.writeID = write_ident;
  record_.beginBlk = [](void* data, const LWBlockIdent* ident, int) { saving(data).begin_block(*ident); };
  record_.endBlk = [](void* data) { saving(data).end_block(); };
  record_.depth = [](void* data) { return saving(data).depth(); };
  record_.writeDP = write<double>;
}

SaveState* SaveState::behind(const LWSaveState* record) noexcept {
  return record != nullptr && record->writeStr == write_text ? static_cast<SaveState*>(record->writeData) : nullptr;
}

void SaveState::add_line(const std::string& line, const char* kind) {
  if (open_blocks_.empty()) item_starts_.emplace_back(kind, lines_.size());
  lines_.push_back(std::string(open_blocks_.size() * 2, ' ') + line);
}

void SaveState::write_line(const std::string& line) {
  if (mode() == LWIO_TEXT) {
    add_line(line, "text");
  } else {
    bytes_.insert(bytes_.end(), line.begin(), line.end());
    bytes_.push_back(0);
  }
}

std::vector<SavedLine> SaveState::items() const {
  std::vector<SavedLine> items;
  for (std::size_t i = 0; i < item_starts_.size(); ++i) {
    const auto [kind, first] = item_starts_[i];
    const std::size_t end = i + 1 < item_starts_.size() ? item_starts_[i + 1].second : lines_.size();
    items.push_back(
        {kind, {lines_.begin() + static_cast<std::ptrdiff_t>(first), lines_.begin() + static_cast<std::ptrdiff_t>(end)}});
  }
  return items;
}

template <class Number>
void SaveState::write_numbers(const Number* values, int count) {
  if (mode() == LWIO_BINARY) {
    for (int i = 0; i < count; ++i) append_big_endian(bytes_, values[i]);
    return;
  }
  std::string line;
  for (int i = 0; i < count; ++i) line += (i == 0 ? "" : " ") + to_text(values[i]);
  add_line(line, number_kind<Number>());
}

void SaveState::begin_block(const LWBlockIdent& ident) {
  if (mode() == LWIO_TEXT) {
    add_line(std::string("{ ") + ident.token, ident.id == vparm_ident.id ? "envelope" : "block");
    open_blocks_.push_back(lines_.size());
  } else {
    append_big_endian(bytes_, ident.id);
    open_blocks_.push_back(bytes_.size());
    append_big_endian(bytes_, std::uint32_t{0});
  }
}

void SaveState::end_block() {
  if (open_blocks_.empty()) return;
  const std::size_t start = open_blocks_.back();
  open_blocks_.pop_back();
  if (mode() == LWIO_TEXT) {
    lines_.push_back(std::string(open_blocks_.size() * 2, ' ') + "}");
    return;
  }
  std::vector<std::uint8_t> size;
  append_big_endian(size, static_cast<std::uint32_t>(bytes_.size() - start - sizeof(std::uint32_t)));
  std::copy(size.begin(), size.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(start));
}

LoadState::LoadState(std::vector<std::string> lines) : LoadState(std::vector<std::uint8_t>()) {
  record_.ioMode = LWIO_TEXT;
  lines_ = std::move(lines);
}

LoadState::LoadState(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {
  record_.ioMode = LWIO_BINARY;
  record_.readData = this;
  record_.read = read<char>;
  record_.readI1 = read<char>;
  record_.readI2 = read<short>;
  record_.readI4 = read<int>;
  record_.readU1 = read<unsigned char>;
  record_.readU2 = read<unsigned short>;
  record_.readU4 = read<unsigned>;
  record_.readFP = read<float>;
  record_.readStr = read_text;
  record_.readID = read_ident;
  record_.findBlk = [](void* data, const LWBlockIdent* idents) { return loading(data).find_block(idents); };
  record_.endBlk = [](void* data) { loading(data).end_block(); };
  record_.depth = [](void* data) { return loading(data).depth(); };
  record_.readDP = read<double>;
}

LoadState* LoadState::behind(const LWLoadState* record) noexcept {
  return record != nullptr && record->readStr == read_text ? static_cast<LoadState*>(record->readData) : nullptr;
}

std::size_t LoadState::end() const {
  if (!block_ends_.empty()) return block_ends_.back();
  return mode() == LWIO_TEXT ? lines_.size() : bytes_.size();
}

void LoadState::skip_blank_lines() {
  while (mode() == LWIO_TEXT && position_ < end() && trimmed(lines_[position_]).empty()) ++position_;
}

bool LoadState::at_end() {
  skip_blank_lines();
  return position_ >= end();
}

bool LoadState::read_line(std::string& line) {
  if (at_end()) return false;
  if (mode() == LWIO_TEXT) {
    const std::string_view next = trimmed(lines_[position_]);
    if (opens_block(next) || closes_block(next)) return false;
    line = next;
    ++position_;
    return true;
  }
  const auto first = bytes_.begin() + static_cast<std::ptrdiff_t>(position_);
  const auto last = bytes_.begin() + static_cast<std::ptrdiff_t>(end());
  const auto zero = std::find(first, last, std::uint8_t{0});
  if (zero == last) return false;
  line.assign(first, zero);
  position_ += line.size() + 1;
  return true;
}

template <class Number>
int LoadState::read_numbers(Number* values, int count) {
  int got = 0;
  if (mode() == LWIO_TEXT) {
    std::string line;
    if (count <= 0) return 0;
    if (read_line(line)) {
      std::string_view rest = line;
      while (got < count && from_text(take_word(rest), values[got])) ++got;
    }
    if (got < count) ++short_reads_;
    return got;
  }
  for (; got < count && end() - position_ >= sizeof(Number); ++got) {
    values[got] = from_big_endian<Number>(bytes_.data() + position_);
    position_ += sizeof(Number);
  }
  if (got < count) ++short_reads_;
  return got;
}

LWID LoadState::find_block(const LWBlockIdent* idents) {
  if (at_end()) return 0;
  return mode() == LWIO_TEXT ? find_text_block(idents) : find_binary_block(idents);
}

LWID LoadState::find_text_block(const LWBlockIdent* idents) {
  const std::string_view first = trimmed(lines_[position_]);
  const LWBlockIdent* ident = opens_block(first) ? find_ident(idents, block_token(first)) : nullptr;
  if (ident == nullptr) return 0;
  int open = 1;
  for (std::size_t line = position_ + 1; line < end(); ++line) {
    const std::string_view text = trimmed(lines_[line]);
    open += opens_block(text) ? 1 : closes_block(text) ? -1 : 0;
    if (open == 0) {
      block_ends_.push_back(line);
      ++position_;
      return ident->id;
    }
  }
  return 0;
}

LWID LoadState::find_binary_block(const LWBlockIdent* idents) {
  constexpr std::size_t header = 2 * sizeof(std::uint32_t);
  if (end() - position_ < header) return 0;
  const auto id = from_big_endian<LWID>(bytes_.data() + position_);
  const auto size = from_big_endian<std::uint32_t>(bytes_.data() + position_ + sizeof id);
  if (find_ident(idents, id) == nullptr || end() - position_ - header < size) return 0;
  position_ += header;
  block_ends_.push_back(position_ + size);
  return id;
}

void LoadState::end_block() {
  if (!block_ends_.empty()) {
    position_ = block_ends_.back() + (mode() == LWIO_TEXT ? 1 : 0);
    block_ends_.pop_back();
  }
}

namespace {

bool is_plain_constant(const Envelope& envelope) {
  return envelope.keys.empty() ||
         (envelope.keys.size() == 1 && envelope.before == EndBehaviour::constant && envelope.after == EndBehaviour::constant);
}

void save_key(SaveState& state, const Key& key) {
  const int span = static_cast<int>(key.span);
  if (state.mode() == LWIO_BINARY) {
    state.write_numbers(&key.value, 1);
    state.write_numbers(&key.time_seconds, 1);
    state.write_numbers(&span, 1);
    state.write_numbers(key.parameters.data(), static_cast<int>(key.parameters.size()));
    return;
  }
  std::string line = "Key " + shortest(key.value) + ' ' + shortest(key.time_seconds) + ' ' + std::to_string(span);
  for (const double parameter : key.parameters) line += ' ' + shortest(parameter);
  state.write_line(line);
}

bool in_range(int value, int last) { return value >= 0 && value <= last; }

/// The words after a leading keyword, as numbers; false when one is missing or not a number.
template <class... Numbers>
bool parse_words(std::string_view line, std::string_view keyword, Numbers&... numbers) {
  return take_word(line) == keyword && (from_text(take_word(line), numbers) && ...);
}

bool load_key(LoadState& state, Key& key) {
  int span = 0;
  auto& p = key.parameters;
  if (state.mode() == LWIO_TEXT) {
    std::string line;
    if (!state.read_line(line) ||
        !parse_words(line, "Key", key.value, key.time_seconds, span, p[0], p[1], p[2], p[3], p[4], p[5])) {
      return false;
    }
  } else if (state.read_numbers(&key.value, 1) != 1 || state.read_numbers(&key.time_seconds, 1) != 1 ||
             state.read_numbers(&span, 1) != 1 || state.read_numbers(p.data(), 6) != 6) {
    return false;
  }
  key.span = static_cast<Span>(span);
  return in_range(span, static_cast<int>(Span::bezier_2d)) && std::isfinite(key.value) && std::isfinite(key.time_seconds) &&
         std::all_of(p.begin(), p.end(), [](double value) { return std::isfinite(value); });
}

LWError load_envelope(LoadState& state, Envelope& envelope) {
  int count = 0;
  if (state.read_numbers(&count, 1) != 1 || count < 1)
    return "The envelope in the saved settings does not say how many keys it has";
  for (int i = 0; i < count; ++i) {
    Key key;
    if (!load_key(state, key)) return "The envelope in the saved settings has a key that cannot be read";
    if (!envelope.keys.empty() && !(envelope.keys.back().time_seconds < key.time_seconds))
      return "The envelope in the saved settings has keys that are not in chronological order";
    envelope.keys.push_back(key);
  }
  int before = 0;
  int after = 0;
  std::string line;
  const bool read = state.mode() == LWIO_TEXT ? state.read_line(line) && parse_words(line, "Behaviors", before, after)
                                              : state.read_numbers(&before, 1) == 1 && state.read_numbers(&after, 1) == 1;
  constexpr int last = static_cast<int>(EndBehaviour::linear);
  if (!read || !in_range(before, last) || !in_range(after, last))
    return "The envelope in the saved settings does not say how it behaves before and after its keys";
  envelope.before = static_cast<EndBehaviour>(before);
  envelope.after = static_cast<EndBehaviour>(after);
  return nullptr;
}

}  // namespace

void SavedStates::add(const std::string& server_name, const std::vector<std::string>& lines) {
  add_hash(hash_of(server_name, text_of(lines)));
}

void SavedStates::add(const std::string& server_name, const std::vector<std::uint8_t>& bytes) {
  add_hash(hash_of(server_name, text_of(bytes)));
}

bool SavedStates::has(const std::string& server_name, const std::vector<std::string>& lines) const {
  return hashes_.contains(hash_of(server_name, text_of(lines)));
}

bool SavedStates::has(const std::string& server_name, const std::vector<std::uint8_t>& bytes) const {
  return hashes_.contains(hash_of(server_name, text_of(bytes)));
}

void SavedStates::add_hash(std::size_t hash) {
  constexpr std::size_t most_kept = 10'000;
  if (hashes_.size() < most_kept) hashes_.insert(hash);
}

void save_parameter(SaveState& state, const Envelope& envelope) {
  state.begin_block(vparm_ident);
  if (is_plain_constant(envelope)) {
    const double value = envelope.keys.empty() ? 0.0 : envelope.keys.front().value;
    state.write_numbers(&value, 1);
  } else {
    state.begin_block(envelope_ident);
    const int count = static_cast<int>(envelope.keys.size());
    state.write_numbers(&count, 1);
    for (const Key& key : envelope.keys) save_key(state, key);
    const std::array<int, 2> behaviours{static_cast<int>(envelope.before), static_cast<int>(envelope.after)};
    if (state.mode() == LWIO_TEXT)
      state.write_line("Behaviors " + std::to_string(behaviours[0]) + ' ' + std::to_string(behaviours[1]));
    else
      state.write_numbers(behaviours.data(), 2);
    state.end_block();
  }
  state.end_block();
}

LWError load_parameter(LoadState& state, Envelope& envelope) {
  constexpr std::array vparm{vparm_ident, LWBlockIdent{}};
  constexpr std::array envelopes{envelope_ident, LWBlockIdent{}};
  if (state.find_block(vparm.data()) == 0) return "The saved settings have no VParm block here";
  Envelope loaded;
  LWError error = nullptr;
  if (state.find_block(envelopes.data()) != 0) {
    error = load_envelope(state, loaded);
    state.end_block();
  } else {
    double value = 0.0;
    if (state.read_numbers(&value, 1) != 1 || !std::isfinite(value)) error = "The VParm in the saved settings has no value";
    loaded = Envelope::constant(value);
  }
  state.end_block();
  if (error == nullptr) envelope = std::move(loaded);
  return error;
}

}  // namespace standin
