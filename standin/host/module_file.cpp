#include "standin/host/module_file.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

namespace standin {
namespace {

constexpr const char* no_module = "it is neither a library of Windows nor of this system; give the module's own file";
constexpr const char* no_library = "it is a program or a part of one, and no library; give the module's own file";
constexpr const char* other_processor = "it is for another kind of processor; give the module for x86-64";
constexpr const char* cut_off = "it is cut off or damaged; copy it again";

/// Little-endian numbers at offsets of a file, none beyond its end.
class Bytes {
 public:
  explicit Bytes(const std::filesystem::path& file) : stream_(file, std::ios::binary) {
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    size_ = error ? 0 : size;
  }

  template <class Number>
  std::optional<Number> at(std::uint64_t offset) {
    if (!holds(offset, sizeof(Number))) return std::nullopt;
    std::array<char, sizeof(Number)> bytes{};
    stream_.seekg(static_cast<std::streamoff>(offset));
    if (!stream_.read(bytes.data(), bytes.size())) return std::nullopt;
    Number number = 0;
    for (std::size_t i = bytes.size(); i-- > 0;)
      number = static_cast<Number>((std::uint64_t{number} << 8) | static_cast<unsigned char>(bytes[i]));
    return number;
  }

  bool holds(std::uint64_t offset, std::uint64_t count) const { return offset <= size_ && count <= size_ - offset; }

 private:
  std::ifstream stream_;
  std::uint64_t size_ = 0;
};

std::string linux_trouble(Bytes& bytes) {
  constexpr std::uint8_t class_64 = 2;
  constexpr std::uint8_t little_endian = 1;
  constexpr std::uint16_t shared_object = 3;
  constexpr std::uint16_t x86_64 = 62;
  constexpr std::uint16_t program_header_size = 56;
  constexpr std::uint32_t loaded = 1;
  if (bytes.at<std::uint8_t>(4) != class_64 || bytes.at<std::uint8_t>(5) != little_endian) return other_processor;
  const auto type = bytes.at<std::uint16_t>(16);
  const auto machine = bytes.at<std::uint16_t>(18);
  const auto program_headers = bytes.at<std::uint64_t>(32);
  const auto section_headers = bytes.at<std::uint64_t>(40);
  const auto program_header_bytes = bytes.at<std::uint16_t>(54);
  const auto program_header_count = bytes.at<std::uint16_t>(56);
  const auto section_header_bytes = bytes.at<std::uint16_t>(58);
  const auto section_header_count = bytes.at<std::uint16_t>(60);
  if (!type || !machine || !program_headers || !section_headers || !program_header_bytes || !program_header_count ||
      !section_header_bytes || !section_header_count)
    return cut_off;
  if (machine != x86_64) return other_processor;
  if (type != shared_object) return no_library;
  // The last of a file are the headers of its sections, which the loader has no use for.
  if (*program_header_count == 0 || *program_header_bytes != program_header_size ||
      !bytes.holds(*program_headers, std::uint64_t{program_header_size} * *program_header_count) ||
      !bytes.holds(*section_headers, std::uint64_t{*section_header_bytes} * *section_header_count))
    return cut_off;
  for (std::uint64_t i = 0; i < *program_header_count; ++i) {
    const std::uint64_t header = *program_headers + i * program_header_size;
    const auto offset = bytes.at<std::uint64_t>(header + 8);
    const auto size_in_file = bytes.at<std::uint64_t>(header + 32);
    if (!offset || !size_in_file) return cut_off;
    if (bytes.at<std::uint32_t>(header) == loaded && !bytes.holds(*offset, *size_in_file)) return cut_off;
  }
  return {};
}

std::string windows_trouble(Bytes& bytes) {
  constexpr std::uint32_t signature = 0x00004550;
  constexpr std::uint16_t x86_64 = 0x8664;
  constexpr std::uint16_t library = 0x2000;
  constexpr std::uint64_t header_bytes = 24;
  constexpr std::uint64_t section_bytes = 40;
  const auto start = bytes.at<std::uint32_t>(60);
  if (!start || !bytes.holds(*start, header_bytes)) return cut_off;
  if (bytes.at<std::uint32_t>(*start) != signature) return no_module;
  if (bytes.at<std::uint16_t>(*start + 4) != x86_64) return other_processor;
  const auto sections = bytes.at<std::uint16_t>(*start + 6);
  const auto optional_bytes = bytes.at<std::uint16_t>(*start + 20);
  const auto flags = bytes.at<std::uint16_t>(*start + 22);
  if (!sections || !optional_bytes || !flags) return cut_off;
  if ((*flags & library) == 0) return no_library;
  for (std::uint64_t i = 0; i < *sections; ++i) {
    const std::uint64_t section = *start + header_bytes + *optional_bytes + i * section_bytes;
    const auto size_in_file = bytes.at<std::uint32_t>(section + 16);
    const auto offset = bytes.at<std::uint32_t>(section + 20);
    if (!bytes.holds(section, section_bytes) || !size_in_file || !offset || !bytes.holds(*offset, *size_in_file))
      return cut_off;
  }
  return {};
}

}  // namespace

std::string module_file_trouble(const std::filesystem::path& file) {
  std::error_code error;
  // Opening a pipe would wait for somebody to write into it.
  if (!std::filesystem::is_regular_file(file, error)) {
    if (std::filesystem::is_directory(file, error)) return "it is a folder; give the module's own file";
    return std::filesystem::exists(file, error) ? "it is a pipe or a device; give the module's own file"
                                                : "there is no such file";
  }
  Bytes bytes(file);
  const auto first = bytes.at<std::uint32_t>(0);
  if (first == 0x464C457FU) return linux_trouble(bytes);
  if (first && (*first & 0xFFFFU) == 0x5A4DU) return windows_trouble(bytes);
  return no_module;
}

}  // namespace standin
