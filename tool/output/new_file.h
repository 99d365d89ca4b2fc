#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include "tool/output/interruption.h"
#include "tool/output/random_output.h"

namespace tool {

/// A file that appears under its name only once all of it is on the disk: until then it has another name in the same folder.
/// Failures throw std::runtime_error with the name and the reason. Threads: one.
class NewFile final : public RandomOutput {
 public:
  /// The folder must exist. What programs of this machine that are no more left unfinished in it is removed.
  explicit NewFile(std::filesystem::path name);
  /// Removes the unfinished file unless finish() was called.
  ~NewFile() override;

  const std::filesystem::path& name() const { return name_; }

  std::string title() const override { return name_.string(); }
  void write(std::span<const std::byte> bytes) override;
  std::uint64_t position() override;
  void move_to(std::uint64_t position) override;

  /// Puts everything on the disk, and only then gives the file its final name, replacing a file of that name. Where several
  /// files belong together, complete() them all first.
  void finish();
  /// The first half of finish(): nothing can be written any more.
  void complete();

  [[noreturn]] void fail(const std::string& reason) const override;

 private:
  struct Close {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };

  std::filesystem::path prepared_unfinished() const;
  void remove_unfinished() const;
  [[noreturn]] void fail_with_errno() const;

  const std::filesystem::path name_;
  const std::filesystem::path unfinished_;
  CleanUp clean_up_{[this] { remove_unfinished(); }};
  std::unique_ptr<std::FILE, Close> stream_;
};

/// Throws std::runtime_error when no file of that name can be written. Leaves nothing behind.
void check_can_be_written(const std::filesystem::path& name);

/// Writes a text file.
void write_text_file(const std::filesystem::path& name, const std::string& text);

}  // namespace tool
