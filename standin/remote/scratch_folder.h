#pragma once

#include <filesystem>
#include <string>

namespace standin {

/// A new folder in the temporary one, removed on destruction with all that is in it. POSIX only. Threads: one.
class ScratchFolder {
 public:
  /// `purpose` is a part of its name. Throws std::runtime_error with a sentence where no folder can be made.
  explicit ScratchFolder(const std::string& purpose);
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace standin
