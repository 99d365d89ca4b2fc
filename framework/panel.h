#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "framework/host_services.h"

namespace framework {

inline constexpr const char* version_text = "v4.0.0.22 Oct 28 2026";

/// How often the host is told at most that a control is sensitive: the panoramic panel tells it twice of two of them.
inline constexpr int most_sensitivity_hints = 2;

/// What the host calls while it shows a panel; the module exports them under names of their own.
struct PanelFunctions {
  LWXPanelGetFunc* get;
  LWXPanelSetFunc* set;
  LWXPanelDrawFunc* draw_logo;
  LWXPanelPopCountFunc* popup_count;
  LWXPanelPopNameFunc* popup_name;
};

/// One control of a camera's panel: its ID, which scenes and hosts know for ever, what it shows, and how. The whole panel is
/// one table of these; what the host gets, controls, data and hints, is made of it.
template <class Settings>
struct PanelRow {
  enum class Binding { none, text, envelope, word, clamped_number, plain_number };

  std::uint32_t id;
  const char* label = nullptr;
  /// Null: the panel has no such control, but its value is answered.
  const char* control_class = nullptr;
  /// Null: a drawing, which has no value.
  const char* data_name = nullptr;
  const char* data_type = nullptr;
  Binding binding = Binding::none;
  double Settings::*value = nullptr;
  std::uint32_t Settings::*word = nullptr;
  double minimum = 0.0;
  double maximum = 0.0;
  const char* text = nullptr;

  bool is_version = false;
  bool is_drawing = false;
  /// A function of its own draws it, or lists its entries, and not the panel's common one. Said in words, because with the
  /// sanitizers the compiler does not take the address of an exported function for a constant that it could compare with null.
  bool has_own_drawing = false;
  LWXPanelDrawFunc* draw = nullptr;
  bool is_popup = false;
  bool has_own_entries = false;
  LWXPanelPopCountFunc* popup_count = nullptr;
  LWXPanelPopNameFunc* popup_name = nullptr;
  bool has_texts = false;
  /// Ended by null.
  const char* const* texts = nullptr;
  bool has_divider = false;
  int sensitivity_hints = 0;
  bool has_limits = false;
  std::int64_t lowest = 0;
  std::int64_t highest = 0;

  // --- Kinds of rows.

