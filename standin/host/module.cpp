#include "standin/host/module.h"

#include <array>
#include <stdexcept>
#include <string_view>

#include "sdk/handlers.h"
#include "standin/host/host.h"
#include "standin/scene/name_list.h"

namespace standin {
namespace {

constexpr std::uint32_t expected_sync = 0x04121994;
constexpr std::uint32_t expected_version = 3;
constexpr std::uint32_t expected_machine = 0x300;

void expect_word(const std::filesystem::path& file, const char* name, std::uint32_t found, std::uint32_t expected) {
  if (found != expected) {
    throw std::runtime_error(file.string() + " is not a module of this host: its word " + name + " is " +
                             std::to_string(found) + ", but this host needs " + std::to_string(expected));
  }
}

const ModuleDescriptor* checked_descriptor(const DynamicLibrary& library, const std::filesystem::path& file) {
  const auto* descriptor = library.find_as<const ModuleDescriptor>("_mod_descrip");
  if (descriptor == nullptr)
    throw std::runtime_error(file.string() + " is not a module of this host: it does not export _mod_descrip");
  expect_word(file, "sysSync", descriptor->sysSync, expected_sync);
  expect_word(file, "sysVersion", descriptor->sysVersion, expected_version);
  expect_word(file, "sysMachine", descriptor->sysMachine, expected_machine);
  if (descriptor->startup == nullptr || descriptor->shutdown == nullptr || descriptor->serverDefs == nullptr) {
    throw std::runtime_error(file.string() +
                             " is not a module of this host: its descriptor lacks start-up, shut-down or servers");
  }
  return descriptor;
}

/// A camera that a module may carry without a row in its table, and the namespace of its activations.
struct UnregisteredCamera {
  const char* name;
  const char* user_name;
  std::string_view name_space;
};

constexpr std::array unregistered_cameras{UnregisteredCamera{"QuorinBakingCam", "Quorin Surface Baking Camera", "BakingCam"}};

/// An activation by its mangled name, which is the same on both systems; null when the module does not export it.
ActivateFunc* exported_activation(const DynamicLibrary& library, std::string_view name_space, std::string_view function) {
  const auto with_length = [](std::string_view name) { return std::to_string(name.size()).append(name); };
  const std::string symbol = "_ZN" + with_length(name_space) + with_length(function) + "EiPFPvPKciES0_S0_";
  return library.find_as<ActivateFunc>(symbol.c_str());
}

std::vector<Server> find_unregistered_servers(const DynamicLibrary& library) {
  std::vector<Server> servers;
  for (const UnregisteredCamera& camera : unregistered_cameras) {
    // Each activation has the name of its class.
    for (const char* class_name : {LWCAMERA_HANDLER_CLASS, LWCAMERA_INTERFACE_CLASS, LWCAMERA_GIZMO_CLASS})
      if (ActivateFunc* activate = exported_activation(library, camera.name_space, class_name))
        servers.push_back({class_name, camera.name, activate, {{SRVTAG_USERNAME_US, camera.user_name}}});
  }
  return servers;
}

}  // namespace

std::string Server::user_name(std::uint32_t tag) const {
  for (const UserName& user_name : user_names)
    if (user_name.tag == tag) return user_name.text;
  return {};
}

Module::Module(const std::filesystem::path& file)
    : file_(file), library_(file), descriptor_(checked_descriptor(library_, file)) {
  for (const ServerRecord* row = descriptor_->serverDefs; row->className != nullptr; ++row) {
    Server server{row->className, row->name != nullptr ? row->name : "", row->activate, {}};
    for (const ServerTagInfo* tag = row->tagInfo; tag != nullptr && tag->text != nullptr; ++tag)
      server.user_names.push_back({tag->tag, tag->text});
    servers_.push_back(std::move(server));
  }
  unregistered_servers_ = find_unregistered_servers(library_);
  server_data_ = descriptor_->startup();
}

Module::~Module() {
  if (Host* host = Host::current()) host->forget_module(this);
  descriptor_->shutdown(server_data_);
}

const Server* Module::find(const std::string& class_name, const std::string& server_name) const {
  for (const auto* servers : {&servers_, &unregistered_servers_}) {
    for (const Server& server : *servers)
      if (server.class_name == class_name && server.name == server_name) return &server;
  }
  return nullptr;
}

const Server& Module::server(const std::string& class_name, const std::string& server_name) const {
  if (const Server* server = find(class_name, server_name)) return *server;
  std::vector<std::string> names;
  for (const Server& server : servers_)
    if (server.class_name == class_name) names.push_back(server.name);
  throw std::runtime_error("The module has no " + class_name + " called \"" + server_name + "\"; it has: " + joined(names));
}

int Module::activate(const Server& server, int version, void* local) const {
  return server.activate(version, Host::global(), local, server_data_);
}

void require_activated(int answer, const Server& server) {
  if (answer == AFUNC_OK) return;
  const std::string refusal = answer == AFUNC_BADVERSION  ? "it does not know this version of the class; use a newer module"
                              : answer == AFUNC_BADGLOBAL ? "the host does not offer a service that it needs"
                              : answer == AFUNC_BADLOCAL  ? "it does not accept the record it was given"
                                                          : "its answer is " + std::to_string(answer);
  throw std::runtime_error(server.class_name + " \"" + server.name + "\" cannot be activated: " + refusal);
}

}  // namespace standin
