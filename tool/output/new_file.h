#pragma once

#include <filesystem>
#include <string>

#include "tool/output/interruption.h"

namespace tool {

/// A file that appears under its name only once it is complete: until then it has another name in the same folder. Failures
/// throw std::runtime_error with the name and the reason. Threads: one.
class NewFile {
 public:
  /// The folder must exist. What programs of this machine that are no more left unfinished in it is removed.
  explicit NewFile(std::filesystem::path name);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  /// Removes the unfinished file unless finish() was called.
  ~NewFile();

  const std::filesystem::path& name() const { return name_; }
  /// Where to write; the extension is that of the name.
  const std::filesystem::path& unfinished() const { return unfinished_; }

  /// Renames the file to its final name, replacing a file of that name.
  void finish();

  [[noreturn]] void fail(const std::string& reason) const;

 private:
  std::filesystem::path prepared_unfinished() const;
  void remove_unfinished() const;

  const std::filesystem::path name_;
  const std::filesystem::path unfinished_;
  CleanUp clean_up_{[this] { remove_unfinished(); }};
};

/// Writes a text file.
void write_text_file(const std::filesystem::path& name, const std::string& text);

}  // namespace tool
