#include "tool/output/browser.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "standin/remote/process_group.h"
#include "tool/output/interruption.h"
#include "tool/output/new_file.h"
#include "tool/output/png_file.h"

namespace tool {
namespace {

constexpr std::chrono::seconds patience{30};

std::optional<std::filesystem::path> find_browser() {
  const char* folders = std::getenv("PATH");
  for (const std::string name : {"chromium", "chromium-browser", "google-chrome"}) {
    std::istringstream path(folders != nullptr ? folders : "");
    for (std::string folder; std::getline(path, folder, ':');) {
      const auto file = std::filesystem::path(folder) / name;
      if (!folder.empty() && access(file.c_str(), X_OK) == 0 && std::filesystem::is_regular_file(file)) return file;
    }
  }
  return std::nullopt;
}

std::string contents(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// A folder for the browser's own files, removed on destruction.
class ScratchFolder {
 public:
  ScratchFolder() : folder_(new_folder()) {}
  ~ScratchFolder() { remove(); }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  /// Empty when it could not be created.
  const std::filesystem::path& folder() const { return folder_; }

 private:
  static std::filesystem::path new_folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "ovicam-browser-XXXXXX").string();
    return mkdtemp(pattern.data()) != nullptr ? pattern : "";
  }

  void remove() const {
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
  }

  const std::filesystem::path folder_;
  CleanUp clean_up_{[this] { remove(); }};
};

/// The exit code, or none when the program did not start or was killed for taking too long.
std::optional<int> run_quietly(const std::vector<std::string>& command) {
  pid_t child = 0;
  if (standin::spawn_quiet_group(command, child) != 0) return std::nullopt;
  // It has helpers that would outlive it.
  const CleanUp clean_up([child] { kill(-child, SIGKILL); });

  const auto deadline = std::chrono::steady_clock::now() + patience;
  int status = 0;
  while (waitpid(child, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(-child, SIGKILL);
      waitpid(child, &status, 0);
      return std::nullopt;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
}

}  // namespace

PagePicture take_page_picture(const std::filesystem::path& page, int width, int height, const std::filesystem::path& picture) {
  const auto browser = find_browser();
  if (!browser) return {"no Chromium is installed"};
  NewFile file(picture);
  const ScratchFolder scratch;
  if (scratch.folder().empty()) file.fail("no files can be created in the temporary folder");
  // The browser does not tell when the disk is full: what it took is looked at before it gets its name.
  const auto taken = scratch.folder() / "picture.png";
  const std::vector<std::string> command{browser->string(),
                                         "--headless",
                                         "--no-sandbox",
                                         "--disable-gpu",
                                         "--disable-quic",
                                         "--no-first-run",
                                         "--disable-background-networking",
                                         "--disable-component-update",
                                         "--disable-sync",
                                         "--hide-scrollbars",
                                         "--user-data-dir=" + scratch.folder().string(),
                                         "--window-size=" + std::to_string(width) + "," + std::to_string(height),
                                         "--screenshot=" + taken.string(),
                                         "file://" + std::filesystem::absolute(page).string()};
  const auto exit_code = run_quietly(command);
  const std::string bytes = contents(taken);
  const auto png = std::as_bytes(std::span(bytes));
  if (exit_code != 0 || !is_whole_png(png, width, height)) file.fail(browser->string() + " failed to take it");
  file.write(png);
  file.finish();
  return {};
}

}  // namespace tool
