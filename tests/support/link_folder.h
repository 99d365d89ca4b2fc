#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace test_support {

/// What a camera link file says: texts by key.
using LinkFile = std::map<std::string, std::string>;

/// A temporary directory of the test's own for the camera link file, until this ends. Threads: reading from any, everything
/// else one, and no camera may be evaluated meanwhile.
class LinkFolder {
 public:
  LinkFolder();
  ~LinkFolder();
  LinkFolder(const LinkFolder&) = delete;
  LinkFolder& operator=(const LinkFolder&) = delete;

  const std::filesystem::path& folder() const { return folder_; }
  std::filesystem::path file() const { return folder_ / "Quorin_CameraLink.ini"; }

  /// Lets the module look for another temporary directory, and back.
  static void point_to(const std::filesystem::path& directory);
  void point_back() const { point_to(folder_); }

  bool exists() const { return std::filesystem::exists(file()); }
  void remove() const { std::filesystem::remove(file()); }

  /// None when there is no file, or it cannot be opened just then.
  std::optional<LinkFile> read() const;

 private:
  std::filesystem::path usual_ = std::filesystem::temp_directory_path();
  std::filesystem::path folder_;
};

/// The number under a key. Throws std::out_of_range without one.
double number(const LinkFile& file, const std::string& key);

}  // namespace test_support
