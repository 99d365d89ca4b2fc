#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "standin/scene/scene.h"

namespace standin {

/// Finds the object files of one scene as resolve_object_file does. It reads every folder once, so that a scene of many missing
/// objects takes no longer than its size. Threads: one.
class ObjectSearch {
 public:
  explicit ObjectSearch(const Scene& scene);

  /// Empty where the file is nowhere.
  std::filesystem::path find(const std::string& written);

 private:
  using Names = std::vector<std::string>;
  /// What a folder holds, by name without regard to case.
  using Listing = std::map<std::string, Names>;

  const Listing& listing(const std::filesystem::path& folder);
  std::filesystem::path find_in(const std::filesystem::path& folder, const Names& names, std::size_t next);
  std::filesystem::path find_unguarded(const std::string& written);

  std::vector<std::filesystem::path> folders_;
  std::map<std::string, Listing> listings_;
  std::map<std::string, std::filesystem::path> found_;
  std::size_t steps_left_ = 0;
};

}  // namespace standin
