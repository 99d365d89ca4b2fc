#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "framework/host_services.h"
#include "framework/parameters.h"

namespace framework {

inline constexpr const char* version_text = "v4.0.0.22 Oct 28 2026";

/// One row of a camera's panel, and what it shows.
template <class Lens>
struct PanelRow {
  enum class Binding { drawing, text, envelope, word, number, plain_number };

  std::uint32_t id;
  const char* label;
  /// Null: the panel has no such control, but the value is still answered for its ID.
  const char* control_class;
  /// Null: a drawing, which has no value.
  const char* data_name;
  const char* data_type;
  Binding binding;
  double Lens::*value = nullptr;
  std::uint32_t Lens::*word = nullptr;
  double minimum = 0.0;
  double maximum = 0.0;
  const char* text = nullptr;

  constexpr bool shown() const { return control_class != nullptr; }
};

template <class Lens>
constexpr PanelRow<Lens> drawing_row(std::uint32_t id) {
  return {id, "Logo", "dThumbnail", nullptr, nullptr, PanelRow<Lens>::Binding::drawing};
}

template <class Lens>
constexpr PanelRow<Lens> version_row(std::uint32_t id) {
  return {.id = id,
          .label = "Version",
          .control_class = "sInfo",
          .data_name = "Version",
          .data_type = "string",
          .binding = PanelRow<Lens>::Binding::text,
          .text = version_text};
}

/// A text that no control shows: only its ID is answered.
template <class Lens>
constexpr PanelRow<Lens> hidden_text_row(std::uint32_t id, const char* text) {
  return {.id = id,
          .label = nullptr,
          .control_class = nullptr,
          .data_name = nullptr,
          .data_type = nullptr,
          .binding = PanelRow<Lens>::Binding::text,
          .text = text};
}

/// The host edits the envelope itself. `data_name` where it differs from the label.
template <class Lens>
constexpr PanelRow<Lens> envelope_row(std::uint32_t id, const char* label, const char* control_class, double Lens::*value,
                                      const char* data_name = nullptr) {
  return {
      id,   label, control_class, data_name != nullptr ? data_name : label, control_class, PanelRow<Lens>::Binding::envelope,
      value};
}

/// The host camera's own zoom factor.
template <class Lens>
constexpr PanelRow<Lens> zoom_row(std::uint32_t id, double Lens::*value) {
  return {id, "ZoomFactor", "zoomfactor-env", "ZoomFactor", "float-env", PanelRow<Lens>::Binding::envelope, value};
}

/// An envelope without a control: only its ID is answered.
template <class Lens>
constexpr PanelRow<Lens> hidden_envelope_row(std::uint32_t id, double Lens::*value) {
  return {id, nullptr, nullptr, nullptr, nullptr, PanelRow<Lens>::Binding::envelope, value};
}

/// A 32-bit word, stored as the panel gives it. `data_name` where it differs from the label.
template <class Lens>
constexpr PanelRow<Lens> word_row(std::uint32_t id, const char* label, const char* control_class, std::uint32_t Lens::*word,
                                  const char* data_name = nullptr) {
  return {id,      label, control_class, data_name != nullptr ? data_name : label, "integer", PanelRow<Lens>::Binding::word,
          nullptr, word};
}

template <class Lens>
constexpr PanelRow<Lens> hidden_word_row(std::uint32_t id, std::uint32_t Lens::*word) {
  return {id, nullptr, nullptr, nullptr, nullptr, PanelRow<Lens>::Binding::word, nullptr, word};
}

/// A plain number that the panel clamps, and whose envelope follows it.
template <class Lens>
constexpr PanelRow<Lens> number_row(std::uint32_t id, const char* label, double Lens::*value, double minimum, double maximum) {
  return {id, label, "float", label, "float", PanelRow<Lens>::Binding::number, value, nullptr, minimum, maximum};
}

/// A number without an envelope, stored as the panel gives it.
template <class Lens>
constexpr PanelRow<Lens> plain_number_row(std::uint32_t id, const char* label, const char* control_class, double Lens::*value) {
  return {id, label, control_class, label, "float", PanelRow<Lens>::Binding::plain_number, value};
}

/// A word of a hint list: a tag, a control, a number, a table or a function.
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

/// One hint: its tag and arguments.
template <class... Arguments>
constexpr auto hint(LWXPanelHint tag, Arguments... arguments) {
  return std::array{HintWord(std::int64_t{tag}), HintWord(arguments)...};
}

/// Hints one after the other, ended by a zero word.
template <std::size_t... Counts>
constexpr auto hint_list(const std::array<HintWord, Counts>&... hints) {
  std::array<HintWord, (Counts + ... + 1)> list{};
  std::size_t next = 0;
  const auto append = [&](const auto& words) {
    for (const HintWord& word : words) list[next++] = word;
  };
  (append(hints), ...);
  return list;
}

constexpr auto no_focus() { return hint(LWXPTAG_FOCUS, std::int64_t{-1}); }
constexpr auto divider_after(std::int64_t control) { return hint(LWXPTAG_DIVIDER, control, std::int64_t{0}); }
constexpr auto sensitivity(std::int64_t control) { return hint(LWXPTAG_SENSITIVITY, control, std::int64_t{1}); }
constexpr auto minimum(std::int64_t control, std::int64_t value) { return hint(LWXPTAG_MIN, control, value); }
constexpr auto maximum(std::int64_t control, std::int64_t value) { return hint(LWXPTAG_MAX, control, value); }
constexpr auto popup(std::int64_t control, LWXPanelPopCountFunc* count, LWXPanelPopNameFunc* name) {
  return hint(LWXPTAG_POPFUNCS, control, count, name);
}
/// `texts` ends with null.
constexpr auto choices(std::int64_t control, const char* const* texts) {
  return hint(LWXPTAG_STRLIST, control, texts, std::int64_t{0});
}
/// A thumbnail in its full size.
constexpr auto full_size(std::int64_t control) {
  return hint(LWXPTAG_CONFIGURE, control, std::int64_t{0}, static_cast<std::int64_t>(0xFFFFFFFF80000001U));
}
constexpr auto drawn_by(std::int64_t control, LWXPanelDrawFunc* draw) { return hint(LWXPTAG_DRAWCALLBACK, control, draw); }

/// What a panel is made of, as the host takes it. The tables end with a row, or a word, of zero.
struct PanelTables {
  const LWXPanelControl* controls;
  const LWXPanelDataDesc* data;
  const HintWord* hints;
  LWXPanelGetFunc* get;
  LWXPanelSetFunc* set;
};

template <class Lens, std::size_t Count>
constexpr std::array<LWXPanelControl, Count + 1> panel_controls(const std::array<PanelRow<Lens>, Count>& rows) {
  std::array<LWXPanelControl, Count + 1> controls{};
  std::size_t next = 0;
  for (const auto& row : rows) {
    if (row.shown()) controls[next++] = {row.id, row.label, row.control_class};
  }
  return controls;
}

template <class Lens, std::size_t Count>
constexpr std::array<LWXPanelDataDesc, Count + 1> panel_data(const std::array<PanelRow<Lens>, Count>& rows) {
  std::array<LWXPanelDataDesc, Count + 1> data{};
  std::size_t next = 0;
  for (const auto& row : rows) {
    if (row.shown() && row.data_name != nullptr) data[next++] = {row.id, row.data_name, row.data_type};
  }
  return data;
}

/// What a row shows: the address of its value, its envelope, or its text; null for an ID that the panel does not know.
template <class Instance, class Rows>
void* panel_value(Instance& instance, const Rows& rows, std::uint32_t id) {
  for (const auto& row : rows) {
    using Binding = decltype(row.binding);
    if (row.id != id) continue;
    switch (row.binding) {
      case Binding::drawing:
        return nullptr;
      case Binding::text:
        return const_cast<char*>(row.text);
      case Binding::envelope:
        return instance.envelope(row.value);
      case Binding::word:
        return &(instance.lens.*row.word);
      case Binding::number:
      case Binding::plain_number:
        return &(instance.lens.*row.value);
    }
  }
  return nullptr;
}

/// Stores what the panel hands over for a row that holds a plain value; an envelope row needs no store.
template <class Instance, class Rows>
void set_panel_value(Instance& instance, const Rows& rows, std::uint32_t id, const void* value) {
  for (const auto& row : rows) {
    using Binding = decltype(row.binding);
    if (row.id != id) continue;
    if (row.binding == Binding::word) instance.lens.*row.word = *static_cast<const std::uint32_t*>(value);
    if (row.binding == Binding::plain_number) instance.lens.*row.value = *static_cast<const double*>(value);
    if (row.binding == Binding::number) {
      double& number = instance.lens.*row.value;
      number = *static_cast<const double*>(value);
      // Written so that what is not a number becomes the minimum.
      if (!(number >= row.minimum)) number = row.minimum;
      if (number > row.maximum) number = row.maximum;
      set_envelope(instance.host().vparmf, instance.envelope(row.value), number);
    }
  }
}

/// Makes the host's panel over an instance. Null when the host refuses. Threads: the host's main thread.
LWXPanelID open_panel(const LWXPanelFuncs* xpanf, const PanelTables& tables, void* instance);

/// Gives a panel one more list of hints, which the host may keep the address of. Threads: the host's main thread.
void give_hints(const LWXPanelFuncs* xpanf, LWXPanelID panel, const HintWord* hints);

/// A camera that follows the life of its panels says what it does by functions of these names for its own instances; the
/// others take no notice. The instance may be gone when its panel is closed. Threads: the host's main thread.
inline void panel_opened(const void* /*instance*/, LWXPanelID /*panel*/) {}
inline void panel_closed(const void* /*instance*/) {}

/// Paints the maker's mark into a thumbnail: black, with the mark 20 pixels in from the left, in rows 1 to 60.
void draw_logo(const LWXPanelFuncs* xpanf, void* area, int width, int height);

}  // namespace framework
