#include <array>
#include <initializer_list>
#include <limits>
#include <set>
#include <string>
#include <string_view>

#include "standin/validate/checks.h"
#include "standin/validate/stage.h"

namespace standin::validate {
namespace {

constexpr std::array class_versions{std::pair{LWCAMERA_HANDLER_CLASS, LWCAMERA_HANDLER_VERSION},
                                    std::pair{LWCAMERA_INTERFACE_CLASS, LWCAMERA_INTERFACE_VERSION},
                                    std::pair{LWCAMERA_GIZMO_CLASS, LWCAMERA_GIZMO_VERSION}};

/// A record that is large enough for every class, with room for the tables that it points to.
struct LocalRecord {
  HandlerRecords handler;
  Guarded<LWInterface> interface;
  Guarded<LWGizmoFuncs> gizmo_functions;
  Guarded<LWGizmo> gizmo;

  LocalRecord() {
    make_untouched(*interface);
    make_untouched(*gizmo_functions);
    make_untouched(*gizmo);
    gizmo->gizmo = &*gizmo_functions;
    interface->inst = nullptr;
    gizmo->instance = nullptr;
  }
  void* of(std::string_view class_name) {
    if (class_name == LWCAMERA_HANDLER_CLASS) return &*handler.handler;
    if (class_name == LWCAMERA_INTERFACE_CLASS) return &*interface;
    return &*gizmo;
  }
  bool intact() const { return handler.intact() && interface.intact() && gizmo_functions.intact() && gizmo.intact(); }
};

int activate(Stage& stage, const Server& server, int version, GlobalFunc* global, void* local) {
  const Call call(server.class_name + " activation", {static_cast<double>(version)});
  return server.activate(version, global, local, stage.module().server_data());
}

// --- descriptor

void check_descriptor(Context& context) {
  Stage stage(context);
  const ServerRecord* row = stage.module().descriptor().serverDefs;
  std::set<std::pair<std::string, std::string>> seen;
  std::set<std::string> handlers;
  constexpr int most_rows = 10000;
  int rows = 0;
  for (; row->className != nullptr && rows < most_rows; ++row, ++rows) {
    const std::string class_name = row->className;
    const std::string at = "Row " + std::to_string(rows) + " of the server table";
    context.expect(row->name != nullptr && *row->name != '\0', at + " has no server name");
    if (row->name == nullptr) continue;
    context.expect(row->activate != nullptr, at + " has no activation");
    context.expect(seen.insert({class_name, row->name}).second, at + " repeats " + class_name + " \"" + row->name + "\"");
    for (const char* character = row->name; *character != '\0'; ++character)
      context.expect(static_cast<unsigned char>(*character) > ' ',
                     at + " has a blank in its server name, which scenes cannot hold");
    if (class_name == LWCAMERA_HANDLER_CLASS) handlers.insert(row->name);
    context.expect(row->tagInfo != nullptr, at + " has no user names");
    std::set<std::uint32_t> tags;
    constexpr int most_tags = 1000;
    int count = 0;
    for (const ServerTagInfo* tag = row->tagInfo; tag != nullptr && tag->text != nullptr && count < most_tags; ++tag, ++count) {
      context.expect(*tag->text != '\0', at + " has an empty user name");
      context.expect(tag->tag != 0, at + " has a user name without a tag");
      context.expect(tags.insert(tag->tag).second, at + " has two user names for one tag");
    }
    context.expect(count < most_tags, at + " has user names without an end");
    context.expect(tags.contains(SRVTAG_USERNAME_US), at + " has no user name in American English");
  }
  context.expect(rows < most_rows, "The server table has no end");
  context.expect(rows == most_rows || (row->name == nullptr && row->activate == nullptr && row->tagInfo == nullptr),
                 "The row that ends the server table is not all null");
  context.expect(!handlers.empty(), "The module offers no camera");
  for (const auto& [class_name, name] : seen)
    if (class_name == LWCAMERA_INTERFACE_CLASS || class_name == LWCAMERA_GIZMO_CLASS)
      context.expect(handlers.contains(name), class_name + " \"" + name + "\" has no CameraHandler of the same name");
  context.numbers["servers"] = rows;
}

// --- activation

void check_versions(Context& context) {
  Stage stage(context);
  for (const auto& [class_name, right] : class_versions) {
    const Server* server = stage.server(class_name);
    if (server == nullptr) continue;
    const std::string name = std::string(class_name) + " activation";
    for (const int version :
         {right - 1, right + 1, 0, -1, 1, 1000, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
      if (version == right) continue;
      LocalRecord record;
      const int answer = activate(stage, *server, version, Stage::global(), record.of(class_name));
      context.expect(answer == AFUNC_BADVERSION, name + ": for the unknown version " + std::to_string(version) +
                                                     " the answer is " + std::to_string(answer));
      context.expect(record.intact(), name + ": the module wrote past a record of the host");
    }
    LocalRecord record;
    context.expect(activate(stage, *server, right, Stage::global(), nullptr) == AFUNC_BADLOCAL,
                   name + ": without a record the answer is not \"bad local\"");
    if (std::string_view(class_name) == LWCAMERA_HANDLER_CLASS)
      context.expect(activate(stage, *server, right, nullptr, record.of(class_name)) == AFUNC_BADGLOBAL,
                     name + ": without the global function the answer is not \"bad global\"");
    else
      activate(stage, *server, right, nullptr, record.of(class_name));
    context.expect(record.intact(), name + ": the module wrote past a record of the host");
  }
}

template <class Function>
void expect_filled(Context& context, Function* function, const char* name, bool required) {
  context.expect(!is_untouched(function), std::string("CameraHandler activation: the callback \"") + name + "\" is left out");
  context.expect(!required || function != nullptr,
                 std::string("CameraHandler activation: the callback \"") + name + "\" is null");
}

void check_callbacks(Context& context) {
  Stage stage(context);
  const Server* server = stage.server(LWCAMERA_HANDLER_CLASS);
  HandlerRecords first;
  context.expect(activate(stage, *server, LWCAMERA_HANDLER_VERSION, Stage::global(), &*first.handler) == AFUNC_OK,
                 "CameraHandler activation: it is refused");
  const LWInstanceFuncs& instance = *first.instance;
  expect_filled(context, instance.create, "create", true);
  expect_filled(context, instance.destroy, "destroy", true);
  expect_filled(context, instance.copy, "copy", true);
  expect_filled(context, instance.load, "load", true);
  expect_filled(context, instance.save, "save", true);
  expect_filled(context, instance.descln, "describe", false);
  context.expect(!is_untouched(&instance.priv, sizeof instance.priv), "CameraHandler activation: the private data is left out");
  expect_filled(context, first.render->init, "init render", false);
  expect_filled(context, first.render->cleanup, "clean-up", false);
  expect_filled(context, first.render->newTime, "new time", false);
  expect_filled(context, first.item->useItems, "use items", false);
  expect_filled(context, first.item->changeID, "change ID", false);
  expect_filled(context, first.item->changeName, "change name", false);
  const LWCameraHandler& handler = *first.handler;
  expect_filled(context, handler.preview, "preview", false);
  expect_filled(context, handler.newFrame, "new frame", true);
  expect_filled(context, handler.evaluate, "evaluate", true);
  expect_filled(context, handler.flags, "flags", false);
  expect_filled(context, handler.project, "project", false);
  context.expect(handler.inst == &*first.instance && handler.item == &*first.item && handler.rend == &*first.render,
                 "CameraHandler activation: a pointer of the host's record was replaced");
  context.expect(first.intact(), "CameraHandler activation: the module wrote past a record of the host");

  HandlerRecords second;
  activate(stage, *server, LWCAMERA_HANDLER_VERSION, Stage::global(), &*second.handler);
  context.expect(std::memcmp(&*first.instance, &*second.instance, sizeof(LWInstanceFuncs)) == 0 &&
                     std::memcmp(&*first.render, &*second.render, sizeof(LWRenderFuncs)) == 0 &&
                     first.handler->evaluate == second.handler->evaluate && first.handler->project == second.handler->project,
                 "CameraHandler activation: the second one gives other callbacks than the first");

  if (const Server* gizmo_server = stage.server(LWCAMERA_GIZMO_CLASS)) {
    LocalRecord record;
    activate(stage, *gizmo_server, LWCAMERA_GIZMO_VERSION, Stage::global(), &*record.gizmo);
    const LWGizmoFuncs& functions = *record.gizmo_functions;
    constexpr std::size_t before_end = offsetof(LWGizmoFuncs, end);
    constexpr std::size_t word = sizeof(void*);
    for (std::size_t at = 0; at < before_end; at += word)
      context.expect(!is_untouched(reinterpret_cast<const std::byte*>(&functions) + at, word),
                     "CameraGizmo activation: the callback " + std::to_string(at / word) + " is left out");
    context.expect(is_untouched(functions.end), "CameraGizmo activation: the slot that is reserved for the host was written");
    context.expect(!is_untouched(record.gizmo->pickItems), "CameraGizmo activation: the callback \"pick items\" is left out");
    context.expect(record.intact(), "CameraGizmo activation: the module wrote past a record of the host");
  }
}

/// Whatever a host lacks, the module refuses, or it works without.
void check_missing_services(Context& context) {
  for (const char* service :
       {LWITEMINFO_GLOBAL, LWCAMERAINFO_GLOBAL, LWTIMEINFO_GLOBAL, LWXPANELFUNCS_GLOBAL, LWVPARMFUNCS_GLOBAL,
        LWMESSAGEFUNCS_GLOBAL, LWSYSTEMID_GLOBAL, LWCAMERAEVALUATION_GLOBAL, LWOBJECTFUNCS_GLOBAL, LWOBJECTINFO_GLOBAL}) {
    Stage stage(context);
    stage.host.withhold(service);
    HandlerRecords record;
    const Server* server = stage.server(LWCAMERA_HANDLER_CLASS);
    const int answer = activate(stage, *server, LWCAMERA_HANDLER_VERSION, Stage::global(), &*record.handler);
    context.expect(
        answer == AFUNC_OK || answer == AFUNC_BADGLOBAL,
        std::string("CameraHandler activation without \"") + service + "\": the answer is " + std::to_string(answer));
    if (answer != AFUNC_OK) continue;
    Instance camera(stage);
    camera.prepare();
    for (int i = 0; i < 20; ++i) camera.evaluate(random_query(context, camera.access()));
    camera.project({0.0, 0.0, 5.0}, 0.0, 0.0, 0.0, Eye::centre);
    camera.preview(0.0, 0.0, Eye::centre);
    camera.save_binary();
    camera.clean_up();
    camera.draw_gizmo();
    if (const Server* panel = stage.server(LWCAMERA_INTERFACE_CLASS)) {
      LocalRecord local;
      local.interface->inst = camera.raw();
      const int with_panel = activate(stage, *panel, LWCAMERA_INTERFACE_VERSION, Stage::global(), &*local.interface);
      if (with_panel == AFUNC_OK && local.interface->panel != nullptr) stage.host.panels.destroy(local.interface->panel);
    }
  }
}

void check_activation(Context& context) {
  check_versions(context);
  check_callbacks(context);
  check_missing_services(context);
}

// --- services

void check_services(Context& context) {
  Stage stage(context);
  {
    Instance camera(stage);
    camera.randomise();
    camera.prepare();
    for (int i = 0; i < 50; ++i) camera.evaluate(random_query(context, camera.access()));
    camera.clean_up();
    camera.draw_gizmo();
    const auto parameters = camera.parameters();
    std::set<std::string> channels;
    for (const VariantParameter* parameter : parameters) {
      context.expect(!parameter->channel_name.empty(), "A variant parameter has no channel name");
      context.expect(channels.insert(parameter->channel_name).second,
                     "Two variant parameters have the channel \"" + parameter->channel_name + "\"");
      context.expect(parameter->set_ups == 1, "The variant parameter \"" + parameter->channel_name + "\" is set up " +
                                                  std::to_string(parameter->set_ups) + " times");
    }
    context.numbers["variant parameters"] = static_cast<double>(parameters.size());
  }
  context.expect(stage.values_without_result == 0, "LWVParmFuncs getVal: it is called without room for the result");
  for (const auto& [service, uses] : stage.held_services)
    context.expect(uses >= 0, "The service \"" + service + "\" is released more often than acquired");
}

/// What is held after the module is gone has not been released.
void check_releases(Context& context) {
  std::map<std::string, int> held;
  {
    Stage stage(context);
    {
      Instance camera(stage);
      camera.panel();
      camera.draw_gizmo();
      camera.prepare();
      camera.clean_up();
    }
    // Shut-down may release as well.
    stage.unload();
    held = stage.held_services;
  }
  for (const auto& [service, uses] : held)
    context.expect(uses <= 0, "The service \"" + service + "\" is acquired and never released");
}

void check_all_of_services(Context& context) {
  check_services(context);
  check_releases(context);
}

// --- render-node

void check_render_node(Context& context) {
  Stage stage(context);
  stage.host.set_system_id(LWSYS_SCREAMERNET | 0x1234U);
  stage.host.withhold(LWXPANELFUNCS_GLOBAL);
  stage.host.withhold(LWMESSAGEFUNCS_GLOBAL);
  Instance camera(stage);
  {
    Instance other(stage, "Other 1");
    const std::vector<std::uint8_t> bytes = other.save_binary();
    LoadState state(bytes);
    camera.load(state);
  }
  for (const LWRenderMode mode : {LWRM_PREVIEW, LWRM_RENDER}) {
    camera.init(mode);
    for (int frame = 0; frame < 3; ++frame) {
      camera.begin_frame(frame, 0.01, 3);
      for (int i = 0; i < 20; ++i) {
        const Ray ray = camera.evaluate(random_query(context, camera.access()));
        context.expect(ray.result == 0 || ray.finite(), "On a render node, a ray is not made of finite numbers");
      }
    }
    camera.clean_up();
  }
  context.expect(stage.host.panels.table.alive() == 0, "On a render node the module opens a panel");
  context.expect(stage.host.messages().empty(), "On a render node the module shows a message");
}

}  // namespace

const std::vector<Test>& activation_checks() {
  static const std::vector<Test> checks{
      {"descriptor", "the server table, user names and their ends are well formed", false, false, check_descriptor},
      {"activation", "activations refuse what they must, and leave no callback out", true, false, check_activation},
      {"services", "services are known, set up once, and released", true, false, check_all_of_services},
      {"render-node", "a render node without panels and messages renders", true, false, check_render_node},
  };
  return checks;
}

}  // namespace standin::validate
