#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace test_support {

/// The entries of a camera link file by key.
using LinkFile = std::map<std::string, std::string>;

/// Makes the module write its camera link file into a temporary directory of the test's own, until destruction. Threads:
/// reading from any, everything else from one while no camera is evaluated.
class LinkFolder {
 public:
  LinkFolder();
  ~LinkFolder();
  LinkFolder(const LinkFolder&) = delete;
  LinkFolder& operator=(const LinkFolder&) = delete;

  const std::filesystem::path& folder() const { return folder_; }
  std::filesystem::path file() const { return folder_ / "Quorin_CameraLink.ini"; }

  /// Points the module to another temporary directory, and back to this one.
  static void point_to(const std::filesystem::path& directory);
  void point_back() const { point_to(folder_); }

  bool exists() const { return std::filesystem::exists(file()); }
  void remove() const { std::filesystem::remove(file()); }

  /// Nothing when there is no file, or when it cannot be opened at that moment.
  std::optional<LinkFile> read() const;

 private:
  std::filesystem::path usual_ = std::filesystem::temp_directory_path();
  std::filesystem::path folder_;
};

/// The number stored under a key. Throws std::out_of_range when there is no such key.
double number(const LinkFile& file, const std::string& key);

}  // namespace test_support
