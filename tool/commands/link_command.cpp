#include "tool/commands/link_command.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
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
#include "tool/commands/link_stmap.h"
#include "tool/commands/usage_error.h"
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
class CameraLink {
 public:
  explicit CameraLink(const std::filesystem::path& module_file) : module_(module_file) {
    sidecar_path_ = module_.library().find_as<decltype(QrmLink_SidecarPath)>("QrmLink_SidecarPath");
    read_ = module_.library().find_as<decltype(QrmLink_Read)>("QrmLink_Read");
    write_ = module_.library().find_as<decltype(QrmLink_WriteEx6)>("QrmLink_WriteEx6");
    if (sidecar_path_ == nullptr || read_ == nullptr || write_ == nullptr)
      throw std::runtime_error(module_file.string() + ": the module does not export the camera link functions");
  }

  Reading read() const {
    const std::filesystem::path file = place();
    if (file.empty()) return {false, no_place};
    QrmLinkRecord record{};
    if (read_(&record) == 1) return {true, file.string() + '\n' + record_text(record)};
    return {false, file.string() + ": " + trouble(file, record)};
  }

  /// Adds the map to what the file has, or begins one. Lines that are not kept are told on standard error. Throws where the
  /// file is none of this version: it stays as it is.
  void publish(const PublishedStMap& map) const {
    const std::filesystem::path file = place();
    if (file.empty()) throw std::runtime_error(no_place);
    std::error_code error;
    QrmLinkRecord record{};
    const bool is_there = read_(&record) == 1;
    const bool is_free = std::filesystem::is_directory(file.parent_path(), error) && !std::filesystem::exists(file, error);
    if (!is_there && !is_free) throw std::runtime_error(file.string() + ": " + trouble(file, record));
    if (is_free) {
      record = {};
      std::strncpy(record.plugin, "ovicam", sizeof record.plugin - 1);
      std::strncpy(record.plugin_version, OVICAM_VERSION, sizeof record.plugin_version - 1);
    }
    const std::string before = is_there ? text_of(file) : std::string();
    publish_stmap(write_, record, map);
    for (const std::string& line : lines_not_kept(before, text_of(file)))
      std::cerr << "warning: the module does not keep this line of the camera link file: " << line << '\n';
  }

 private:
  static constexpr const char* no_place = "The temporary directory is not known, or its path is too long; set TMPDIR";

  /// Empty where there is none.
  std::filesystem::path place() const {
    std::array<char, 1024> path{};
    return sidecar_path_(path.data(), static_cast<int>(path.size())) != 0 ? path.data() : "";
  }

  static std::string text_of(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

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
  decltype(QrmLink_WriteEx6)* write_ = nullptr;
};

void print(const Reading& reading) {
  (reading.has_record ? std::cout : std::cerr) << reading.text << (reading.has_record ? "" : "\n") << std::flush;
}

/// Shows the link file now and whenever it changes, until the person interrupts it.
void watch(const CameraLink& reader) {
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

struct LinkArguments {
  CameraOptions options;
  bool watch = false;
  std::string stmap;
  std::optional<double> strength;
  std::optional<double> blend;
};

void show_link(const LinkArguments& arguments) {
  for (const auto& [option, share] : {std::pair{"--strength", arguments.strength}, std::pair{"--blend", arguments.blend}})
    if (share && std::isnan(*share)) throw UsageError(std::string(option) + ": give a number from 0 to 1");
  const auto module_file = arguments.options.module_file();
  if (standin::is_windows_binary(module_file)) {
    throw std::runtime_error(
        module_file.string() +
        ": a module for Windows uses the temporary directory of Windows; give the OviCam.so of the same build");
  }
  const CameraLink link(module_file);
  if (arguments.watch) {
    watch(link);
    return;
  }
  if (!arguments.stmap.empty()) link.publish(checked_stmap(arguments.stmap, arguments.strength, arguments.blend));
  const Reading reading = link.read();
  if (!reading.has_record) throw std::runtime_error(reading.text);
  print(reading);
}

}  // namespace

void add_link_command(CLI::App& app) {
  auto* command =
      app.add_subcommand("link", "Shows what the cameras publish in the camera link file, and adds an ST map to it.");
  command->footer(
      "Examples:\n  ovicam link --watch\n  ovicam link --set-stmap lens.undistort.exr --strength 1 --blend 0.5\n"
      "A map is added to what the file has. The next exposure that a camera publishes replaces the file, without a map.");
  const auto arguments = std::make_shared<LinkArguments>();
  arguments->options.add_module_to(*command);
  command->add_flag("--watch", arguments->watch, "Shows it again whenever it changes, until interrupted");
  auto* stmap =
      command->add_option("--set-stmap", arguments->stmap, "Adds this ST map to the link file, for programs that read it")
          ->excludes("--watch");
  command->add_option("--strength", arguments->strength, "Share of the map's displacement, 0 to 1 (default: as before, or 1)")
      ->check(CLI::Range(0.0, 1.0))
      ->needs(stmap);
  command->add_option("--blend", arguments->blend, "Blend of the map with the plain picture, 0 to 1 (default: as before, or 1)")
      ->check(CLI::Range(0.0, 1.0))
      ->needs(stmap);
  command->callback([arguments] { show_link(*arguments); });
}

}  // namespace tool
