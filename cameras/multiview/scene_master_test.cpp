#include <algorithm>
#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>

#include "sdk/host.h"
#include "standin/host/module.h"
#include "tests/support/stage.h"

namespace scene_master_test {

using test_support::Stage;

/// The host's record of a master handler, with its parts.
struct Master {
  Master() {
    handler.inst = &instance;
    handler.item = &item;
    instance.priv = this;
    item.useItems = [](LWInstance) -> const LWItemID* { return nullptr; };
    item.changeID = [](LWInstance, const LWItemID*) {};
  }
  LWInstanceFuncs instance{};
  LWItemFuncs item{};
  LWMasterHandler handler{};
};

class SceneMaster : public testing::Test {
 protected:
  SceneMaster() : activate(stage.module.library().find_as<ActivateFunc>("_ZN11SceneMaster13MasterHandlerEiPFPvPKciES0_S0_")) {}
  void SetUp() override { ASSERT_NE(activate, nullptr); }

  Stage stage;
  ActivateFunc* activate;
  Master master;
};

TEST_F(SceneMaster, FillsTheHostsRecord) {
  ASSERT_EQ(activate(5, standin::Host::global(), &master.handler, stage.module.server_data()), AFUNC_OK);
  EXPECT_EQ(master.handler.inst, &master.instance);
  EXPECT_EQ(master.handler.item, &master.item);
  EXPECT_EQ(master.item.useItems, nullptr);
  EXPECT_EQ(master.item.changeID, nullptr);
  EXPECT_EQ(master.handler.type, 1);
  const std::array<void*, 8> filled{
      reinterpret_cast<void*>(master.instance.create), reinterpret_cast<void*>(master.instance.destroy),
      reinterpret_cast<void*>(master.instance.copy),   reinterpret_cast<void*>(master.instance.load),
      reinterpret_cast<void*>(master.instance.save),   reinterpret_cast<void*>(master.instance.descln),
      reinterpret_cast<void*>(master.handler.event),   reinterpret_cast<void*>(master.handler.flags)};
  const std::array names{"_ZN11SceneMaster8C_CreateEPvS0_PPKc",
                         "_ZN11SceneMaster9C_DestroyEPv",
                         "_ZN11SceneMaster6C_CopyEPvS0_",
                         "_ZN11SceneMaster6C_LoadEPvPK11LWLoadState",
                         "_ZN11SceneMaster6C_SaveEPvPK11LWSaveState",
                         "_ZN11SceneMaster10C_DescribeEPv",
                         "_ZN11SceneMaster7C_EventEPvPK14LWMasterAccess",
                         "_ZN11SceneMaster7C_FlagsEPv"};
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_NE(filled[i], nullptr) << names[i];
    EXPECT_EQ(filled[i], stage.module.library().find(names[i])) << names[i];
  }
}

TEST_F(SceneMaster, WrongVersionIsRefusedAndChangesNothing) {
  for (const int version : {-1, 0, 4, 6}) {
    EXPECT_EQ(activate(version, standin::Host::global(), &master.handler, nullptr), AFUNC_BADVERSION);
    EXPECT_EQ(master.instance.create, nullptr);
    EXPECT_NE(master.item.useItems, nullptr);
    EXPECT_EQ(master.handler.type, 0);
  }
  EXPECT_EQ(activate(5, standin::Host::global(), nullptr, nullptr), AFUNC_BADLOCAL);
}

TEST_F(SceneMaster, KeepsNothingAndRefusesCopies) {
  ASSERT_EQ(activate(5, standin::Host::global(), &master.handler, nullptr), AFUNC_OK);
  LWError error = nullptr;
  EXPECT_EQ(master.instance.create(nullptr, nullptr, &error), nullptr);
  EXPECT_EQ(error, nullptr);
  master.instance.destroy(nullptr);
  int anything = 0;
  for (void* side : {static_cast<void*>(nullptr), static_cast<void*>(&anything)})
    EXPECT_STREQ(master.instance.copy(side, &anything), "Only one of DualCam, 4UpCam, or 12UpCam allowed in a scene");
  EXPECT_EQ(master.instance.load(nullptr, nullptr), nullptr);
  EXPECT_EQ(master.instance.save(nullptr, nullptr), nullptr);
  EXPECT_STREQ(master.instance.descln(nullptr), "Quorin OviCam Master v4.0.0.22 ");
  EXPECT_EQ(master.handler.flags(nullptr), 3U);
}

TEST_F(SceneMaster, TellsTheModuleBlockTheHostOnceTheVersionIsAccepted) {
  std::array<void*, 2> block{nullptr, nullptr};
  EXPECT_EQ(activate(4, standin::Host::global(), &master.handler, block.data()), AFUNC_BADVERSION);
  EXPECT_EQ(block[1], nullptr);
  EXPECT_EQ(activate(5, standin::Host::global(), &master.handler, block.data()), AFUNC_OK);
  EXPECT_EQ(block[1], reinterpret_cast<void*>(standin::Host::global()));
  EXPECT_EQ(block[0], nullptr);
}

TEST_F(SceneMaster, WritesEventCodesToStandardOutput) {
  ASSERT_EQ(activate(5, standin::Host::global(), &master.handler, nullptr), AFUNC_OK);
  testing::internal::CaptureStdout();
  for (const int code : {0, 17, -3}) {
    const LWMasterAccess access{code, nullptr};
    EXPECT_EQ(master.handler.event(nullptr, &access), 0.0);
  }
  EXPECT_EQ(master.handler.event(nullptr, nullptr), 0.0);
  // The module's own stream, which is this program's.
  ASSERT_EQ(std::fflush(stdout), 0);
  std::string written = testing::internal::GetCapturedStdout();
  std::erase(written, '\r');
  EXPECT_EQ(written, "Event 0\nEvent 17\nEvent -3\n");
}

TEST_F(SceneMaster, IsOfferedByNoServer) {
  for (const standin::Server& server : stage.module.servers()) {
    EXPECT_NE(server.activate, activate) << server.name;
    EXPECT_NE(server.class_name, "MasterHandler");
  }
}

TEST_F(SceneMaster, RuleIsNotEnforced) {
  const bool* active = stage.module.library().find_as<const bool>("bMulticamActive");
  ASSERT_NE(active, nullptr);
  EXPECT_FALSE(*active);
  const std::array servers{"QuorinMultiCam", "Quorin4UpCam", "Quorin12UpCam"};
  for (const char* first : servers) {
    for (const char* second : servers) {
      auto one = stage.create(first, "Other 1");
      auto two = stage.create(second, "Other 2");
      EXPECT_TRUE(*active);
      two.reset();
      EXPECT_FALSE(*active) << "after the end of " << second << ", with " << first << " still alive";
      one.reset();
      EXPECT_FALSE(*active);
    }
  }
}

}  // namespace scene_master_test