  /// The maker's mark.
  static constexpr PanelRow logo(std::uint32_t id) {
    return {.id = id, .label = "Logo", .control_class = "dThumbnail", .is_drawing = true};
  }
  static constexpr PanelRow drawing(std::uint32_t id, LWXPanelDrawFunc* draw) {
    PanelRow row = logo(id);
    row.has_own_drawing = true;
    row.draw = draw;
    return row;
  }
  static constexpr PanelRow version(std::uint32_t id) {
    PanelRow row = information(id, "Version");
    row.binding = Binding::text;
    row.text = version_text;
    row.is_version = true;
    row.has_divider = true;
    return row;
  }
  /// A text that no control shows.
  static constexpr PanelRow hidden_text(std::uint32_t id, const char* text) {
    PanelRow row{.id = id, .binding = Binding::text};
    row.text = text;
    return row;
  }
  /// A text that the camera answers itself.
  static constexpr PanelRow information(std::uint32_t id, const char* label) {
    return {.id = id, .label = label, .control_class = "sInfo", .data_name = label, .data_type = "string"};
  }
  /// The host edits the envelope itself.
  static constexpr PanelRow envelope(std::uint32_t id, const char* label, const char* control_class, double Settings::*value) {
    return {.id = id,
            .label = label,
            .control_class = control_class,
            .data_name = label,
            .data_type = control_class,
            .binding = Binding::envelope,
            .value = value};
  }
  static constexpr PanelRow angle(std::uint32_t id, const char* label, double Settings::*radians) {
    return envelope(id, label, "angle-env", radians);
  }
  static constexpr PanelRow distance(std::uint32_t id, const char* label, double Settings::*metres) {
    return envelope(id, label, "distance-env", metres);
  }
  static constexpr PanelRow percentage(std::uint32_t id, const char* label, double Settings::*fraction) {
    return envelope(id, label, "percent-env", fraction);
  }
  static constexpr PanelRow plain(std::uint32_t id, const char* label, double Settings::*value) {
    return envelope(id, label, "float-env", value);
  }
  /// The host camera's own zoom factor.
  static constexpr PanelRow zoom(std::uint32_t id, double Settings::*value) {
    PanelRow row = envelope(id, "ZoomFactor", "zoomfactor-env", value);
    row.data_type = "float-env";
    return row;
  }
  /// A 32-bit word, stored as the panel gives it.
  static constexpr PanelRow integer(std::uint32_t id, const char* label, const char* control_class,
                                    std::uint32_t Settings::*word) {
    return {.id = id,
            .label = label,
            .control_class = control_class,
            .data_name = label,
            .data_type = "integer",
            .binding = Binding::word,
            .word = word};
  }
  static constexpr PanelRow check_box(std::uint32_t id, const char* label, std::uint32_t Settings::*word) {
    return integer(id, label, "iBoolean", word);
  }
  /// A choice of the panel's common list.
  static constexpr PanelRow popup(std::uint32_t id, const char* label, std::uint32_t Settings::*word) {
    PanelRow row = integer(id, label, "iPopChoice", word);
    row.is_popup = true;
    return row;
  }
  /// A choice of a list of its own.
  static constexpr PanelRow popup(std::uint32_t id, const char* label, std::uint32_t Settings::*word,
                                  LWXPanelPopCountFunc* count, LWXPanelPopNameFunc* name) {
    PanelRow row = popup(id, label, word);
    row.has_own_entries = true;
    row.popup_count = count;
    row.popup_name = name;
    return row;
  }
  /// A choice of fixed texts, ended by null.
  static constexpr PanelRow choice(std::uint32_t id, const char* label, std::uint32_t Settings::*word,
                                   const char* const* texts) {
    PanelRow row = integer(id, label, "iPopChoice", word);
    row.has_texts = true;
    row.texts = texts;
    return row;
  }
  /// A number that the panel clamps, and whose envelope follows it.
  static constexpr PanelRow clamped_number(std::uint32_t id, const char* label, double Settings::*value, double minimum,
                                           double maximum) {
    PanelRow row = number(id, label, "float", value);
    row.binding = Binding::clamped_number;
    row.minimum = minimum;
    row.maximum = maximum;
    return row;
  }
  /// A number without an envelope, stored as the panel gives it.
  static constexpr PanelRow number(std::uint32_t id, const char* label, const char* control_class, double Settings::*value) {
    return {.id = id,
            .label = label,
            .control_class = control_class,
            .data_name = label,
            .data_type = "float",
            .binding = Binding::plain_number,
            .value = value};
  }

  // --- What a row can have beside.

  /// The panel has no such control: only its value is answered.
  constexpr PanelRow hidden() const {
    PanelRow row = *this;
    row.control_class = nullptr;
    return row;
  }
  /// The name of its data, where it is not the label.
  constexpr PanelRow data(const char* name) const {
    PanelRow row = *this;
    row.data_name = name;
    return row;
  }
  constexpr PanelRow divider() const {
    PanelRow row = *this;
    row.has_divider = true;
    return row;
  }
  /// The host is told so many times.
  constexpr PanelRow sensitive(int times = 1) const {
    PanelRow row = *this;
    row.sensitivity_hints = times;
    return row;
  }
  constexpr PanelRow limits(std::int64_t lowest_value, std::int64_t highest_value) const {
    PanelRow row = *this;
    row.has_limits = true;
    row.lowest = lowest_value;
    row.highest = highest_value;
    return row;
  }

  constexpr bool shown() const { return control_class != nullptr; }
};

/// A word of a hint list: a tag, a control, a number, a table, a function or data.
union HintWord {
  constexpr HintWord() : number(0) {}
  constexpr explicit HintWord(std::int64_t number) : number(number) {}
  constexpr explicit HintWord(const char* const* texts) : texts(texts) {}
  constexpr explicit HintWord(LWXPanelDrawFunc* function) : draw(function) {}
  constexpr explicit HintWord(LWXPanelPopCountFunc* function) : count(function) {}
  constexpr explicit HintWord(LWXPanelPopNameFunc* function) : name(function) {}
  constexpr explicit HintWord(LWXPanelDestroyFunc* function) : destroyed(function) {}
  constexpr explicit HintWord(void* data) : data(data) {}

