#include "interop/message_files.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/export.h"

namespace {

void put_text(const char* path, const char* mode, const char* text, const char* end) noexcept {
  if (path == nullptr || text == nullptr) return;
  std::FILE* file = std::fopen(path, mode);
  if (file == nullptr) return;
  // Nobody is told when a disk is full: the callers have no way to hear it.
  static_cast<void>(std::fputs(text, file));
  static_cast<void>(std::fputs(end, file));
  static_cast<void>(std::fclose(file));
}

bool is_blank(int character) noexcept {
  return character > 0 && std::string_view(" \t\n\v\f\r").find(static_cast<char>(character)) != std::string_view::npos;
}

}  // namespace

extern "C" {

OVICAM_EXPORT void appendMessageToFile(const char* path, const char* text) { put_text(path, "a", text, ""); }

OVICAM_EXPORT void writeMessageToFile(const char* path, const char* text) { put_text(path, "w", text, "\n"); }

OVICAM_EXPORT void readMessageFromFile(const char* path, char* out) {
  if (out == nullptr) return;
  std::FILE* file = path != nullptr ? std::fopen(path, "r") : nullptr;
  if (file == nullptr) {
    std::memcpy(out, "---", 4);
    return;
  }
  int character = std::fgetc(file);
  while (is_blank(character)) character = std::fgetc(file);
  if (character != EOF) {
    for (; character != EOF && !is_blank(character); character = std::fgetc(file)) *out++ = static_cast<char>(character);
    *out = '\0';
  }
  static_cast<void>(std::fclose(file));
}
}
