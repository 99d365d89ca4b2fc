#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "standin/host/dynamic_library.h"
#include "tests/support/camera_facts.h"
#include "tests/support/exports.h"
#include "tests/support/paths.h"
#include "tests/support/stage.h"

namespace module_test {

using standin::Host;
using standin::Server;
using test_support::all_cameras;
using test_support::CameraFacts;
using test_support::exported_name;
using test_support::Stage;

constexpr std::array<const char*, 3> classes{LWCAMERA_HANDLER_CLASS, LWCAMERA_INTERFACE_CLASS, LWCAMERA_GIZMO_CLASS};
constexpr std::array<int, 3> versions{4, 5, 5};
constexpr unsigned render_node = 0x20000004U;

/// A row of the module's table for each class of each camera.
std::size_t server_count() { return all_cameras().size() * classes.size(); }

using Asked = std::vector<std::pair<std::string, int>>;

std::string activation_name(const CameraFacts& camera, const std::string& function) {
  return exported_name(camera.name_space, function, "iPFPvPKciES0_S0_");
}

/// Names of servers that no row of the table offers; programs may still look them up.
std::map<std::string, std::string> unregistered_tag_tables() {
  return {{"tagInfo13", "Quorin Camera Master"},
          {"tagInfo14", "Quorin MultiCam Imagesaver"},
          {"tagInfo15", "Quorin DoF No MB"},
          {"tagInfo21", "Quorin Surface Baking Camera"}};
}

/// The records of all three classes, filled with a pattern that tells what was written.
class Records {
 public:
  explicit Records(unsigned char pattern) : pattern_(pattern) {
    std::memset(static_cast<void*>(&instance), pattern, sizeof instance);
    std::memset(static_cast<void*>(&item), pattern, sizeof item);
    std::memset(static_cast<void*>(&render), pattern, sizeof render);
    std::memset(static_cast<void*>(&handler), pattern, sizeof handler);
    std::memset(static_cast<void*>(&interface), pattern, sizeof interface);
    std::memset(static_cast<void*>(&gizmo_functions), pattern, sizeof gizmo_functions);
    std::memset(static_cast<void*>(&gizmo), pattern, sizeof gizmo);
    handler.inst = &instance;
    handler.item = &item;
    handler.rend = &render;
    interface.inst = nullptr;
    gizmo.gizmo = &gizmo_functions;
  }

  void* local(const std::string& class_name) {
    if (class_name == LWCAMERA_HANDLER_CLASS) return &handler;
    if (class_name == LWCAMERA_INTERFACE_CLASS) return &interface;
    return &gizmo;
  }

  bool untouched() const {
    const Records fresh(pattern_);
    return same(instance, fresh.instance) && same(item, fresh.item) && same(render, fresh.render) &&
           handler.inst == &instance && handler.item == &item && handler.rend == &render &&
           same_tail(handler, fresh.handler, offsetof(LWCameraHandler, preview)) && same(interface, fresh.interface) &&
           same(gizmo_functions, fresh.gizmo_functions) && gizmo.gizmo == &gizmo_functions &&
           std::memcmp(&gizmo.instance, &fresh.gizmo.instance, sizeof gizmo.instance) == 0 &&
           std::memcmp(&gizmo.pickItems, &fresh.gizmo.pickItems, sizeof gizmo.pickItems) == 0;
  }

  LWInstanceFuncs instance;
  LWItemFuncs item;
  LWRenderFuncs render;
  LWCameraHandler handler;
  LWInterface interface;
  LWGizmoFuncs gizmo_functions;
  LWGizmo gizmo;

 private:
  template <class Record>
  static bool same(const Record& a, const Record& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
  }
  template <class Record>
  static bool same_tail(const Record& a, const Record& b, std::size_t from) {
    return std::memcmp(reinterpret_cast<const char*>(&a) + from, reinterpret_cast<const char*>(&b) + from, sizeof a - from) ==
           0;
  }

  unsigned char pattern_;
};

/// What start-up returns: the module's text, and the word that every activation fills.
struct Block {
  const char* banner;
  GlobalFunc* global;
};

Block& block_of(const standin::Module& module) { return *static_cast<Block*>(module.server_data()); }

class ModuleTest : public testing::Test {
 protected:
  /// The rows of a camera, in the order of `classes`.
  const Server& row(std::size_t camera, std::size_t server_class) const {
    return stage.module.servers().at(camera * classes.size() + server_class);
  }

