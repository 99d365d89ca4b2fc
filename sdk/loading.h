#pragma once

/// What the host reads from a module file: its descriptor, its servers, and how a server is activated.

#include "sdk/types.h"

extern "C" {

/// `use`: one of the LWGlobalUse values. Returns null when the host does not offer the service.
using GlobalFunc = void*(const char* service, int use);

using ActivateFunc = int(int version, GlobalFunc* global, void* local, void* serverData);

struct ServerTagInfo {
  const char* text;
  std::uint32_t tag;
};

struct ServerRecord {
  const char* className;
  const char* name;
  ActivateFunc* activate;
  const ServerTagInfo* tagInfo;
};

struct ModuleDescriptor {
  std::uint32_t sysSync;
  std::uint32_t sysVersion;
  std::uint32_t sysMachine;
  void* (*startup)();
  void (*shutdown)(void* serverData);
  const ServerRecord* serverDefs;
};
}

enum LWGlobalUse : int { GFUSE_TRANSIENT = 0, GFUSE_ACQUIRE = 1, GFUSE_RELEASE = 2 };
enum LWActivation : int { AFUNC_OK = 0, AFUNC_BADVERSION = 1, AFUNC_BADGLOBAL = 2, AFUNC_BADLOCAL = 3 };

/// The tags of the two user-name rows of every server.
inline constexpr std::uint32_t SRVTAG_USERNAME_US = 0x409;
inline constexpr std::uint32_t SRVTAG_USERNAME_UK = 0x809;

static_assert(sizeof(ServerTagInfo) == 16 && offsetof(ServerTagInfo, tag) == 8);
static_assert(sizeof(ServerRecord) == 32 && offsetof(ServerRecord, activate) == 16 && offsetof(ServerRecord, tagInfo) == 24);
static_assert(sizeof(ModuleDescriptor) == 40 && offsetof(ModuleDescriptor, startup) == 16);
static_assert(offsetof(ModuleDescriptor, shutdown) == 24 && offsetof(ModuleDescriptor, serverDefs) == 32);
