#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "sdk/loading.h"
#include "standin/host/dynamic_library.h"

namespace standin {

/// One row of a module's server table, or of a server that could have one.
struct Server {
  std::string class_name;
  std::string name;
  ActivateFunc* activate = nullptr;

  struct UserName {
    std::uint32_t tag = 0;
    std::string text;
  };
  /// In the table's order.
  std::vector<UserName> user_names;

  /// The first user name under that tag; empty when there is none.
  std::string user_name(std::uint32_t tag = SRVTAG_USERNAME_US) const;
};

/// A loaded module, started on construction and shut down on destruction. Outlives every instance of its servers.
/// Threads: one.
class Module {
 public:
  /// Loads the file, checks the descriptor's words and calls start-up once. Throws std::runtime_error with file and reason.
  explicit Module(const std::filesystem::path& file);
  ~Module();
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  const std::filesystem::path& file() const { return file_; }
  const DynamicLibrary& library() const { return library_; }
  const ModuleDescriptor& descriptor() const { return *descriptor_; }
  /// What start-up returned; every activation is handed it.
  void* server_data() const { return server_data_; }
  const std::vector<Server>& servers() const { return servers_; }

  /// Servers whose activations the module exports without a row in its table; this host knows their names.
  const std::vector<Server>& unregistered_servers() const { return unregistered_servers_; }

  /// Null when there is no such server, with or without a row in the table.
  const Server* find(const std::string& class_name, const std::string& server_name) const;

  /// The same; throws std::runtime_error listing the names of that class when there is no such server.
  const Server& server(const std::string& class_name, const std::string& server_name) const;

  /// Calls the server's activation with the global function of the current Host. Returns its answer (LWActivation).
  int activate(const Server& server, int version, void* local) const;

 private:
  std::filesystem::path file_;
  DynamicLibrary library_;
  const ModuleDescriptor* descriptor_ = nullptr;
  void* server_data_ = nullptr;
  std::vector<Server> servers_;
  std::vector<Server> unregistered_servers_;
};

/// Throws std::runtime_error naming server, reason and what a person can do when an activation's answer is not AFUNC_OK.
void require_activated(int answer, const Server& server);

}  // namespace standin