  int activate(const Server& server, int version, Records& records) const {
    return stage.module.activate(server, version, records.local(server.class_name));
  }

  /// Leaves the camera's namespace without the panel service, whoever activated it before in this process.
  void forget_panel_service(std::size_t camera) {
    // A render node goes without it.
    stage.host.set_system_id(LWSYS_SCREAMERNET);
    stage.host.withhold(LWXPANELFUNCS_GLOBAL);
    Records records(0);
    EXPECT_EQ(activate(row(camera, 0), 4, records), AFUNC_OK);
    stage.host.offer(LWXPANELFUNCS_GLOBAL);
    stage.host.set_system_id(LWSYS_LAYOUT);
  }

  Asked asked_since(std::size_t before) const {
    const Asked all = stage.host.services_asked();
    return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
  }

  /// Panels that activations made over no instance.
  void destroy_panels() {
    std::vector<LWXPanelID> panels;
    stage.host.panels.table.for_each([&](LWXPanelID id, standin::Panel&) { panels.push_back(id); });
    for (LWXPanelID id : panels) stage.host.panels.destroy(id);
  }

  void TearDown() override { destroy_panels(); }

  Stage stage;
};

TEST_F(ModuleTest, DescriptorTellsProtocolAndMachine) {
  const auto* words = stage.module.library().find_as<const std::uint32_t>("_mod_descrip");
  ASSERT_NE(words, nullptr);
  EXPECT_EQ(words[0], 0x04121994U);
  EXPECT_EQ(words[1], 3U);
  EXPECT_EQ(words[2], 0x300U);
}

TEST_F(ModuleTest, DescriptorNamesTheExportedFunctionsAndTable) {
  const ModuleDescriptor& descriptor = stage.module.descriptor();
  EXPECT_EQ(reinterpret_cast<void*>(descriptor.startup), stage.module.library().find("Startup"));
  EXPECT_EQ(reinterpret_cast<void*>(descriptor.shutdown), stage.module.library().find("Shutdown"));
  EXPECT_EQ(static_cast<const void*>(descriptor.serverDefs), stage.module.library().find("ServerDesc"));
}

TEST_F(ModuleTest, ServerTableListsEveryCameraInThreeClasses) {
  const auto& servers = stage.module.servers();
  ASSERT_EQ(servers.size(), server_count());
  for (std::size_t i = 0; i < servers.size(); ++i) {
    const CameraFacts& camera = all_cameras()[i / classes.size()];
    SCOPED_TRACE("row " + std::to_string(i));
    EXPECT_EQ(servers[i].class_name, classes[i % classes.size()]);
    EXPECT_EQ(servers[i].name, camera.server_name);
    ASSERT_EQ(servers[i].user_names.size(), 2U);
    EXPECT_EQ(servers[i].user_names[0].tag, 0x409U);
    EXPECT_EQ(servers[i].user_names[0].text, camera.user_name);
    EXPECT_EQ(servers[i].user_names[1].tag, 0x809U);
    EXPECT_EQ(servers[i].user_names[1].text, camera.user_name);
  }
}

TEST_F(ModuleTest, ServerTableEndsWithARowOfNulls) {
  const ServerRecord& last = stage.module.descriptor().serverDefs[server_count()];
  EXPECT_EQ(last.className, nullptr);
  EXPECT_EQ(last.name, nullptr);
  EXPECT_EQ(last.activate, nullptr);
  EXPECT_EQ(last.tagInfo, nullptr);
}

TEST_F(ModuleTest, ThreeServersOfACameraShareItsExportedTagTable) {
  const ServerRecord* rows = stage.module.descriptor().serverDefs;
  for (std::size_t i = 0; i < server_count(); ++i) {
    const CameraFacts& camera = all_cameras()[i / classes.size()];
    EXPECT_EQ(static_cast<const void*>(rows[i].tagInfo), stage.module.library().find(camera.tag_table.c_str()))
        << "row " << i << ", " << camera.tag_table;
  }
}

TEST_F(ModuleTest, TagTablesPairTheSameNameUnderBothTags) {
  std::map<std::string, std::string> names = unregistered_tag_tables();
  for (const CameraFacts& camera : all_cameras())
    EXPECT_TRUE(names.emplace(camera.tag_table, camera.user_name).second) << camera.tag_table << " is shared";
  for (const auto& [table, name] : names) {
    SCOPED_TRACE(table);
    const auto* tags = stage.module.library().find_as<const ServerTagInfo>(table.c_str());
    ASSERT_NE(tags, nullptr);
    EXPECT_STREQ(tags[0].text, name.c_str());
    EXPECT_EQ(tags[0].tag, 0x409U);
    EXPECT_STREQ(tags[1].text, name.c_str());
    EXPECT_EQ(tags[1].tag, 0x809U);
    EXPECT_EQ(tags[2].text, nullptr);
    EXPECT_EQ(tags[2].tag, 0U);
  }
}

TEST_F(ModuleTest, UnregisteredTagTablesServeNoServer) {
  const ServerRecord* rows = stage.module.descriptor().serverDefs;
  for (const auto& [table, name] : unregistered_tag_tables()) {
    const void* tags = stage.module.library().find(table.c_str());
    ASSERT_NE(tags, nullptr) << table;
    for (std::size_t i = 0; i < server_count(); ++i)
      EXPECT_NE(static_cast<const void*>(rows[i].tagInfo), tags) << table << ", row " << i;
  }
}

TEST_F(ModuleTest, PlainNamesAreExportedForOtherPrograms) {
  for (const char* name : {"Startup",
                           "Shutdown",
                           "ServerDesc",
                           "_mod_descrip",
                           "QrmLink_SidecarPath",
                           "QrmLink_Write",
                           "QrmLink_WriteEx",
                           "QrmLink_WriteEx2",
                           "QrmLink_WriteEx3",
                           "QrmLink_WriteEx4",
                           "QrmLink_WriteEx5",
                           "QrmLink_WriteEx6",
                           "QrmLink_Read",
                           "Eul_",
                           "Eul_ToQuat",
                           "Eul_ToHMatrix",
                           "Eul_FromHMatrix",
                           "Eul_FromQuat",
                           "appendMessageToFile",
                           "writeMessageToFile",
                           "readMessageFromFile",
                           "bMulticamActive",
                           "bOverscanCamActive"}) {
    EXPECT_NE(stage.module.library().find(name), nullptr) << name;
  }
}

TEST_F(ModuleTest, RowsActivateTheFunctionsOfTheirNamespaces) {
  for (std::size_t i = 0; i < all_cameras().size(); ++i) {
    const CameraFacts& camera = all_cameras()[i];
    const std::array functions{camera.handler_activation, camera.interface_activation, camera.gizmo_activation};
    for (std::size_t c = 0; c < classes.size(); ++c) {
      const std::string name = activation_name(camera, functions[c]);
      EXPECT_EQ(reinterpret_cast<void*>(row(i, c).activate), stage.module.library().find(name.c_str())) << name;
    }
  }
}

TEST_F(ModuleTest, CallbacksAreExportedUnderTheirNamespaces) {
  const std::vector<std::pair<std::string, std::string>> functions{
      {"C_Create", "PvS0_PPKc"},
      {"C_Destroy", "Pv"},
      {"C_Copy", "PvS0_"},
      {"C_Load", "PvPK11LWLoadState"},
      {"C_Save", "PvPK11LWSaveState"},
      {"C_Describe", "Pv"},
      {"C_Flags", "Pv"},
      {"C_InitRender", "Pvi"},
      {"C_CleanUp", "Pv"},
      {"C_NewTime", "Pvid"},
      {"C_NewFrame", "PvPK11LWFrameInfoPK14LWCameraAccess"},
      {"C_Preview", "Pvdd11LWCameraEyePA4_dPK14LWCameraAccess"},
      {"C_Project", "PvddPKdd11LWCameraEyePdPK14LWCameraAccess"},
      {"PanelGet", "Pvj"},
      {"PanelSet", "PvjS0_"},
      {"PanelControlDrawFunc", "P14LWXPanelOpaquejPvii"},
      {"OnPanelDestroy", "Pv"},
      {"Gizmo_help", "PvP11LWToolEvent"},
  };
  for (const CameraFacts& camera : all_cameras()) {
    for (const auto& [function, arguments] : functions) {
      const std::string name = exported_name(camera.name_space, function, arguments);
      EXPECT_NE(stage.module.library().find(name.c_str()), nullptr) << name;
    }
  }
}

TEST(Module, StartupReturnsANewBlockForEveryCall) {
  const standin::DynamicLibrary library(test_support::module_file());
  const auto startup = library.find_as<void*()>("Startup");
  const auto shutdown = library.find_as<void(void*)>("Shutdown");
  void* first = startup();
  void* second = startup();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first, second);
  EXPECT_GT(std::strlen(static_cast<Block*>(first)->banner), 0U);
  EXPECT_STREQ(static_cast<Block*>(first)->banner, static_cast<Block*>(second)->banner);
  shutdown(second);
  shutdown(first);
}

