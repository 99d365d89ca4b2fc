#pragma once

#include <filesystem>
#include <string>

namespace tool {

/// A file that appears under its name only when it is whole: it is written under another name in the same folder. Failures
/// throw std::runtime_error with the name and the reason. Threads: one.
class NewFile {
 public:
  /// The folder must be there.
  explicit NewFile(std::filesystem::path name);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  /// Leaves nothing behind unless finish() was called.
  ~NewFile();

  const std::filesystem::path& name() const { return name_; }
  /// Where to write; the extension is that of the name.
  const std::filesystem::path& unfinished() const { return unfinished_; }

  /// Gives the written file its name, in place of a file that had it.
  void finish();

  [[noreturn]] void fail(const std::string& reason) const;

 private:
  std::filesystem::path name_;
  std::filesystem::path unfinished_;
};

/// Writes a text as a file of that name.
void write_text_file(const std::filesystem::path& name, const std::string& text);

}  // namespace tool
