#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace standin::validate {

/// In place of a test: the runner lists the module's cameras.
inline constexpr const char* list_of_servers = "(servers)";

/// The report that a runner writes and the program that started it reads: one line for each finding, its words separated by
/// tabulators. A line is in the file once line() has returned, whatever becomes of the process.
class ReportWriter {
 public:
  /// Throws std::runtime_error.
  explicit ReportWriter(const std::filesystem::path& file);

  void line(const std::string& kind, const std::string& first, const std::string& second = {});

 private:
  struct Close {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };
  std::unique_ptr<std::FILE, Close> file_;
};

/// The complete lines so far, each split into its words; none without a file.
std::vector<std::vector<std::string>> read_report(const std::filesystem::path& file);

}  // namespace standin::validate
