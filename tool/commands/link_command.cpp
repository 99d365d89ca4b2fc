#include "tool/commands/link_command.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>

#include "interop/camera_link.h"
#include "standin/host/module.h"
#include "standin/remote/ray_service.h"
#include "tool/commands/camera_options.h"
#include "tool/output/interruption.h"
#include "tool/output/text_table.h"

namespace tool {
namespace {

constexpr std::chrono::milliseconds poll_interval{200};

std::string number(double value) {
  std::ostringstream text;
  text << value;
  return text.str();
}

std::string numbers(const double (&values)[3]) { return number(values[0]) + ' ' + number(values[1]) + ' ' + number(values[2]); }

std::string record_text(const QrmLinkRecord& record) {
  TextTable table;
  const auto row = [&](const char* name, const std::string& value, const char* unit = "") {
    table.add_row({name, value.empty() ? "-" : value + unit});
  };
  row("Plug-in", record.plugin);
  row("Plug-in version", record.plugin_version);
  row("Body", record.body);
  row("Body tag", record.body_tag);
  row("Lens", record.lens);
  row("Lens tag", record.lens_tag);
  row("Camera", record.camera_name);
  row("Scene", record.scene);
  row("ISO", number(record.iso));
  row("Native ISO", number(record.native_iso));
  row("Iris", number(record.iris));
  row("Shutter angle", number(record.shutter_angle), " degrees");
  row("Frame time", number(record.frame_time));
  row("Dynamic range", number(record.dynamic_range), " stops");
  row("Aperture source", std::to_string(record.aperture_source));
  row("Focal length", number(record.focal_mm), " mm");
  row("Film", number(record.film_w_mm) + " x " + number(record.film_h_mm), " mm");
  row("Distortion k1", number(record.distort_k1));
  row("Distortion k2", number(record.distort_k2));
  row("Distortion strength", number(record.distort_strength));
  row("ST map", record.stmap_active != 0 ? "on" : "off");
  row("ST map file", record.stmap_path);
  row("ST map strength", number(record.stmap_strength));
  row("ST map blend", number(record.stmap_blend));
  row("Position", numbers(record.cam_pos), " m");
  row("Right", numbers(record.cam_right));
  row("Up", numbers(record.cam_up));
  row("Forward", numbers(record.cam_forward));
  std::ostringstream text;
  table.write(text, "  ");
  return text.str();
}

/// What to print: the record of the link file, or the reason why there is none.
struct Reading {
  bool has_record = false;
  std::string text;

  friend bool operator==(const Reading&, const Reading&) = default;
};

/// The link file through the functions that the module exports.
class LinkReader {
 public:
  explicit LinkReader(const std::filesystem::path& module_file) : module_(module_file) {
    sidecar_path_ = module_.library().find_as<decltype(QrmLink_SidecarPath)>("QrmLink_SidecarPath");
    read_ = module_.library().find_as<decltype(QrmLink_Read)>("QrmLink_Read");
    if (sidecar_path_ == nullptr || read_ == nullptr)
      throw std::runtime_error(module_file.string() + ": the module does not export the camera link functions");
  }

  Reading read() const {
    std::array<char, 1024> path{};
    if (sidecar_path_(path.data(), static_cast<int>(path.size())) == 0)
      return {false, "The temporary directory is not known, or its path is too long; set TMPDIR"};
    const std::filesystem::path file = path.data();
    QrmLinkRecord record{};
    if (read_(&record) == 1) return {true, file.string() + '\n' + record_text(record)};
    return {false, file.string() + ": " + trouble(file, record)};
  }

 private:
  static std::string trouble(const std::filesystem::path& file, const QrmLinkRecord& record) {
    std::error_code error;
    if (!std::filesystem::is_directory(file.parent_path(), error)) return "the temporary directory does not exist; set TMPDIR";
    if (!std::filesystem::exists(file, error)) return "there is no camera link file; no camera has rendered yet";
    if (!std::filesystem::is_regular_file(file, error)) return "it is not a file";
    if (access(file.c_str(), R_OK) != 0) return std::string("it cannot be read: ") + std::strerror(errno);
    if (record.version == -1) return "it has no version, so it is not a camera link file";
    return "its version is " + std::to_string(record.version) + ", and this module reads version 1";
  }

  standin::Module module_;
  decltype(QrmLink_SidecarPath)* sidecar_path_ = nullptr;
  decltype(QrmLink_Read)* read_ = nullptr;
};

void print(const Reading& reading) {
  (reading.has_record ? std::cout : std::cerr) << reading.text << (reading.has_record ? "" : "\n") << std::flush;
}

/// Shows the link file now and whenever it changes, until the person interrupts it.
void watch(const LinkReader& reader) {
  expect_interruption();
  std::optional<Reading> shown;
  while (!interrupted()) {
    Reading now = reader.read();
    if (now != shown) print(now);
    // What is wrong with it is told once, by whoever reserved it.
    if (!std::cout) return;
    shown = std::move(now);
    std::this_thread::sleep_for(poll_interval);
  }
}

struct Arguments {
  CameraOptions options;
  bool watch = false;
};

void show_link(const Arguments& arguments) {
  const auto module_file = arguments.options.module_file();
  if (standin::is_windows_binary(module_file)) {
    throw std::runtime_error(
        module_file.string() +
        ": a module for Windows uses the temporary directory of Windows; give the OviCam.so of the same build");
  }
  const LinkReader reader(module_file);
  if (arguments.watch) {
    watch(reader);
    return;
  }
  const Reading reading = reader.read();
  if (!reading.has_record) throw std::runtime_error(reading.text);
  print(reading);
}

}  // namespace

void add_link_command(CLI::App& app) {
  auto* command = app.add_subcommand("link", "Shows what the cameras publish in the camera link file.");
  command->footer("Example:\n  ovicam link --watch");
  const auto arguments = std::make_shared<Arguments>();
  arguments->options.add_module_to(*command);
  command->add_flag("--watch", arguments->watch, "Shows it again whenever it changes, until interrupted");
  command->callback([arguments] { show_link(*arguments); });
}

}  // namespace tool
