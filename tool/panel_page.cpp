#include "tool/panel_page.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <locale>
#include <numbers>
#include <optional>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace tool {
namespace {

using standin::Panel;
using standin::PanelControl;
using standin::PanelData;

constexpr int page_width = 460;
constexpr int margin = 10;
constexpr int title_height = 34;
constexpr int row_height = 26;
constexpr int divider_height = 13;
/// The area that a drawn control is offered; the rows below what it draws are left out.
constexpr int drawing_width = 320;
constexpr int drawing_height = 200;

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

std::string rounded(double value, int decimals) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::fixed << std::setprecision(decimals) << value;
  return text.str();
}

/// A number with up to six digits.
std::string plain(double value) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << value;
  return text.str();
}

/// What a field of that control class shows.
std::string shown(std::string_view control_class, double value) {
  if (!std::isfinite(value)) return plain(value);
  if (control_class.starts_with("angle")) return rounded(value * 180.0 / std::numbers::pi, 2) + "°";
  if (control_class.starts_with("percent")) return rounded(value * 100.0, 1) + " %";
  if (control_class.starts_with("distance")) {
    return std::abs(value) < 1.0 && value != 0.0 ? plain(value * 100.0) + " cm" : plain(value) + " m";
  }
  return plain(value);
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

std::string png_data_uri(const standin::Picture& picture, int height) {
  std::vector<std::uint8_t> rows;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      const auto color = picture.at(x, y);
      rows.insert(rows.end(), color.begin(), color.end());
    }
  }
  std::vector<unsigned char> file;
  OIIO::Filesystem::IOVecOutput memory(file);
  const auto output = OIIO::ImageOutput::create("png");
  OIIO::ImageSpec layout(picture.width(), height, 3, OIIO::TypeDesc::UINT8);
  layout.attribute("DateTime", "");
  if (!output || !output->set_ioproxy(&memory) || !output->open("panel.png", layout) ||
      !output->write_image(OIIO::TypeDesc::UINT8, rows.data()) || !output->close()) {
    throw std::runtime_error("a drawing of the panel cannot be made a PNG");
  }
  return "data:image/png;base64," + base_64(file);
}

/// Rows down to the last one with anything but black on it.
int painted_height(const standin::Picture& picture) {
  for (int y = picture.height(); y > 0; --y) {
    for (int x = 0; x < picture.width(); ++x) {
      if (picture.at(x, y - 1) != standin::Picture::Color{}) return y + 1 < picture.height() ? y + 2 : y;
    }
  }
  return 1;
}

class PageWriter {
 public:
  PageWriter(const standin::Host& host, const Panel& panel) : host_(host), panel_(panel) {}

  PanelPage page(const std::string& title) {
    for (const PanelControl& control : panel_.controls) {
      add(control);
      if (!panel_.hints_of(LWXPTAG_DIVIDER, control.id).empty()) {
        body_ += "<hr>\n";
        height_ += divider_height;
      }
    }
    const std::string name = escaped(title);
    return {"<!DOCTYPE html>\n<html lang=\"en\">\n<meta charset=\"utf-8\">\n<title>" + name + "</title>\n<style>" +
                std::string(style) + "</style>\n<main>\n<h1>" + name + "</h1>\n" + body_ + "</main>\n</html>\n",
            page_width, height_ + 2 * margin + title_height};
  }

 private:
  void add(const PanelControl& control) {
    if (!panel_.hints_of(LWXPTAG_DRAWCALLBACK, control.id).empty()) {
      add_drawing(control);
      return;
    }
    body_ += R"(<div class="row"><span class="label">)" + escaped(control.label) + R"(</span><span class="value">)" +
             value(control) + "</span></div>\n";
    height_ += row_height;
  }

  void add_drawing(const PanelControl& control) {
    const standin::Picture picture = panel_.draw(control.id, drawing_width, drawing_height);
    const int height = painted_height(picture);
    body_ += R"(<div class="drawing"><img alt=")" + escaped(control.label) + "\" width=\"" + std::to_string(picture.width()) +
             "\" height=\"" + std::to_string(height) + "\" src=\"" + png_data_uri(picture, height) + "\">";
    for (const auto& text : picture.texts) {
      body_ += "<span style=\"left:" + std::to_string(text.x) + "px;top:" + std::to_string(text.y) + "px\">" +
               escaped(text.text) + "</span>";
    }
    body_ += "</div>\n";
    height_ += height;
  }

  std::string value(const PanelControl& control) const {
    const PanelData* data = panel_.data_of(control.id);
    if (data == nullptr || panel_.get(control.id) == nullptr) return "";
    if (data->type == "string") return escaped(panel_.get_text(control.id));
    if (data->type == "integer") return integer(control, panel_.get_integer(control.id));
    if (data->type == "float") return field(shown(control.control_class, panel_.get_float(control.id)));
    const standin::Parameter* parameter = host_.parameters.table.find(panel_.get_envelope(control.id));
    if (parameter == nullptr) return "";
    return field(shown(control.control_class, parameter->at(host_.time_seconds()))) + "<button class=\"e" +
           (parameter->envelope.animated() ? " on" : "") + R"(" type="button">E</button>)";
  }

  static std::string field(const std::string& text, const char* more = "") {
    return std::string("<span class=\"field") + more + "\">" + escaped(text) + "</span>";
  }

  std::string integer(const PanelControl& control, int value) const {
    if (control.control_class == "iBoolean") {
      return std::string("<input type=\"checkbox\"") + (value != 0 ? " checked>" : ">");
    }
    const auto choices = panel_.choices(control.id);
    if (!choices.empty()) {
      std::string html = "<select>";
      for (std::size_t i = 0; i < choices.size(); ++i) {
        const bool chosen = value >= 0 && static_cast<std::size_t>(value) == i;
        html += std::string("<option") + (chosen ? " selected>" : ">") + escaped(choices[i]) + "</option>";
      }
      return html + "</select>";
    }
    if (control.control_class.find("Slider") == std::string::npos) return field(std::to_string(value));
    const long long low = limit(LWXPTAG_MIN, control).value_or(0);
    const long long high = limit(LWXPTAG_MAX, control).value_or(std::max(2LL * value, low + 100));
    return field(std::to_string(value), " narrow") + R"(<input type="range" min=")" + std::to_string(low) + "\" max=\"" +
           std::to_string(high) + "\" value=\"" + std::to_string(value) + "\">";
  }

  /// A smallest or greatest value that the hints give.
  std::optional<long long> limit(LWXPanelHint tag, const PanelControl& control) const {
    const std::size_t in_range = tag == LWXPTAG_MIN ? 1 : 2;
    if (const auto own = panel_.hints_of(tag, control.id); !own.empty()) {
      return static_cast<std::int32_t>(own.back()->arguments.at(1));
    }
    if (const auto range = panel_.hints_of(LWXPTAG_RANGE, control.id); !range.empty()) {
      return static_cast<std::int32_t>(range.back()->arguments.at(in_range));
    }
    return std::nullopt;
  }

  const standin::Host& host_;
  const Panel& panel_;
  std::string body_;
  int height_ = 0;
};

}  // namespace

PanelPage panel_page(const standin::Host& host, const Panel& panel, const std::string& title) {
  return PageWriter(host, panel).page(title);
}

}  // namespace tool
