#include <algorithm>
#include <cmath>
#include <string_view>

#include "standin/scene/file_bytes.h"
#include "standin/scene/file_error.h"
#include "standin/scene/number_text.h"
#include "standin/scene/scene.h"
#include "standin/scene/scene_keywords.h"

namespace standin {
namespace {

std::string number_text(double number) {
  if (!std::isfinite(number)) throw FileError("the scene", "", "holds a number that is not finite");
  return shortest(number);
}

std::string vector_text(Vec3 v) { return number_text(v.x) + ' ' + number_text(v.y) + ' ' + number_text(v.z); }

std::string id_text(std::uint32_t id) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text(8, '0');
  for (auto digit = text.rbegin(); id != 0; id >>= 4, ++digit) *digit = digits[id & 15];
  return text;
}

/// A constant as one number says it.
bool is_constant(const Envelope& value) { return value.keys.size() == 1 && value.is_constant(value.keys.front().value); }

class SceneWriter {
 public:
  std::string write(const Scene& scene) {
    line("LWSC");
    // Whatever the version was, it is written in the form of the newest that is read.
    line(std::to_string(std::max(scene.version, 5)));
    line("");
    for (const auto& keyword : frame_keywords) line(keyword.name, std::to_string(scene.*keyword.member));
    line("FramesPerSecond", number_text(scene.frames_per_second));
    lines(scene.opening_lines);
    write_items(scene, ItemKind::object);
    line("");
    write_color("AmbientColor", scene.ambient_color);
    write_value("AmbientIntensity", scene.ambient_intensity);
    write_value_unless("GlobalLightIntensity", scene.light_intensity, 1.0);
    lines(scene.lines_after_objects);
    write_items(scene, ItemKind::light);
    write_items(scene, ItemKind::camera);
    line("");
    if (!scene.other_lines.empty() && !starts_scene_section(first_word(scene.other_lines.front()))) {
      // Without a line that only the scene has, the lines that follow would describe the last item.
      line("FrameStep", std::to_string(scene.frame_step));
    }
    lines(scene.other_lines);
    return std::move(text_);
  }

 private:
  void line(std::string_view content) {
    if (content.find('\n') != std::string_view::npos)
      throw FileError("the scene", "", "\"" + std::string(content) + "\" contains a line break; remove it");
    text_ += content;
    text_ += '\n';
  }
  void line(std::string_view keyword, std::string_view value) { line(std::string(keyword) + ' ' + std::string(value)); }

  void lines(const std::vector<std::string>& contents) {
    for (const std::string& content : contents) line(content);
  }

  void write_envelope_block(const Envelope& envelope) {
    line("{ Envelope");
    line("  " + std::to_string(envelope.keys.size()));
    for (const Key& key : envelope.keys) {
      std::string numbers =
          number_text(key.value) + ' ' + number_text(key.time_seconds) + ' ' + std::to_string(static_cast<int>(key.span));
      for (const double parameter : key.parameters) numbers += ' ' + number_text(parameter);
      line("  Key", numbers);
    }
    line("  Behaviors",
         std::to_string(static_cast<int>(envelope.before)) + ' ' + std::to_string(static_cast<int>(envelope.after)));
    lines(envelope.lines_within);
    line("}");
    lines(envelope.lines_after);
  }

  void write_value(std::string_view keyword, const Envelope& value) {
    if (is_constant(value)) {
      line(keyword, number_text(value.keys.front().value));
    } else {
      line(keyword);
      write_envelope_block(value);
    }
  }

  void write_value_unless(std::string_view keyword, const Envelope& value, double usual) {
    if (!value.is_constant(usual)) write_value(keyword, value);
  }

  void write_color(std::string_view keyword, const KeyedColor& color) {
    if (std::ranges::all_of(color, is_constant)) {
      line(keyword, vector_text({color[0].keys.front().value, color[1].keys.front().value, color[2].keys.front().value}));
    } else {
      line(keyword);
      std::ranges::for_each(color, [this](const Envelope& value) { write_envelope_block(value); });
    }
  }

