#include "tool/view/scene_copy.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <system_error>

#include "tool/output/file_extension.h"

namespace tool {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::size_t longest_name = 1024;

[[noreturn]] void refuse(const std::string& name, const std::string& sentence) {
  throw std::runtime_error("\"" + name + "\": " + sentence);
}

}  // namespace

SceneCopy parse_scene_copy(const std::string& text) {
  const json sent = json::parse(text, nullptr, false);
  if (!sent.is_object()) throw std::runtime_error("What is to be saved must be an object of JSON");
  SceneCopy copy;
  for (const auto& [name, value] : sent.items())
    if (name == "name" && value.is_string() && value.get_ref<const std::string&>().size() <= longest_name)
      copy.name = value.get<std::string>();
    else if (name == "replace" && value.is_boolean())
      copy.replace = value.get<bool>();
    else if (name == "frame_size" && value.is_boolean())
      copy.frame_size = value.get<bool>();
    else if (name == "turn" && value.is_boolean())
      copy.turn = value.get<bool>();
    else
      throw std::runtime_error("\"" + name + "\" is nothing that a scene is saved with, or not of its kind");
  return copy;
}

fs::path scene_copy_file(const fs::path& scene, const std::string& name) {
  if (name.find_first_not_of(" \t") == std::string::npos) throw std::runtime_error("Give the new scene a name");
  if (std::ranges::any_of(name, [](unsigned char letter) { return letter < 0x20 || letter == 0x7F; }))
    throw std::runtime_error("The name of a scene cannot hold control characters");
  fs::path relative(name);
  if (lower_case_extension(relative) != ".lws") relative += ".lws";
  if (relative.is_absolute() || std::ranges::find(relative, "..") != relative.end())
    refuse(name, "the scene is saved beside the one that is viewed; give a name, or one in a folder there");
  const fs::path home = fs::absolute(scene).parent_path();
  fs::path file = home / relative;
  std::error_code error;
  const fs::path folder = fs::canonical(file.parent_path(), error);
  if (error || !fs::is_directory(folder)) refuse(name, "there is no such folder beside the scene; make it first");
  // A link may lead anywhere.
  const fs::path real_home = fs::canonical(home);
  if (std::ranges::mismatch(real_home, folder).in1 != real_home.end())
    refuse(name, "this folder is a link to another place; choose one beside the scene");
  const fs::file_status status = fs::symlink_status(file, error);
  if (!fs::exists(status)) return file;
  if (!fs::is_regular_file(status)) refuse(name, "it is no file that could be replaced; choose another name");
  if (fs::equivalent(file, scene, error))
    refuse(name, "this is the scene that is viewed, which is never changed; choose another name");
  return file;
}

}  // namespace tool
