#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "sdk/panels.h"
#include "standin/host/audit.h"
#include "standin/host/handle_table.h"
#include "standin/host/picture.h"

namespace standin {

struct PanelControl {
  std::uint32_t id = 0;
  std::string label;
  std::string control_class;

  friend bool operator==(const PanelControl&, const PanelControl&) = default;
};

struct PanelData {
  std::uint32_t id = 0;
  std::string name;
  std::string type;

  friend bool operator==(const PanelData&, const PanelData&) = default;
};

/// One hint: its tag, its fixed arguments, and the list after them where the tag announces one.
struct PanelHint {
  std::uint32_t tag = 0;
  std::vector<std::uintptr_t> arguments;
  std::vector<std::uintptr_t> list;

  std::uint32_t control() const { return arguments.empty() ? 0 : static_cast<std::uint32_t>(arguments[0]); }
};

/// One array of hints as the module handed it over: word by word, without the zero at its end.
struct PanelHintWords {
  std::uint32_t control = 0;
  std::vector<std::uintptr_t> words;
  /// Where they lie: a host may keep the address and read them again for as long as the panel is there.
  void* const* address = nullptr;
};

/// Splits an array of hint words as its tags say. Throws std::runtime_error at a word that is not a tag.
std::vector<PanelHint> parse_hints(void* const* words);

/// A panel as the module described it, and how a person uses it. Values pass through the module's get and set, as in
/// the host. Threads: one.
class Panel {
 public:
  LWXPanelID id = nullptr;
  int type = 0;
  std::vector<PanelControl> controls;
  std::vector<PanelData> data;
  /// Where the module keeps their tables: a host may keep the addresses and read them again while the panel is there.
  const LWXPanelControl* control_rows = nullptr;
  const LWXPanelDataDesc* data_rows = nullptr;
  std::vector<PanelHint> hints;
  /// In the order in which they came.
  std::vector<PanelHintWords> hint_words;
  LWXPanelGetFunc* get_function = nullptr;
  LWXPanelSetFunc* set_function = nullptr;
  void* instance = nullptr;
  std::unordered_map<std::uint32_t, void*> stored_data;

  /// The control with that label, or id; throws std::runtime_error listing the labels.
  const PanelControl& control(const std::string& label) const;
  const PanelControl& control(std::uint32_t control_id) const;
  /// Null: the control has no data.
  const PanelData* data_of(std::uint32_t control_id) const;
  /// Every hint with that tag whose first argument is the control, or every one with that tag when the control is null.
  std::vector<const PanelHint*> hints_of(LWXPanelHint tag, std::optional<std::uint32_t> control_id = {}) const;

  /// What the module's get returns for the id: null when the module does not know it.
  void* get(std::uint32_t control_id) const;
  /// These throw std::runtime_error when get returns null.
  int get_integer(std::uint32_t control_id) const;
  double get_float(std::uint32_t control_id) const;
  std::string get_text(std::uint32_t control_id) const;
  LWVParmID get_envelope(std::uint32_t control_id) const;

  /// Calls the module's set; returns how much the host is to redraw.
  LWXPanelRefresh set(std::uint32_t control_id, void* value) const;
  LWXPanelRefresh set_integer(std::uint32_t control_id, int value) const;
  LWXPanelRefresh set_float(std::uint32_t control_id, double value) const;

  /// Popup entries, from a fixed list or from the module's popup callbacks; empty when the control has neither.
  std::vector<std::string> choices(std::uint32_t control_id) const;

  /// Runs the control's draw callback. Throws std::runtime_error when it has none.
  Picture draw(std::uint32_t control_id, int width, int height) const;

 private:
  void* require_value(std::uint32_t control_id) const;
};

/// The panels that the module has created and not destroyed.
class PanelService {
 public:
  HandleTable<Panel, LWXPanelID, 0x1A02> table;
  /// Makes `create` return null.
  Refusal refusal;
  /// Destroys a panel and sends its destroy notifications; returns whether it was alive.
  bool destroy(LWXPanelID id);
  /// The area that a draw callback is currently painting.
  Picture* area = nullptr;
};

}  // namespace standin
