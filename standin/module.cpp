#include "standin/module.h"

#include <stdexcept>

#include "standin/host.h"
#include "standin/name_list.h"

namespace standin {
namespace {

constexpr std::uint32_t expected_sync = 0x04121994;
constexpr std::uint32_t expected_version = 3;
constexpr std::uint32_t expected_machine = 0x300;

void expect_word(const std::filesystem::path& file, const char* name, std::uint32_t found, std::uint32_t expected) {
  if (found != expected) {
    throw std::runtime_error(file.string() + " is no module of this host: its word " + name + " is " + std::to_string(found) +
                             " where this host needs " + std::to_string(expected));
  }
}

const ModuleDescriptor* checked_descriptor(const DynamicLibrary& library, const std::filesystem::path& file) {
  const auto* descriptor = library.find_as<const ModuleDescriptor>("_mod_descrip");
  if (descriptor == nullptr) {
    throw std::runtime_error(file.string() + " is no module of this host: it exports no _mod_descrip");
  }
  expect_word(file, "sysSync", descriptor->sysSync, expected_sync);
  expect_word(file, "sysVersion", descriptor->sysVersion, expected_version);
  expect_word(file, "sysMachine", descriptor->sysMachine, expected_machine);
  if (descriptor->startup == nullptr || descriptor->shutdown == nullptr || descriptor->serverDefs == nullptr) {
    throw std::runtime_error(file.string() + " is no module of this host: its descriptor lacks start-up, shut-down or servers");
  }
  return descriptor;
}

}  // namespace

std::string Server::user_name(std::uint32_t tag) const {
  for (const UserName& user_name : user_names) {
    if (user_name.tag == tag) {
      return user_name.text;
    }
  }
  return {};
}

Module::Module(const std::filesystem::path& file)
    : file_(file), library_(file), descriptor_(checked_descriptor(library_, file)) {
  for (const ServerRecord* row = descriptor_->serverDefs; row->className != nullptr; ++row) {
    Server server{row->className, row->name != nullptr ? row->name : "", row->activate, {}};
    for (const ServerTagInfo* tag = row->tagInfo; tag != nullptr && tag->text != nullptr; ++tag) {
      server.user_names.push_back({tag->tag, tag->text});
    }
    servers_.push_back(std::move(server));
  }
  server_data_ = descriptor_->startup();
}

Module::~Module() {
  if (Host* host = Host::current()) {
    host->forget_module(this);
  }
  descriptor_->shutdown(server_data_);
}

const Server* Module::find(const std::string& class_name, const std::string& server_name) const {
  for (const Server& server : servers_) {
    if (server.class_name == class_name && server.name == server_name) {
      return &server;
    }
  }
  return nullptr;
}

const Server& Module::server(const std::string& class_name, const std::string& server_name) const {
  if (const Server* server = find(class_name, server_name)) {
    return *server;
  }
  std::vector<std::string> names;
  for (const Server& server : servers_) {
    if (server.class_name == class_name) {
      names.push_back(server.name);
    }
  }
  throw std::runtime_error("The module has no " + class_name + " called \"" + server_name + "\"; it has: " + joined(names));
}

int Module::activate(const Server& server, int version, void* local) const {
  return server.activate(version, Host::global(), local, server_data_);
}

void require_activated(int answer, const Server& server) {
  if (answer == AFUNC_OK) {
    return;
  }
  const std::string refusal = answer == AFUNC_BADVERSION  ? "it does not know this version of the class; use a newer module"
                              : answer == AFUNC_BADGLOBAL ? "the host does not offer a service that it needs"
                              : answer == AFUNC_BADLOCAL  ? "it does not accept the record it was given"
                                                          : "its answer is " + std::to_string(answer);
  throw std::runtime_error(server.class_name + " \"" + server.name + "\" cannot be activated: " + refusal);
}

}  // namespace standin
