#include "standin/host/panel.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "standin/host/services.h"
#include "standin/scene/name_list.h"

namespace standin {
namespace {

/// Every tag begins with these bits.
constexpr std::uint32_t tag_bits = 0x3D000000;
constexpr std::uint32_t tag_mask = 0xFF000000;
constexpr std::uint32_t argument_count_mask = 0x7F;
constexpr std::uint32_t list_follows = 0x80;

std::string text_or_nothing(const char* text) { return text != nullptr ? text : ""; }

std::vector<PanelControl> read_controls(const LWXPanelControl* rows) {
  std::vector<PanelControl> controls;
  for (const LWXPanelControl* row = rows; row->id != 0; ++row)
    controls.push_back({row->id, text_or_nothing(row->label), text_or_nothing(row->controlClass)});
  return controls;
}

std::vector<PanelData> read_data(const LWXPanelDataDesc* rows) {
  std::vector<PanelData> data;
  for (const LWXPanelDataDesc* row = rows; row != nullptr && row->id != 0; ++row)
    data.push_back({row->id, text_or_nothing(row->name), text_or_nothing(row->dataType)});
  return data;
}

LWXPanelID create(int type, LWXPanelControl* controls) {
  Host* host = Host::current();
  if (host == nullptr || controls == nullptr || host->panels.refusal.refuses()) return nullptr;
  if (type != LWXP_VIEW && type != LWXP_FORM) {
    violation("LWXPanel create", "the type " + std::to_string(type) + " is not one of the host's");
    return nullptr;
  }
  auto panel = std::make_unique<Panel>();
  panel->type = type;
  panel->control_rows = controls;
  panel->controls = read_controls(controls);
  for (std::size_t i = 0; i < panel->controls.size(); ++i) {
    const PanelControl& control = panel->controls[i];
    if (control.control_class.empty())
      violation("LWXPanel create", "the control " + std::to_string(control.id) + " has no class");
    for (std::size_t other = 0; other < i; ++other)
      if (panel->controls[other].id == control.id)
        violation("LWXPanel create", "two controls have the ID " + std::to_string(control.id));
  }
  LWXPanelID id = host->panels.table.add(std::move(panel));
  if (Panel* made = host->panels.table.find(id)) made->id = id;
  return id;
}

void destroy(LWXPanelID id) {
  Host* host = Host::current();
  if (host == nullptr) return;
  if (!host->panels.destroy(id))
    violation("LWXPanel destroy", "the handle " + handle_text(id) + " is stale or was never given out");
}

Panel* require_panel(LWXPanelID id, const char* call) { return require(&Host::panels, id, call); }

void describe(LWXPanelID id, LWXPanelDataDesc* rows, LWXPanelGetFunc* get, LWXPanelSetFunc* set) {
  Panel* panel = require_panel(id, "LWXPanel describe");
  if (panel == nullptr) return;
  panel->data_rows = rows;
  panel->data = read_data(rows);
  panel->get_function = get;
  panel->set_function = set;
}

/// The number of words that the hints were split from, without the terminating zero.
std::size_t word_count(const std::vector<PanelHint>& hints) {
  std::size_t count = 0;
  for (const PanelHint& hint : hints) {
    count += 1 + hint.arguments.size();
    if ((hint.tag & list_follows) != 0) count += hint.list.size() + 1;
  }
  return count;
}

void hint(LWXPanelID id, std::uint32_t control, void** hints) {
  Panel* panel = require_panel(id, "LWXPanel hint");
  if (panel == nullptr || hints == nullptr) return;
  try {
    const std::vector<PanelHint> parsed = parse_hints(hints);
    panel->hints.insert(panel->hints.end(), parsed.begin(), parsed.end());
    PanelHintWords& handed = panel->hint_words.emplace_back(PanelHintWords{control, {}, hints});
    for (std::size_t i = 0, count = word_count(parsed); i < count; ++i)
      handed.words.push_back(reinterpret_cast<std::uintptr_t>(hints[i]));
  } catch (const std::exception& error) {
    violation("LWXPanel hint", error.what());
  }
}

void* get_data(LWXPanelID id, std::uint32_t data_id) {
  const Panel* panel = require_panel(id, "LWXPanel getData");
  if (panel == nullptr) return nullptr;
  const auto found = panel->stored_data.find(data_id);
  return found != panel->stored_data.end() ? found->second : nullptr;
}

void set_data(LWXPanelID id, std::uint32_t data_id, void* data) {
  if (Panel* panel = require_panel(id, "LWXPanel setData")) panel->stored_data[data_id] = data;
}

void view_instance(LWXPanelID id, void* instance) {
  if (Panel* panel = require_panel(id, "LWXPanel viewInst")) panel->instance = instance;
}

/// Reads every value again, as the host does: while the module is still in the call that asked for it.
void view_refresh(LWXPanelID id) {
  const Panel* panel = require_panel(id, "LWXPanel viewRefresh");
  if (panel == nullptr) return;
  // Not by reference: what the module does now may change the panel.
  for (const PanelData& row : std::vector<PanelData>(panel->data)) {
    const Panel* present = Host::current()->panels.table.find(id);
    if (present == nullptr) return;
    void* value = present->get(row.id);
    if (row.type.ends_with("-env") && value != nullptr)
      require(&Host::parameters, static_cast<LWVParmID>(value), "LWXPanel viewRefresh");
  }
}
void view_rebuild(LWXPanelID id) { require_panel(id, "LWXPanel viewRebuild"); }
int post(LWXPanelID id) { return require_panel(id, "LWXPanel post") != nullptr ? 1 : 0; }
int open(LWXPanelID id) { return require_panel(id, "LWXPanel open") != nullptr ? 1 : 0; }

void* form_get(LWXPanelID /*panel*/, std::uint32_t /*id*/) {
  violation("LWXPanel formGet", "this host has no forms");
  return nullptr;
}

void form_set(LWXPanelID /*panel*/, std::uint32_t /*id*/, void* /*value*/) {
  violation("LWXPanel formSet", "this host has no forms");
}

/// The picture being drawn, or null after recording the violation.
Picture* require_area(void* area, const char* call) {
  const Host* host = Host::current();
  if (host == nullptr || area == nullptr || host->panels.area != area) {
    violation(call, "the area " + handle_text(area) + " is not the one being drawn");
    return nullptr;
  }
  return host->panels.area;
}

std::uint8_t byte(int level) { return static_cast<std::uint8_t>(std::clamp(level, 0, 255)); }
Picture::Color rgb(int red, int green, int blue) { return {byte(red), byte(green), byte(blue)}; }
/// The host's numbered interface colours, as a row of greys.
Picture::Color numbered(int color) { return rgb(color * 16, color * 16, color * 16); }

void draw_pixel(void* area, int color, int x, int y) {
  if (Picture* picture = require_area(area, "LWXPanel drawPixel")) picture->set(x, y, numbered(std::clamp(color, 0, 15)));
}

void draw_rgb_pixel(void* area, int red, int green, int blue, int x, int y) {
  if (Picture* picture = require_area(area, "LWXPanel drawRGBPixel")) picture->set(x, y, rgb(red, green, blue));
}

void draw_line(void* area, int color, int x, int y, int x2, int y2) {
  if (Picture* picture = require_area(area, "LWXPanel drawLine"))
    picture->line(x, y, x2, y2, numbered(std::clamp(color, 0, 15)));
}

void draw_box(void* area, int color, int x, int y, int width, int height) {
  if (Picture* picture = require_area(area, "LWXPanel drawBox"))
    picture->fill(x, y, width, height, numbered(std::clamp(color, 0, 15)));
}

void draw_rgb_box(void* area, int red, int green, int blue, int x, int y, int width, int height) {
  if (Picture* picture = require_area(area, "LWXPanel drawRGBBox")) picture->fill(x, y, width, height, rgb(red, green, blue));
}

void draw_border(void* area, int /*indent*/, int x, int y, int width, int height) {
  if (Picture* picture = require_area(area, "LWXPanel drawBorder")) {
    const Picture::Color color = rgb(255, 255, 255);
    picture->fill(x, y, width, 1, color);
    picture->fill(x, y + height - 1, width, 1, color);
    picture->fill(x, y, 1, height, color);
    picture->fill(x + width - 1, y, 1, height, color);
  }
}

/// The size of a character in the host's interface font.
int text_width(void* /*area*/, const char* text) { return 7 * static_cast<int>(std::string_view(text).size()); }
int text_height(void* /*area*/, const char* /*text*/) { return 14; }

void draw_text(void* area, const char* text, int /*color*/, int x, int y) {
  if (Picture* picture = require_area(area, "LWXPanel drawText")) picture->texts.push_back({text, x, y});
}

ServiceTable<LWXPDrawFuncs>& draw_table() {
  static ServiceTable<LWXPDrawFuncs> handed(LWXPDrawFuncs{draw_pixel, draw_rgb_pixel, draw_line, draw_box, draw_rgb_box,
                                                          draw_border, text_width, text_height, draw_text});
  return handed;
}

LWXPanelFuncs panel_table() {
  return {3,        draw_table().address(), create,       destroy, describe, hint,        get_data, set_data, form_get,
          form_set, view_instance,          view_refresh, post,    open,     view_rebuild};
}

}  // namespace

std::vector<PanelHint> parse_hints(void* const* words) {
  // Far more than any panel has; an array without an end would be read for ever.
  constexpr std::size_t most_words = 65536;
  std::size_t position = 0;
  const auto next = [&] {
    if (position == most_words) throw std::runtime_error("the array of hints has no end");
    return reinterpret_cast<std::uintptr_t>(words[position++]);
  };
  std::vector<PanelHint> hints;
  for (std::uintptr_t word = next(); word != LWXPTAG_END; word = next()) {
    PanelHint hint;
    hint.tag = static_cast<std::uint32_t>(word);
    if ((hint.tag & tag_mask) != tag_bits)
      throw std::runtime_error("word " + std::to_string(position - 1) + " of the hints is not a tag");
    for (std::uint32_t i = 0; i < (hint.tag & argument_count_mask); ++i) hint.arguments.push_back(next());
    if ((hint.tag & list_follows) != 0)
      for (std::uintptr_t entry = next(); entry != 0; entry = next()) hint.list.push_back(entry);
    hints.push_back(std::move(hint));
  }
  return hints;
}

const PanelControl& Panel::control(const std::string& label) const {
  std::vector<std::string> labels;
  for (const PanelControl& control : controls) {
    if (control.label == label) return control;
    labels.push_back(control.label);
  }
  throw std::runtime_error("The panel has no control labelled \"" + label + "\"; it has: " + joined(labels));
}

const PanelControl& Panel::control(std::uint32_t control_id) const {
  for (const PanelControl& control : controls)
    if (control.id == control_id) return control;
  throw std::runtime_error("The panel has no control " + std::to_string(control_id));
}

const PanelData* Panel::data_of(std::uint32_t control_id) const {
  for (const PanelData& row : data)
    if (row.id == control_id) return &row;
  return nullptr;
}

std::vector<const PanelHint*> Panel::hints_of(LWXPanelHint tag, std::optional<std::uint32_t> control_id) const {
  std::vector<const PanelHint*> found;
  for (const PanelHint& hint : hints)
    if (hint.tag == static_cast<std::uint32_t>(tag) && (!control_id || hint.control() == *control_id)) found.push_back(&hint);
  return found;
}

void* Panel::get(std::uint32_t control_id) const {
  return get_function != nullptr ? get_function(instance, control_id) : nullptr;
}

void* Panel::require_value(std::uint32_t control_id) const {
  void* value = get(control_id);
  if (value == nullptr) throw std::runtime_error("The module gives no value for the control " + std::to_string(control_id));
  return value;
}

int Panel::get_integer(std::uint32_t control_id) const { return *static_cast<const int*>(require_value(control_id)); }
double Panel::get_float(std::uint32_t control_id) const { return *static_cast<const double*>(require_value(control_id)); }
std::string Panel::get_text(std::uint32_t control_id) const { return static_cast<const char*>(require_value(control_id)); }
LWVParmID Panel::get_envelope(std::uint32_t control_id) const { return static_cast<LWVParmID>(require_value(control_id)); }

LWXPanelRefresh Panel::set(std::uint32_t control_id, void* value) const {
  return set_function != nullptr ? static_cast<LWXPanelRefresh>(set_function(instance, control_id, value)) : LWXPRC_NONE;
}

LWXPanelRefresh Panel::set_integer(std::uint32_t control_id, int value) const { return set(control_id, &value); }
LWXPanelRefresh Panel::set_float(std::uint32_t control_id, double value) const { return set(control_id, &value); }

std::vector<std::string> Panel::choices(std::uint32_t control_id) const {
  std::vector<std::string> texts;
  if (const auto lists = hints_of(LWXPTAG_STRLIST, control_id); !lists.empty()) {
    for (const auto* text = reinterpret_cast<const char* const*>(lists.back()->arguments.at(1)); *text != nullptr; ++text)
      texts.emplace_back(*text);
  } else if (const auto callbacks = hints_of(LWXPTAG_POPFUNCS, control_id); !callbacks.empty()) {
    const auto count = reinterpret_cast<LWXPanelPopCountFunc*>(callbacks.back()->arguments.at(1));
    const auto name = reinterpret_cast<LWXPanelPopNameFunc*>(callbacks.back()->arguments.at(2));
    const auto found = stored_data.find(0);
    void* user_data = found != stored_data.end() ? found->second : nullptr;
    for (int index = 0, entries = count(user_data); index < entries; ++index) {
      const char* text = name(user_data, index);
      texts.emplace_back(text != nullptr ? text : "");
    }
  }
  return texts;
}

Picture Panel::draw(std::uint32_t control_id, int width, int height) const {
  const auto callbacks = hints_of(LWXPTAG_DRAWCALLBACK, control_id);
  Host* host = Host::current();
  if (callbacks.empty() || host == nullptr)
    throw std::runtime_error("The control " + std::to_string(control_id) + " has no draw callback");
  Picture picture(width, height);
  host->panels.area = &picture;
  reinterpret_cast<LWXPanelDrawFunc*>(callbacks.back()->arguments.at(1))(id, control_id, &picture, width, height);
  host->panels.area = nullptr;
  return picture;
}

bool PanelService::destroy(LWXPanelID id) {
  const std::unique_ptr<Panel> panel = table.take(id);
  if (panel == nullptr) return false;
  // Read again from where the module keeps them, as a host does that has not copied them.
  if (read_controls(panel->control_rows) != panel->controls || read_data(panel->data_rows) != panel->data)
    violation("LWXPanel create and describe", "the tables of a panel changed while it was open");
  for (const PanelHintWords& handed : panel->hint_words) {
    for (std::size_t i = 0; i < handed.words.size(); ++i) {
      if (reinterpret_cast<std::uintptr_t>(handed.address[i]) == handed.words[i]) continue;
      violation("LWXPanel hint", "the words of a panel's hints changed while it was open");
      return true;
    }
  }
  for (const PanelHintWords& handed : panel->hint_words) {
    for (const PanelHint& hint : parse_hints(handed.address)) {
      if (hint.tag != LWXPTAG_DESTROYNOTIFY) continue;
      reinterpret_cast<void (*)(void*)>(hint.arguments.at(0))(reinterpret_cast<void*>(hint.arguments.at(1)));
    }
  }
  return true;
}

Service panel_service() {
  static ServiceTable<LWXPanelFuncs> handed(panel_table());
  return {LWXPANELFUNCS_GLOBAL, handed.address(), [] { return handed.untouched() && draw_table().untouched(); }};
}

}  // namespace standin