  void write_light(const LightSettings& light) {
    const LightSettings usual;
    write_color("LightColor", light.color);
    for (const LightValue& value : light_value_keywords)
      if (value.member == &LightSettings::intensity || light.*value.member != usual.*value.member)
        write_value(value.name, light.*value.member);
    line("LightType", std::to_string(light.type));
    if (light.fall_off != usual.fall_off) line("LightFalloffType", std::to_string(light.fall_off));
    line("ShadowType", std::to_string(light.shadow_type));
  }

  void write_motion(const Item& item) {
    const Motion rest = motion_at_rest();
    const bool scaled = !std::equal(rest.begin() + 6, rest.end(), item.motion.begin() + 6);
    const std::size_t channels = item.kind == ItemKind::camera && !scaled ? 6 : item.motion.size();
    line(keywords_of(item.kind).motion);
    line("NumChannels", std::to_string(channels));
    for (std::size_t i = 0; i < channels; ++i) {
      line("Channel", std::to_string(i));
      write_envelope_block(item.motion[i]);
    }
  }

  void write_plugin(const PluginBlock& plugin) {
    line("Plugin", plugin.server_class + ' ' + std::to_string(plugin.slot) + ' ' + plugin.server_name);
    for (const std::string& saved : plugin.saved_lines) {
      if (trimmed(saved) == "EndPlugin") {
        throw FileError("the scene", "",
                        "the plug-in \"" + plugin.server_name + "\" saved a line that would end its own block");
      }
      line(saved);
    }
    line("EndPlugin");
  }

  void write_camera(const CameraSettings& camera) {
    for (const CameraValue& value : camera_value_keywords) write_value(value.name, camera.*value.member);
    for (const auto& number : camera_number_keywords) line(number.name, std::to_string(camera.*number.member));
    line("FrameSize", std::to_string(camera.width_pixels) + ' ' + std::to_string(camera.height_pixels));
    line("ApertureHeight", number_text(camera.aperture_height));
    line("DepthOfField", camera.depth_of_field ? "1" : "0");
    if (camera.handler) write_plugin(*camera.handler);
    std::ranges::for_each(camera.other_plugins, [this](const PluginBlock& plugin) { write_plugin(plugin); });
  }

  void write_item(const Item& item) {
    const ItemKeywords& keywords = keywords_of(item.kind);
    // The number that makes names unique is added again when the file is read.
    const bool numbered = !item.given_name.empty() && item.name.starts_with(item.given_name + " (");
    const std::string& name = numbered ? item.given_name : item.name;
    line("");
    if (!item.object_file.empty()) {
      line("LoadObjectLayer", std::to_string(item.layer) + ' ' + id_text(item.id) + ' ' + item.object_file);
    } else if (keywords.name.empty()) {
      line(keywords.add, id_text(item.id) + ' ' + name);
    } else {
      line(keywords.add, id_text(item.id));
      line(keywords.name, name);
    }
    write_motion(item);
    if (item.parent_id != 0) line("ParentItem", id_text(item.parent_id));
    if (item.pivot != Vec3{}) line("PivotPosition", vector_text(item.pivot));
    write_value_unless("ItemActive", item.active, 1.0);
    lines(item.other_lines);
    if (item.light) write_light(*item.light);
    if (item.camera) write_camera(*item.camera);
  }

  void write_items(const Scene& scene, ItemKind kind) {
    for (const Item& item : scene.items)
      if (file_order(item.kind) == file_order(kind)) write_item(item);
  }

  std::string text_;
};

}  // namespace

std::string write_scene(const Scene& scene) { return SceneWriter().write(scene); }

void write_scene_file(const Scene& scene, const std::filesystem::path& file) { replace_file(file, write_scene(scene)); }

}  // namespace standin
