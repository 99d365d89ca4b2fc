#include "tool/output/panel_page.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "tool/output/control_text.h"

namespace tool {
namespace {

using standin::ControlDescription;

constexpr int page_width = 460;
constexpr int margin = 10;
constexpr int title_height = 34;
constexpr int row_height = 26;
constexpr int divider_height = 13;

constexpr std::string_view style = R"(
* { box-sizing: border-box }
body { margin: 0; background: #3a3c3f; color: #d8d8d8; font: 13px "DejaVu Sans", Arial, sans-serif }
main { width: 460px; padding: 10px }
h1 { height: 24px; margin: 0 0 10px; font-size: 14px; line-height: 24px }
.row { display: flex; height: 26px; align-items: center }
.label { width: 210px; padding-right: 10px; text-align: right; white-space: nowrap; overflow: hidden }
.value { display: flex; width: 230px; align-items: center; gap: 5px; white-space: nowrap; overflow: hidden }
.field { flex: 1; height: 21px; padding: 0 6px; line-height: 19px; background: #26282a; border: 1px solid #1a1b1c; color: #eee;
  overflow: hidden }
.narrow { flex: none; width: 64px }
.e { width: 21px; height: 21px; padding: 0; background: #55585c; border: 1px solid #1f2022; color: #ddd; font: 12px sans-serif }
.e.on { background: #b58a2c; color: #111 }
select { flex: 1; width: 100%; height: 21px; background: #4b4e52; border: 1px solid #1f2022; color: #eee;
  font: 13px "DejaVu Sans", Arial, sans-serif }
input[type=range] { flex: 1; width: 20px; accent-color: #b58a2c }
input[type=checkbox] { margin: 0; width: 15px; height: 15px; accent-color: #b58a2c }
hr { height: 1px; margin: 6px 0; border: 0; background: #222 }
.drawing { position: relative; width: 320px; margin: 0 auto }
.drawing img { display: block }
.drawing span { position: absolute; color: #ddd; font: 12px/14px sans-serif; white-space: pre }
)";

std::string escaped(std::string_view text) {
  std::string html;
  for (const char letter : text) {
    switch (letter) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      default:
        html += letter;
    }
  }
  return html;
}

std::string base_64(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto byte = [&](std::size_t at) { return at < bytes.size() ? std::uint32_t{bytes[at]} : 0U; };
    const std::uint32_t group = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
    for (std::size_t digit = 0; digit < 4; ++digit) {
      text += i + digit > bytes.size() ? '=' : digits[group >> (18 - 6 * digit) & 63U];
    }
  }
  return text;
}

std::string png_data_uri(const standin::Picture& picture) {
  std::vector<std::uint8_t> rows;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      const auto color = picture.at(x, y);
      rows.insert(rows.end(), color.begin(), color.end());
    }
  }
  std::vector<unsigned char> file;
  OIIO::Filesystem::IOVecOutput memory(file);
  const auto output = OIIO::ImageOutput::create("png");
  OIIO::ImageSpec layout(picture.width(), picture.height(), 3, OIIO::TypeDesc::UINT8);
  layout.attribute("DateTime", "");
  if (!output || !output->set_ioproxy(&memory) || !output->open("panel.png", layout) ||
      !output->write_image(OIIO::TypeDesc::UINT8, rows.data()) || !output->close()) {
    throw std::runtime_error("a drawing of the panel cannot be made a PNG");
  }
  return "data:image/png;base64," + base_64(file);
}

class RowWriter {
 public:
  std::string html() && { return std::move(body_); }
  int height() const { return height_; }

  void add(const ControlDescription& row) {
    if (row.drawing) {
      add_drawing(row, *row.drawing);
    } else {
      body_ += R"(<div class="row"><span class="label">)" + escaped(row.label) + R"(</span><span class="value">)" + value(row) +
               "</span></div>\n";
      height_ += row_height;
    }
    if (row.divider_below) {
      body_ += "<hr>\n";
      height_ += divider_height;
    }
  }

 private:
  void add_drawing(const ControlDescription& row, const standin::Picture& picture) {
    body_ += R"(<div class="drawing"><img alt=")" + escaped(row.label) + "\" width=\"" + std::to_string(picture.width()) +
             "\" height=\"" + std::to_string(picture.height()) + "\" src=\"" + png_data_uri(picture) + "\">";
    for (const auto& text : picture.texts) {
      body_ += "<span style=\"left:" + std::to_string(text.x) + "px;top:" + std::to_string(text.y) + "px\">" +
               escaped(text.text) + "</span>";
    }
    body_ += "</div>\n";
    height_ += picture.height();
  }

  static std::string value(const ControlDescription& row) {
    const std::string shown = displayed_value(row).text();
    if (row.data_type == "string") return escaped(shown);
    if (shown.empty()) return "";
    if (row.data_type == "integer") return integer(row, std::stoi(row.value));
    std::string text = field(shown);
    if (row.data_type == "float") return text;
    return text + "<button class=\"e" + (row.animated ? " on" : "") + R"(" type="button">E</button>)";
  }

  static std::string field(const std::string& text, const char* more = "") {
    return std::string("<span class=\"field") + more + "\">" + escaped(text) + "</span>";
  }

  static std::string integer(const ControlDescription& row, int value) {
    if (row.control_class == "iBoolean") {
      return "<input" + named(row) + " type=\"checkbox\"" + (value != 0 ? " checked>" : ">");
    }
    if (!row.choices.empty()) {
      std::string html = "<select" + named(row) + ">";
      for (std::size_t i = 0; i < row.choices.size(); ++i) {
        const bool chosen = value >= 0 && static_cast<std::size_t>(value) == i;
        html += std::string("<option") + (chosen ? " selected>" : ">") + escaped(row.choices[i]) + "</option>";
      }
      return html + "</select>";
    }
    if (row.control_class.find("Slider") == std::string::npos) return field(std::to_string(value));
    const auto low = static_cast<long long>(row.minimum.value_or(0.0));
    const auto high = static_cast<long long>(row.maximum.value_or(static_cast<double>(std::max(2LL * value, low + 100))));
    return field(std::to_string(value), " narrow") + "<input" + named(row) + R"( type="range" min=")" + std::to_string(low) +
           "\" max=\"" + std::to_string(high) + "\" value=\"" + std::to_string(value) + "\">";
  }

  /// For people who do not see which label stands beside it.
  static std::string named(const ControlDescription& row) { return " aria-label=\"" + escaped(row.label) + "\""; }

  std::string body_;
  int height_ = 0;
};

RowWriter written(std::span<const ControlDescription> rows) {
  RowWriter writer;
  for (const ControlDescription& row : rows) writer.add(row);
  return writer;
}

}  // namespace

std::string panel_fragment(std::span<const ControlDescription> rows) { return written(rows).html(); }

PanelPage panel_page(std::span<const ControlDescription> rows, const std::string& title) {
  RowWriter writer = written(rows);
  const int height = writer.height() + 2 * margin + title_height;
  const std::string name = escaped(title);
  return {"<!DOCTYPE html>\n<html lang=\"en\">\n<meta charset=\"utf-8\">\n<title>" + name + "</title>\n<style>" +
              std::string(style) + "</style>\n<main>\n<h1>" + name + "</h1>\n" + std::move(writer).html() +
              "</main>\n</html>\n",
          page_width, height};
}

}  // namespace tool
