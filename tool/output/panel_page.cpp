#include "tool/output/panel_page.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "standin/session/control_text.h"
#include "tool/output/markup_text.h"
#include "tool/output/png_file.h"

namespace tool {
namespace {

using standin::ControlDescription;

// The sizes that panel_style() gives to a page of this width; every label of the module fits on one line there.
constexpr int page_width = 460;
constexpr int margin = 10;
constexpr int title_height = 34;
constexpr int row_height = 26;
constexpr int divider_height = 13;

std::string base_64(std::span<const std::byte> bytes) {
  constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto byte = [&](std::size_t at) { return at < bytes.size() ? std::to_integer<std::uint32_t>(bytes[at]) : 0U; };
    const std::uint32_t group = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
    for (std::size_t digit = 0; digit < 4; ++digit)
      text += i + digit > bytes.size() ? '=' : digits[group >> (18 - 6 * digit) & 63U];
  }
  return text;
}

std::string field(const std::string& text, const char* more = "") {
  return std::string("<span class=\"field") + more + "\">" + as_markup(text) + "</span>";
}

/// For screen readers, which do not see the label beside a control.
std::string accessible_name(const ControlDescription& row) { return " aria-label=\"" + as_markup(row.label) + "\""; }

/// The choice is marked by its number: a scene may have two cameras with the same name.
std::string popup(const ControlDescription& row) {
  std::string html = "<select" + accessible_name(row) + ">";
  for (std::size_t i = 0; i < row.choices.size(); ++i)
    html += (std::to_string(i) == row.value ? "<option selected>" : "<option>") + as_markup(row.choices[i]) + "</option>";
  return html + "</select>";
}

std::string slider(const ControlDescription& row, const std::string& value) {
  constexpr long long usual_span = 100;
  const auto low = static_cast<long long>(row.minimum.value_or(0.0));
  const auto number = std::strtoll(value.c_str(), nullptr, 10);
  const auto high = static_cast<long long>(row.maximum.value_or(static_cast<double>(std::max(2 * number, low + usual_span))));
  return field(value, " narrow") + "<input" + accessible_name(row) + R"( type="range" min=")" + std::to_string(low) +
         "\" max=\"" + std::to_string(high) + "\" value=\"" + value + "\">";
}

/// The value, to the right of the label.
std::string value_of(const ControlDescription& row) {
  const standin::DisplayedValue shown = displayed_value(row);
  const standin::Quantity quantity = quantity_of(row);
  if (quantity == standin::Quantity::text) return as_markup(shown.value);
  if (shown.value.empty()) return "";
  switch (quantity) {
    case standin::Quantity::yes_or_no:
      return "<input" + accessible_name(row) + " type=\"checkbox\"" + (shown.value == "yes" ? " checked>" : ">");
    case standin::Quantity::choice:
      return popup(row);
    case standin::Quantity::whole_number:
      return row.control_class.find("Slider") == std::string::npos ? field(shown.value) : slider(row, shown.value);
    default:
      break;
  }
  if (!row.data_type.ends_with("-env")) return field(shown.text());
  return field(shown.text()) + "<button class=\"e" + (row.animated ? " on" : "") + R"(" type="button">E</button>)";
}

std::string drawing_of(const ControlDescription& row, const standin::Picture& picture) {
  std::string html = R"(<div class="drawing"><img alt=")" + as_markup(row.label) + "\" width=\"" +
                     std::to_string(picture.width()) + "\" height=\"" + std::to_string(picture.height()) + "\" src=\"" +
                     png_data_uri(picture) + "\">";
  for (const auto& text : picture.texts) {
    html += "<span style=\"left:" + std::to_string(text.x) + "px;top:" + std::to_string(text.y) + "px\">" +
            as_markup(text.text) + "</span>";
  }
  return html + "</div>\n";
}

int height_of(std::span<const ControlDescription> rows) {
  int height = 2 * margin + title_height;
  for (const ControlDescription& row : rows) {
    height += row.drawing ? row.drawing->height() : row_height;
    if (row.divider_below) height += divider_height;
  }
  return height;
}

}  // namespace

std::string png_data_uri(const standin::Picture& picture) {
  std::vector<std::byte> file;
  PngWriter writer({.width = picture.width(), .height = picture.height(), .channels = 3},
                   [&](std::span<const std::byte> bytes) { file.insert(file.end(), bytes.begin(), bytes.end()); });
  writer.write_rows(std::as_bytes(picture.pixels()));
  writer.finish();
  return "data:image/png;base64," + base_64(file);
}

std::string_view panel_style() {
  return R"(/* The host's panels are dark in every theme. */
.panel { box-sizing: border-box; max-width: 460px; padding: 10px; background: #3a3c3f; color: #d8d8d8;
  font: 13px "DejaVu Sans", "Noto Sans", Arial, sans-serif }
.panel * { box-sizing: border-box }
.panel-title { margin: 0 0 10px; font-weight: 700; font-size: 14px; line-height: 24px }
.panel .row { display: flex; min-height: 26px; align-items: center }
.panel .label { flex: 0 1 210px; padding: 2px 10px 2px 0; text-align: right }
.panel .value { display: flex; flex: 1 1 230px; min-width: 0; align-items: center; gap: 5px }
.panel .field { flex: 1; min-width: 0; min-height: 21px; padding: 0 6px; line-height: 19px; background: #26282a;
  border: 1px solid #1a1b1c; color: #eee }
.panel .narrow { flex: none; width: 64px }
.panel .e { width: 21px; height: 21px; padding: 0; background: #55585c; border: 1px solid #1f2022; color: #ddd;
  font: 12px sans-serif }
.panel .e.on { background: #b58a2c; color: #111 }
.panel select { flex: 1; width: 100%; min-width: 0; height: 21px; background: #4b4e52; border: 1px solid #1f2022; color: #eee;
  font: inherit }
.panel input[type="range"] { flex: 1; width: 20px; accent-color: #b58a2c }
.panel input[type="checkbox"] { margin: 0; width: 15px; height: 15px; accent-color: #b58a2c }
.panel hr { height: 1px; margin: 6px 0; border: 0; background: #222 }
.panel .drawing { position: relative; max-width: 320px; margin: 0 auto }
.panel .drawing img { display: block }
.panel .drawing span { position: absolute; color: #ddd; font: 12px/14px sans-serif; white-space: pre }
)";
}

std::string panel_html(std::span<const ControlDescription> rows, const std::string& title) {
  std::string html = "<div class=\"panel\">\n<p class=\"panel-title\">" + as_markup(title) + "</p>\n";
  for (const ControlDescription& row : rows) {
    html += row.drawing ? drawing_of(row, *row.drawing)
                        : R"(<div class="row"><span class="label">)" + as_markup(row.label) + R"(</span><span class="value">)" +
                              value_of(row) + "</span></div>\n";
    if (row.divider_below) html += "<hr>\n";
  }
  return html + "</div>\n";
}

PanelPage panel_page(std::span<const ControlDescription> rows, const std::string& title) {
  return {
      "<!DOCTYPE html>\n<html lang=\"en\">\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
          as_markup(title) + "</title>\n<style>\nbody { margin: 0; background: #3a3c3f }\n" + std::string(panel_style()) +
          "</style>\n<main>\n" + panel_html(rows, title) + "</main>\n</html>\n",
      page_width, height_of(rows)};
}

}  // namespace tool
