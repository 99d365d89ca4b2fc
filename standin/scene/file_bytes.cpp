#include "standin/scene/file_bytes.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <system_error>

#include "standin/scene/file_error.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#endif

namespace standin {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};

/// Beside the file. Whoever may write to the folder could leave a link under a name that can be guessed.
std::filesystem::path unfinished_name(const std::filesystem::path& file) {
  std::random_device source;
  auto name = file;
  name += ".unfinished-" + std::to_string(source()) + std::to_string(source());
  return name;
}

/// Null when there is a file or a link of that name already.
std::unique_ptr<std::FILE, CloseFile> make_file(const std::filesystem::path& name) {
#ifdef _WIN32
  const int descriptor = _wopen(name.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY, _S_IREAD | _S_IWRITE);
  return std::unique_ptr<std::FILE, CloseFile>(descriptor >= 0 ? _fdopen(descriptor, "wb") : nullptr);
#else
  return std::unique_ptr<std::FILE, CloseFile>(std::fopen(name.c_str(), "wbxe"));
#endif
}

}  // namespace

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
  const auto unfinished = unfinished_name(file);
  std::error_code error;
  {
    const std::unique_ptr<std::FILE, CloseFile> stream = make_file(unfinished);
    const bool written = stream != nullptr && std::fwrite(content.data(), 1, content.size(), stream.get()) == content.size() &&
                         std::fflush(stream.get()) == 0;
    if (!written) {
      if (stream != nullptr) std::filesystem::remove(unfinished, error);
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