TEST(Module, ShutdownWithoutABlockReturns) {
  const standin::DynamicLibrary library(test_support::module_file());
  const auto shutdown = library.find_as<void(void*)>("Shutdown");
  shutdown(nullptr);
  void* block = library.find_as<void*()>("Startup")();
  EXPECT_NE(block, nullptr);
  shutdown(block);
  shutdown(nullptr);
}

TEST(Module, CanBeLoadedManyTimes) {
  for (int i = 0; i < 20; ++i) {
    const standin::Module module(test_support::module_file());
    EXPECT_EQ(module.servers().size(), server_count());
  }
}

TEST_F(ModuleTest, WrongVersionIsRefusedAndChangesNothing) {
  for (std::size_t i = 0; i < server_count(); ++i) {
    const Server& server = stage.module.servers()[i];
    const int right = versions[i % versions.size()];
    for (const int version : {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, 100, INT_MAX}) {
      if (version == right) continue;
      Records records(0xA5);
      block_of(stage.module).global = nullptr;
      EXPECT_EQ(activate(server, version, records), AFUNC_BADVERSION) << server.class_name << " " << server.name << version;
      EXPECT_TRUE(records.untouched()) << server.class_name << " " << server.name << " version " << version;
      EXPECT_EQ(block_of(stage.module).global, nullptr) << server.class_name << " " << server.name;
    }
  }
}

