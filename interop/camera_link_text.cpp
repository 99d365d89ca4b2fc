#include "interop/camera_link_text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string_view>
#include <variant>

#include "interop/number_text.h"

namespace camera_link {
namespace {

using Record = QrmLinkRecord;

struct Integer {
  int Values::*written;
  std::int32_t Record::*read;
};

struct Number {
  double Values::*written;
  double Record::*read;
};

struct Vector {
  const double* Values::*written;
  double (Record::*read)[3];
};

struct Text {
  const char* Values::*written;
  std::span<char> (*read)(Record&);
  const char* when_null = "";
};

template <auto field>
std::span<char> text_of(Record& record) {
  return record.*field;
}

struct Line {
  std::string_view key;
  Writer first_writer;
  std::variant<Integer, Number, Vector, Text> value;
};

constexpr std::array lines = {
    Line{"version", Writer::ex2, Integer{&Values::version, &Record::version}},
    Line{"plugin", Writer::ex2, Text{&Values::plugin, text_of<&Record::plugin>, "unknown"}},
    Line{"plugin_version", Writer::ex2, Text{&Values::plugin_version, text_of<&Record::plugin_version>, "0"}},
    Line{"body", Writer::ex2, Text{&Values::body, text_of<&Record::body>}},
    Line{"body_tag", Writer::ex5, Text{&Values::body_tag, text_of<&Record::body_tag>}},
    Line{"lens_tag", Writer::ex5, Text{&Values::lens_tag, text_of<&Record::lens_tag>}},
    Line{"iso", Writer::ex2, Number{&Values::iso, &Record::iso}},
    Line{"iris", Writer::ex2, Number{&Values::iris, &Record::iris}},
    Line{"shutter_angle", Writer::ex2, Number{&Values::shutter_angle, &Record::shutter_angle}},
    Line{"frame_time", Writer::ex2, Number{&Values::frame_time, &Record::frame_time}},
    Line{"scene", Writer::ex2, Text{&Values::scene, text_of<&Record::scene>}},
    Line{"camera_name", Writer::ex6, Text{&Values::camera_name, text_of<&Record::camera_name>}},
    Line{"native_iso", Writer::ex2, Number{&Values::native_iso, &Record::native_iso}},
    Line{"dynamic_range", Writer::ex2, Number{&Values::dynamic_range, &Record::dynamic_range}},
    Line{"aperture_source", Writer::ex3, Integer{&Values::aperture_source, &Record::aperture_source}},
    Line{"focal_mm", Writer::ex4, Number{&Values::focal_mm, &Record::focal_mm}},
    Line{"film_w_mm", Writer::ex4, Number{&Values::film_w_mm, &Record::film_w_mm}},
    Line{"film_h_mm", Writer::ex4, Number{&Values::film_h_mm, &Record::film_h_mm}},
    Line{"distort_k1", Writer::ex4, Number{&Values::distort_k1, &Record::distort_k1}},
    Line{"distort_k2", Writer::ex4, Number{&Values::distort_k2, &Record::distort_k2}},
    Line{"distort_strength", Writer::ex4, Number{&Values::distort_strength, &Record::distort_strength}},
    Line{"stmap_active", Writer::ex4, Integer{&Values::stmap_active, &Record::stmap_active}},
    Line{"stmap_path", Writer::ex4, Text{&Values::stmap_path, text_of<&Record::stmap_path>}},
    Line{"stmap_strength", Writer::ex4, Number{&Values::stmap_strength, &Record::stmap_strength}},
    Line{"stmap_blend", Writer::ex4, Number{&Values::stmap_blend, &Record::stmap_blend}},
    Line{"lens", Writer::ex4, Text{&Values::lens, text_of<&Record::lens>}},
    Line{"cam_pos", Writer::ex5, Vector{&Values::cam_pos, &Record::cam_pos}},
    Line{"cam_right", Writer::ex5, Vector{&Values::cam_right, &Record::cam_right}},
    Line{"cam_up", Writer::ex5, Vector{&Values::cam_up, &Record::cam_up}},
    Line{"cam_forward", Writer::ex5, Vector{&Values::cam_forward, &Record::cam_forward}},
};

/// Appends one value; returns false for a value whose line is left out.
struct Appender {
  std::string& text;
  const Values& values;

  bool operator()(const Integer& line) const {
    text += std::to_string(values.*line.written);
    return true;
  }
  bool operator()(const Number& line) const {
    number_text::append(text, values.*line.written);
    return true;
  }
  bool operator()(const Vector& line) const {
    const double* vector = values.*line.written;
    if (vector == nullptr) return false;
    number_text::append(text, vector[0]);
    number_text::append(text += ',', vector[1]);
    number_text::append(text += ',', vector[2]);
    return true;
  }
  bool operator()(const Text& line) const {
    const char* given = values.*line.written;
    text += given != nullptr ? given : line.when_null;
    return true;
  }
};

struct Parser {
  std::string_view value;
  Record& record;

  void operator()(const Integer& line) const { record.*line.read = number_text::parse_integer(value); }
  void operator()(const Number& line) const { record.*line.read = number_text::parse_number(value); }
  void operator()(const Vector& line) const { number_text::parse_vector(value, record.*line.read); }
  void operator()(const Text& line) const {
    const std::span<char> field = line.read(record);
    const std::string_view kept = value.substr(0, field.size() - 1);
    std::ranges::fill(std::ranges::copy(kept, field.begin()).out, field.end(), '\0');
  }
};

void read_line(std::string_view text, Record& record) {
  text = text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
  if (text.empty() || std::string_view("#;[").find(text.front()) != std::string_view::npos) return;
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) return;
  const auto* const line = std::ranges::find(lines, text.substr(0, equals), &Line::key);
  if (line != lines.end()) std::visit(Parser{text.substr(equals + 1), record}, line->value);
}

}  // namespace

std::string compose(Writer writer, const Values& values) {
  std::string text = "[CameraLink]\n";
  for (const Line& line : lines) {
    if (writer < line.first_writer) continue;
    const std::size_t start = text.size();
    text += line.key;
    text += '=';
    if (std::visit(Appender{text, values}, line.value))
      text += '\n';
    else
      text.resize(start);
  }
  return text;
}

void read(std::FILE* file, Record& record) {
  std::array<char, 512> buffer = {};
  while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), file) != nullptr) read_line(buffer.data(), record);
}

}  // namespace camera_link
