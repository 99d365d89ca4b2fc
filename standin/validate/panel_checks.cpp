#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "standin/host/gizmo_drawing.h"
#include "standin/validate/checks.h"
#include "standin/validate/stage.h"

namespace standin::validate {
namespace {

/// The classes of controls that the host has, and the type of the data that each of them shows; none for a drawing.
struct ControlClass {
  std::string_view name;
  std::string_view data_type;
};
constexpr std::array control_classes{ControlClass{"dThumbnail", ""},
                                     ControlClass{"sInfo", "string"},
                                     ControlClass{"sFileName", "string"},
                                     ControlClass{"sField", "string"},
                                     ControlClass{"iBoolean", "integer"},
                                     ControlClass{"iPopChoice", "integer"},
                                     ControlClass{"iChoice", "integer"},
                                     ControlClass{"integer", "integer"},
                                     ControlClass{"iSlider", "integer"},
                                     ControlClass{"iSliderText", "integer"},
                                     ControlClass{"float", "float"},
                                     ControlClass{"angle", "float"},
                                     ControlClass{"distance", "float"},
                                     ControlClass{"percent", "float"},
                                     ControlClass{"angle-env", "angle-env"},
                                     ControlClass{"distance-env", "distance-env"},
                                     ControlClass{"percent-env", "percent-env"},
                                     ControlClass{"float-env", "float-env"},
                                     ControlClass{"zoomfactor-env", "float-env"}};

const ControlClass* class_of(std::string_view name) {
  const auto found = std::ranges::find(control_classes, name, &ControlClass::name);
  return found != control_classes.end() ? &*found : nullptr;
}

constexpr std::array known_tags{LWXPTAG_FOCUS,        LWXPTAG_DESTROYNOTIFY, LWXPTAG_MIN,     LWXPTAG_MAX,
                                LWXPTAG_RANGE,        LWXPTAG_SENSITIVITY,   LWXPTAG_STRLIST, LWXPTAG_POPFUNCS,
                                LWXPTAG_DRAWCALLBACK, LWXPTAG_CONFIGURE,     LWXPTAG_DIVIDER};

std::string text_of(std::uint32_t id) { return "the control " + std::to_string(id); }

bool is_envelope(const std::string& type) { return type.ends_with("-env"); }

void check_tables(Context& context, const Panel& panel) {
  context.expect(!panel.controls.empty(), "The panel has no control");
  context.expect(panel.get_function != nullptr && panel.set_function != nullptr,
                 "describe: the function that gets or the one that sets values is null");
  std::set<std::uint32_t> ids;
  for (const PanelControl& control : panel.controls) {
    context.expect(ids.insert(control.id).second, "Two controls have the ID " + std::to_string(control.id));
    const ControlClass* known = class_of(control.control_class);
    context.expect(known != nullptr, text_of(control.id) + " has the unknown class \"" + control.control_class + "\"");
    const PanelData* data = panel.data_of(control.id);
    if (known == nullptr) continue;
    context.expect(data != nullptr || known->data_type.empty(), text_of(control.id) + " has no data");
    context.expect(data == nullptr || data->type == known->data_type,
                   text_of(control.id) + " of the class \"" + control.control_class + "\" has data of another kind");
  }
  std::set<std::uint32_t> described;
  for (const PanelData& row : panel.data) {
    context.expect(ids.contains(row.id), "Data is described for " + text_of(row.id) + ", which there is not");
    context.expect(described.insert(row.id).second, "Data is described twice for " + text_of(row.id));
  }
  for (const PanelHint& hint : panel.hints) {
    const bool known = std::ranges::any_of(known_tags, [&](LWXPanelHint tag) { return tag == hint.tag; });
    context.expect(known, "A hint has a tag that the host does not know: " + std::to_string(hint.tag));
    if (hint.tag == LWXPTAG_DESTROYNOTIFY || hint.tag == LWXPTAG_FOCUS) continue;
    context.expect(ids.contains(hint.control()), "A hint is about " + text_of(hint.control()) + ", which there is not");
  }
}

/// What a value is must be what its description says: the host reads through the pointer.
void check_values(Stage& stage, Panel& panel) {
  Context& context = stage.context;
  for (const PanelData& row : panel.data) {
    const Call call("a panel's value", {static_cast<double>(row.id)});
    void* value = panel.get(row.id);
    context.expect(value != nullptr, text_of(row.id) + " has no value");
    if (value == nullptr) continue;
    if (is_envelope(row.type))
      context.expect(stage.host.parameters.table.find(static_cast<LWVParmID>(value)) != nullptr,
                     text_of(row.id) + ": its value is not a variant parameter that is alive");
    else
      context.expect(stage.host.parameters.table.find(static_cast<LWVParmID>(value)) == nullptr,
                     text_of(row.id) + ": its value is a variant parameter, and described as something else");
    if (row.type == "string") {
      const auto* text = static_cast<const char*>(value);
      constexpr std::size_t longest = 1000;
      context.expect(strnlen(text, longest) < longest, text_of(row.id) + ": its text has no end");
    }
    if (row.type == "integer") {
      const int before = panel.get_integer(row.id);
      for (const int chosen : {1, 0, before}) {
        panel.set_integer(row.id, chosen);
        context.expect(panel.get_integer(row.id) == chosen, text_of(row.id) + ": another value comes back than was set");
      }
    }
    if (row.type == "float") {
      const double before = panel.get_float(row.id);
      context.expect(std::isfinite(before), text_of(row.id) + ": its value is not a number");
      panel.set_float(row.id, before);
      context.expect(panel.get_float(row.id) == before, text_of(row.id) + ": another value comes back than was set");
    }
    panel.set(row.id, nullptr);
  }
  for (const std::uint32_t unknown : {0U, 1U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    const Call call("the value of a control that there is not", {static_cast<double>(unknown)});
    context.expect(panel.get(unknown) == nullptr, "A control that there is not has a value");
    int number = 5;
    panel.set(unknown, &number);
  }
}

void check_popups(Stage& stage, Panel& panel) {
  Context& context = stage.context;
  const auto user_data = panel.stored_data.find(0);
  void* data = user_data != panel.stored_data.end() ? user_data->second : nullptr;
  for (const PanelControl& control : panel.controls) {
    const auto callbacks = panel.hints_of(LWXPTAG_POPFUNCS, control.id);
    if (callbacks.empty()) continue;
    const auto count = reinterpret_cast<LWXPanelPopCountFunc*>(callbacks.back()->arguments.at(1));
    const auto name = reinterpret_cast<LWXPanelPopNameFunc*>(callbacks.back()->arguments.at(2));
    const Call call("a pop-up's entries", {static_cast<double>(control.id)});
    const int entries = count(data);
    constexpr int most = 1000;
    context.expect(entries > 0 && entries < most,
                   text_of(control.id) + ": its pop-up has " + std::to_string(entries) + " entries");
    std::set<std::string> names;
    for (int entry = 0; entry < std::min(entries, most); ++entry) {
      const char* text = name(data, entry);
      context.expect(text != nullptr && *text != '\0', text_of(control.id) + ": an entry of its pop-up has no name");
      if (text != nullptr)
        context.expect(names.insert(text).second, text_of(control.id) + ": its pop-up has \"" + std::string(text) +
                                                      "\" twice, or counts more entries than it has");
    }
    for (const int wrong : {-1, entries, entries + 1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
      const Call outside("the name of an entry that a pop-up does not have", {static_cast<double>(wrong)});
      if (const char* text = name(data, wrong)) context.expect(std::strlen(text) < 1000, "A pop-up's text has no end");
    }
    const Call without("a pop-up's entries without user data");
    const int alone = count(nullptr);
    for (int entry = -1; entry <= alone; ++entry) name(nullptr, entry);
  }
}

void check_drawings(Context& context, Panel& panel) {
  for (const PanelControl& control : panel.controls) {
    if (panel.hints_of(LWXPTAG_DRAWCALLBACK, control.id).empty()) continue;
    for (const auto& [width, height] : {std::pair{300, 64}, std::pair{1000, 200}, std::pair{120, 64}, std::pair{40, 20},
                                        std::pair{8, 100}, std::pair{1, 1}}) {
      const Call call("a control's drawing",
                      {static_cast<double>(control.id), static_cast<double>(width), static_cast<double>(height)});
      const Picture picture = panel.draw(control.id, width, height);
      context.expect(picture.cut_off == 0, text_of(control.id) + ": it draws outside its area of " + std::to_string(width) +
                                               " x " + std::to_string(height) + " pixels");
    }
  }
}

// --- panel

void check_panel(Context& context) {
  Stage stage(context);
  if (stage.server(LWCAMERA_INTERFACE_CLASS) == nullptr) return;
  Instance camera(stage);
  Panel* panel = camera.panel();
  if (panel == nullptr) {
    context.fail("CameraInterface activation: it gives no panel");
    return;
  }
  context.numbers["controls"] = static_cast<double>(panel->controls.size());
  check_tables(context, *panel);
  if (context.failed()) return;
  context.expect(panel->instance == camera.raw(), "The panel does not show the instance that it was made for");
  check_values(stage, *panel);
  check_popups(stage, *panel);
  check_drawings(context, *panel);
  // A pop-up that lists cameras or objects follows the scene.
  const std::vector<PanelControl> controls = panel->controls;
  std::vector<std::size_t> before;
  before.reserve(controls.size());
  for (const PanelControl& control : controls) before.push_back(panel->choices(control.id).size());
  stage.host.add_camera("One more");
  for (std::size_t i = 0; i < controls.size(); ++i) {
    const std::vector<std::string> choices = panel->choices(controls[i].id);
    const bool lists_cameras = std::ranges::find(choices, "Other 1") != choices.end();
    context.expect(choices.size() == before[i] + (lists_cameras ? 1 : 0),
                   text_of(controls[i].id) + ": its pop-up does not follow the cameras of the scene");
  }
  check_popups(stage, *panel);
  // What a refresh comes back for while the module is still in a call.
  for (int round = 0; round < context.times(20); ++round) {
    camera.randomise();
    LoadState state(camera.save_binary());
    camera.load(state);
    for (const PanelData& row : panel->data) panel->get(row.id);
  }
}

// --- panel-lifetime

void check_panel_lifetime(Context& context) {
  Stage stage(context);
  if (stage.server(LWCAMERA_INTERFACE_CLASS) == nullptr) return;
  const auto use = [&](LWXPanelID id) {
    Panel* panel = stage.host.panels.table.find(id);
    if (panel == nullptr) return;
    for (const PanelData& row : panel->data) {
      const Call call("a panel's value", {static_cast<double>(row.id)});
      panel->get(row.id);
      int number = 1;
      if (row.type == "integer") panel->set(row.id, &number);
      panel->choices(row.id);
    }
  };
  for (int round = 0; round < context.times(20); ++round) {
    // Several panels over one instance, closed in any order.
    Instance camera(stage);
    std::vector<LWXPanelID> panels{camera.open_panel(), camera.open_panel(), camera.open_panel()};
    std::ranges::shuffle(panels, context.random);
    for (LWXPanelID panel : panels) {
      use(panel);
      camera.randomise();
      LoadState state(camera.save_binary());
      camera.load(state);
      const Call call("a panel's closing");
      stage.host.panels.destroy(panel);
    }
    camera.forget_panels();

    // A panel that outlives its instance, with another instance that may have its place.
    auto ended = std::make_unique<Instance>(stage, "Other 1");
    const LWXPanelID orphan = ended->open_panel();
    ended->forget_panels();
    ended.reset();
    use(orphan);
    Instance next(stage, "Other 2");
    next.panel();
    next.prepare();
    use(orphan);
    {
      const Call call("a panel's closing, after its instance's end");
      stage.host.panels.destroy(orphan);
    }
    next.evaluate(random_query(context, next.access()));
    next.clean_up();
  }
}

// --- gizmo

void check_gizmo(Context& context) {
  Stage stage(context);
  Instance camera(stage);
  const LWGizmoFuncs* functions = camera.gizmo();
  if (functions == nullptr) return;
  const auto use = [&](bool settled) {
    GizmoDrawing drawing;
    if (functions->draw != nullptr) {
      const Call call("gizmo draw");
      functions->draw(camera.raw(), &*drawing.access);
    }
    for (const GizmoElement& element : drawing.elements)
      for (const Vec3 point : element.points)
        context.expect(!settled || (std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z)),
                       "gizmo draw: after a frame, a corner is not a number");
    LWDVector position{};
    const Call call("a gizmo's callbacks");
    if (functions->help != nullptr)
      context.expect(functions->help(camera.raw(), nullptr) != nullptr, "gizmo help: it gives no text");
    if (functions->dirty != nullptr) functions->dirty(camera.raw());
    const int handles = functions->count != nullptr ? functions->count(camera.raw(), nullptr) : 0;
    context.expect(handles >= 0 && handles < 10000, "gizmo count: it is " + std::to_string(handles));
    if (functions->handle != nullptr)
      for (const int index : {-1, 0, handles, std::numeric_limits<int>::max()})
        functions->handle(camera.raw(), nullptr, index, position);
    if (functions->start != nullptr) functions->start(camera.raw(), nullptr);
    if (functions->adjust != nullptr) functions->adjust(camera.raw(), nullptr, 0);
    if (functions->down != nullptr) functions->down(camera.raw(), nullptr);
    if (functions->move != nullptr) functions->move(camera.raw(), nullptr);
    if (functions->up != nullptr) functions->up(camera.raw(), nullptr);
    if (functions->event != nullptr)
      for (const int code : {0, 1, -1, 1000}) functions->event(camera.raw(), code);
  };
  for (int round = 0; round < context.times(5); ++round) {
    if (round == 0) use(false);
    camera.randomise();
    use(false);
    camera.init();
    use(false);
    camera.prepare(round, 4);
    use(true);
    camera.evaluate(random_query(context, camera.access()));
    use(true);
    camera.clean_up();
    use(false);
  }
  const Call call("gizmo draw without a viewport");
  if (functions->draw != nullptr) {
    functions->draw(camera.raw(), nullptr);
    GizmoDrawing drawing;
    functions->draw(nullptr, &*drawing.access);
  }
}

}  // namespace

const std::vector<Test>& panel_checks() {
  static const std::vector<Test> checks{
      {"panel", "every control has a value of its kind, every hint and pop-up holds together", true, false, check_panel},
      {"panel-lifetime", "panels and instances end in any order", true, false, check_panel_lifetime},
      {"gizmo", "gizmos are drawn at any time", true, false, check_gizmo},
  };
  return checks;
}

}  // namespace standin::validate