TEST_F(ModuleTest, EveryActivationTellsTheModuleBlockTheHost) {
  for (std::size_t i = 0; i < server_count(); ++i) {
    const Server& server = stage.module.servers()[i];
    const char* banner = block_of(stage.module).banner;
    block_of(stage.module).global = nullptr;
    Records records(0);
    EXPECT_EQ(activate(server, versions[i % versions.size()], records), AFUNC_OK) << server.class_name << " " << server.name;
    EXPECT_EQ(block_of(stage.module).global, Host::global()) << server.class_name << " " << server.name;
    EXPECT_EQ(block_of(stage.module).banner, banner);
  }
}

TEST_F(ModuleTest, HandlerFillsItsRecords) {
  for (std::size_t i = 0; i < all_cameras().size(); ++i) {
    SCOPED_TRACE(all_cameras()[i].server_name);
    Records records(0);
    // Whatever the item functions held, the module has none.
    std::memset(static_cast<void*>(&records.item), 0xA5, sizeof records.item);
    ASSERT_EQ(activate(row(i, 0), 4, records), AFUNC_OK);
    EXPECT_EQ(records.instance.priv, stage.module.server_data());
    EXPECT_NE(records.instance.create, nullptr);
    EXPECT_NE(records.instance.destroy, nullptr);
    EXPECT_NE(records.instance.copy, nullptr);
    EXPECT_NE(records.instance.load, nullptr);
    EXPECT_NE(records.instance.save, nullptr);
    EXPECT_NE(records.instance.descln, nullptr);
    EXPECT_EQ(records.item.useItems, nullptr);
    EXPECT_EQ(records.item.changeID, nullptr);
    EXPECT_NE(records.render.init, nullptr);
    EXPECT_NE(records.render.cleanup, nullptr);
    EXPECT_NE(records.render.newTime, nullptr);
    EXPECT_NE(records.handler.preview, nullptr);
    EXPECT_NE(records.handler.newFrame, nullptr);
    EXPECT_NE(records.handler.evaluate, nullptr);
    EXPECT_NE(records.handler.flags, nullptr);
    EXPECT_NE(records.handler.project, nullptr);
    EXPECT_EQ(records.handler.inst, &records.instance);
    EXPECT_EQ(records.handler.item, &records.item);
    EXPECT_EQ(records.handler.rend, &records.render);
  }
}

