#include "standin/scene/file_bytes.h"

#include <array>
#include <chrono>
#include <fstream>
#include <system_error>

#include "standin/scene/file_error.h"

namespace standin {

std::string read_file_bytes(const std::filesystem::path& file) {
  std::error_code ignored;
  if (std::filesystem::is_directory(file, ignored)) throw FileError(file.string(), "", "is a folder; give a file");
  // One without an end would be read for ever, and opening one that nobody writes into would wait for somebody.
  if (std::filesystem::exists(file, ignored) && !std::filesystem::is_regular_file(file, ignored))
    throw FileError(file.string(), "", "is a pipe or a device; give a file");
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw FileError(file.string(), "", "cannot be opened; check that it exists and is readable");
  std::string content;
  std::array<char, 65536> part;
  do {
    stream.read(part.data(), static_cast<std::streamsize>(part.size()));
    content.append(part.data(), static_cast<std::size_t>(stream.gcount()));
  } while (stream);
  if (stream.bad()) throw FileError(file.string(), "", "cannot be read to its end");
  return content;
}

void replace_file(const std::filesystem::path& file, std::string_view content) {
  auto unfinished = file;
  unfinished += ".unfinished-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
  std::error_code error;
  {
    std::ofstream stream(unfinished, std::ios::binary);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream) {
      std::filesystem::remove(unfinished, error);
      throw FileError(file.string(), "", "cannot be written; check that its folder exists, is writable and has free space");
    }
  }
  std::filesystem::rename(unfinished, file, error);
  if (error) {
    const std::string reason = error.message();
    std::filesystem::remove(unfinished, error);
    throw FileError(file.string(), "", "cannot be replaced: " + reason);
  }
}

}  // namespace standin