  std::int64_t number;
  const char* const* texts;
  LWXPanelDrawFunc* draw;
  LWXPanelPopCountFunc* count;
  LWXPanelPopNameFunc* name;
  LWXPanelDestroyFunc* destroyed;
  void* data;
};
static_assert(sizeof(HintWord) == sizeof(void*));

/// Gives the hints of a panel to `add`, word by word, and the zero that ends them. The order is that of the panels which the
/// host has shown from the beginning: drawings and the version, popups, choices and dividers, sensitivity, limits.
template <class Rows, class Add>
constexpr void for_each_hint_word(const Rows& rows, const PanelFunctions& functions, Add add) {
  const auto hint = [&](LWXPanelHint tag, auto... arguments) {
    add(HintWord(std::int64_t{tag}));
    (add(HintWord(arguments)), ...);
  };
  const auto control = [](const auto& row) { return std::int64_t{row.id}; };
  constexpr std::int64_t none = 0;
  constexpr auto full_size = static_cast<std::int64_t>(0xFFFFFFFF80000001U);

  hint(LWXPTAG_FOCUS, std::int64_t{-1});
  for (const auto& row : rows) {
    if (row.is_drawing) {
      hint(LWXPTAG_CONFIGURE, control(row), none, full_size);
      hint(LWXPTAG_DRAWCALLBACK, control(row), row.has_own_drawing ? row.draw : functions.draw_logo);
    }
    if (row.is_version) hint(LWXPTAG_DIVIDER, control(row), none);
  }
  for (const auto& row : rows) {
    if (!row.is_popup) continue;
    hint(LWXPTAG_POPFUNCS, control(row), row.has_own_entries ? row.popup_count : functions.popup_count,
         row.has_own_entries ? row.popup_name : functions.popup_name);
  }
  for (const auto& row : rows) {
    if (row.has_texts) hint(LWXPTAG_STRLIST, control(row), row.texts, none);
    if (row.has_divider && !row.is_version) hint(LWXPTAG_DIVIDER, control(row), none);
  }
  for (int times = most_sensitivity_hints; times > 0; --times) {
    for (const auto& row : rows)
      if (row.sensitivity_hints >= times) hint(LWXPTAG_SENSITIVITY, control(row), std::int64_t{1});
  }
  for (const auto& row : rows) {
    if (!row.has_limits) continue;
    hint(LWXPTAG_MIN, control(row), row.lowest);
    hint(LWXPTAG_MAX, control(row), row.highest);
  }
  add(HintWord());
}

/// A panel as the host takes it: its tables end with a row, its hints with a word of zero.
struct PanelTables {
  const LWXPanelControl* controls;
  const LWXPanelDataDesc* data;
  const HintWord* hints;
  LWXPanelGetFunc* get;
  LWXPanelSetFunc* set;
};

/// The tables of a panel, made by the compiler; they stay for as long as the module is loaded. `rows`, an array, and
/// `functions` are constants of the camera.
template <const auto& rows, const auto& functions>
class PanelMaker {
  using Row = typename std::remove_cvref_t<decltype(rows)>::value_type;

  template <class Record, class Make>
  static constexpr auto records_of(Make make) {
    std::array<Record, rows.size() + 1> records{};
    std::size_t next = 0;
    for (const Row& row : rows) make(row, records, next);
    return records;
  }

  static constexpr auto controls = records_of<LWXPanelControl>([](const Row& row, auto& records, std::size_t& next) {
    if (row.shown()) records[next++] = {row.id, row.label, row.control_class};
  });

  static constexpr auto data = records_of<LWXPanelDataDesc>([](const Row& row, auto& records, std::size_t& next) {
    if (row.shown() && row.data_name != nullptr) records[next++] = {row.id, row.data_name, row.data_type};
  });

  static constexpr std::size_t hint_word_count = [] {
    std::size_t count = 0;
    for_each_hint_word(rows, functions, [&](HintWord) { ++count; });
    return count;
  }();

  static constexpr auto hints = [] {
    std::array<HintWord, hint_word_count> words{};
    std::size_t next = 0;
    for_each_hint_word(rows, functions, [&](HintWord word) { words[next++] = word; });
    return words;
  }();

 public:
  static constexpr PanelTables tables{controls.data(), data.data(), hints.data(), functions.get, functions.set};
};

/// Makes the host's panel over an instance. Null when the host refuses. Threads: the host's main thread.
LWXPanelID open_panel(const LWXPanelFuncs* xpanf, const PanelTables& tables, void* instance);

/// Gives a panel one more list of hints, which the host may keep the address of. Threads: the host's main thread.
void give_hints(const LWXPanelFuncs* xpanf, LWXPanelID panel, const HintWord* hints);

/// Paints the maker's mark into a thumbnail: black, with the mark 20 pixels in from the left, in rows 1 to 60.
void draw_logo(const LWXPanelFuncs* xpanf, void* area, int width, int height);

}  // namespace framework