TEST_F(ModuleTest, HandlerAsksForItsServicesByNameAndUse) {
  const Asked common{{"LW Item Info 9", 0}, {"LW Camera Info 10", 0}, {"LW Time Info", 0}, {"LWXPanel 3", 0},
                     {"LWVParmFuncs 4", 0}, {"Info Messages 4", 0},   {"System ID", 0}};
  for (std::size_t i = 0; i < all_cameras().size(); ++i) {
    const CameraFacts& camera = all_cameras()[i];
    const std::size_t before = stage.host.services_asked().size();
    Records records(0);
    ASSERT_EQ(activate(row(i, 0), 4, records), AFUNC_OK);
    Asked asked = asked_since(before);
    Asked expected = common;
    if (camera.looks_through_other_cameras) expected.emplace_back("LW Camera Evaluation Funcs 4", 0);
    // The evaluation service may be asked for at any point.
    std::sort(asked.begin(), asked.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(asked, expected) << camera.server_name;
  }
}

TEST_F(ModuleTest, InterfaceAcquiresThePanelServiceUnlessTheNamespaceHasIt) {
  for (std::size_t i = 0; i < all_cameras().size(); ++i) {
    SCOPED_TRACE(all_cameras()[i].server_name);
    forget_panel_service(i);
    for (const Asked& expected : {Asked{{"LWXPanel 3", 1}, {"System ID", 0}}, Asked{{"System ID", 0}}}) {
      const std::size_t before = stage.host.services_asked().size();
      Records records(0xA5);
      ASSERT_EQ(activate(row(i, 1), 5, records), AFUNC_OK);
      EXPECT_EQ(asked_since(before), expected);
      EXPECT_NE(stage.host.panels.table.find(records.interface.panel), nullptr);
      EXPECT_EQ(records.interface.inst, nullptr);
      EXPECT_EQ(records.interface.options, nullptr);
      EXPECT_EQ(records.interface.command, nullptr);
    }
  }
}

TEST_F(ModuleTest, GizmoNeedsNoService) {
  for (std::size_t i = 0; i < all_cameras().size(); ++i) {
    Records records(0);
    ASSERT_EQ(activate(row(i, 2), 5, records), AFUNC_OK) << all_cameras()[i].server_name;
  }
  EXPECT_TRUE(stage.host.services_asked().empty());
}

TEST_F(ModuleTest, HandlerIsRefusedWithoutAServiceThatItNeeds) {
  for (const char* service :
       {"LW Item Info 9", "LW Camera Info 10", "LW Time Info", "LWXPanel 3", "LWVParmFuncs 4", "Info Messages 4"}) {
    stage.host.withhold(service);
    for (std::size_t i = 0; i < all_cameras().size(); ++i) {
      SCOPED_TRACE(all_cameras()[i].server_name + " without " + service);
      Records records(0xA5);
      block_of(stage.module).global = nullptr;
      EXPECT_EQ(activate(row(i, 0), 4, records), AFUNC_BADGLOBAL);
      EXPECT_TRUE(records.untouched());
      EXPECT_EQ(block_of(stage.module).global, Host::global());
    }
    stage.host.offer(service);
  }
}

TEST_F(ModuleTest, RefusedHandlerIsAcceptedOnceTheHostOffersTheService) {
  for (std::size_t i = 0; i < all_cameras().size(); ++i) {
    stage.host.withhold("LWVParmFuncs 4");
    Records records(0);
    EXPECT_EQ(activate(row(i, 0), 4, records), AFUNC_BADGLOBAL);
    stage.host.offer("LWVParmFuncs 4");
    EXPECT_EQ(activate(row(i, 0), 4, records), AFUNC_OK);
    EXPECT_NE(records.handler.evaluate, nullptr);
  }
}

TEST_F(ModuleTest, RenderNodeDoesWithoutMessagesEnvelopesAndPanels) {
  for (const char* service : {"Info Messages 4", "LWVParmFuncs 4", "LWXPanel 3"}) stage.host.withhold(service);
  for (const unsigned node : {0x20000000U, render_node, 0x2FFFFFFFU}) {
    stage.host.set_system_id(node);
    for (std::size_t i = 0; i < all_cameras().size(); ++i) {
      Records records(0);
      EXPECT_EQ(activate(row(i, 0), 4, records), AFUNC_OK) << all_cameras()[i].server_name << " on " << node;
    }
  }
}

TEST_F(ModuleTest, OtherProgramsOfTheHostAreNoRenderNode) {
  stage.host.withhold("LWXPanel 3");
  for (const unsigned program : {0x00000004U, 0x10000004U, 0x30000004U, 0x60000004U, 0x80000004U, 0xA0000004U}) {
    stage.host.set_system_id(program);
    for (std::size_t i = 0; i < all_cameras().size(); ++i) {
      Records records(0);
      EXPECT_EQ(activate(row(i, 0), 4, records), AFUNC_BADGLOBAL) << all_cameras()[i].server_name << " in " << program;
    }
  }
}

TEST_F(ModuleTest, RenderNodeStillNeedsItemsCamerasAndTime) {
  stage.host.set_system_id(render_node);
  for (const char* service : {"LW Item Info 9", "LW Camera Info 10", "LW Time Info"}) {
    stage.host.withhold(service);
    for (std::size_t i = 0; i < all_cameras().size(); ++i) {
      Records records(0xA5);
      EXPECT_EQ(activate(row(i, 0), 4, records), AFUNC_BADGLOBAL) << all_cameras()[i].server_name << " without " << service;
      EXPECT_TRUE(records.untouched());
    }
    stage.host.offer(service);
  }
}

TEST_F(ModuleTest, HostWithoutASystemIdCountsAsLayout) {
  stage.host.withhold("System ID");
  for (std::size_t i = 0; i < all_cameras().size(); ++i) {
    Records records(0);
    EXPECT_EQ(activate(row(i, 0), 4, records), AFUNC_OK) << all_cameras()[i].server_name;
  }
}

TEST_F(ModuleTest, EvaluationServiceMayBeMissing) {
  stage.host.withhold("LW Camera Evaluation Funcs 4");
  for (std::size_t i = 0; i < all_cameras().size(); ++i) {
    Records records(0);
    EXPECT_EQ(activate(row(i, 0), 4, records), AFUNC_OK) << all_cameras()[i].server_name;
  }
}

TEST_F(ModuleTest, InterfaceIsRefusedWithoutThePanelService) {
  for (std::size_t i = 0; i < all_cameras().size(); ++i) {
    SCOPED_TRACE(all_cameras()[i].server_name);
    forget_panel_service(i);
    stage.host.withhold("LWXPanel 3");
    Records records(0xA5);
    block_of(stage.module).global = nullptr;
    EXPECT_EQ(activate(row(i, 1), 5, records), AFUNC_BADGLOBAL);
    EXPECT_TRUE(records.untouched());
    EXPECT_EQ(block_of(stage.module).global, Host::global());
    stage.host.offer("LWXPanel 3");
  }
}

TEST_F(ModuleTest, InterfaceNeedsNothingButThePanelService) {
  for (const char* service : {"LW Item Info 9", "LW Camera Info 10", "LW Time Info", "LWVParmFuncs 4", "Info Messages 4",
                              "System ID", "LW Camera Evaluation Funcs 4"}) {
    stage.host.withhold(service);
  }
  for (std::size_t i = 0; i < all_cameras().size(); ++i) {
    Records records(0);
    EXPECT_EQ(activate(row(i, 1), 5, records), AFUNC_OK) << all_cameras()[i].server_name;
  }
}

TEST_F(ModuleTest, ActivationsWithoutAServerBlockOrRecordReturn) {
  for (std::size_t i = 0; i < server_count(); ++i) {
    const Server& server = stage.module.servers()[i];
    const int version = versions[i % versions.size()];
    Records records(0);
    EXPECT_EQ(server.activate(version, Host::global(), records.local(server.class_name), nullptr), AFUNC_OK) << server.name;
    EXPECT_NE(server.activate(version, Host::global(), nullptr, stage.module.server_data()), AFUNC_OK) << server.name;
  }
}

}  // namespace module_test
