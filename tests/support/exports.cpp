#include "tests/support/exports.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "tests/support/paths.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <elf.h>
#endif

namespace test_support {
namespace {

/// A file's bytes, read as the records that lie in them.
class FileBytes {
 public:
  explicit FileBytes(const std::filesystem::path& file) {
    bytes_.resize(std::filesystem::file_size(file));
    std::ifstream(file, std::ios::binary).read(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
  }

  template <class Record>
  Record record(std::size_t offset) const {
    Record copy;
    std::memcpy(&copy, at(offset, sizeof copy), sizeof copy);
    return copy;
  }

  /// The text that begins there and ends with a zero.
  std::string text(std::size_t offset) const {
    const char* first = at(offset, 1);
    return {first, strnlen(first, bytes_.size() - offset)};
  }

 private:
  const char* at(std::size_t offset, std::size_t size) const {
    if (offset > bytes_.size() || size > bytes_.size() - offset) throw std::runtime_error("The module file ends too early.");
    return bytes_.data() + offset;
  }

  std::vector<char> bytes_;
};

#ifdef _WIN32

/// Where in the file a part of the loaded image lies.
std::size_t file_offset(const FileBytes& file, std::size_t headers, std::uint32_t address) {
  const auto header = file.record<IMAGE_NT_HEADERS64>(headers);
  const std::size_t sections = headers + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + header.FileHeader.SizeOfOptionalHeader;
  for (std::size_t i = 0; i < header.FileHeader.NumberOfSections; ++i) {
    const auto section = file.record<IMAGE_SECTION_HEADER>(sections + i * sizeof(IMAGE_SECTION_HEADER));
    if (address >= section.VirtualAddress && address - section.VirtualAddress < section.SizeOfRawData)
      return section.PointerToRawData + (address - section.VirtualAddress);
  }
  throw std::runtime_error("The module file has no section for its exports.");
}

std::vector<std::string> exports_of(const FileBytes& file) {
  const auto headers = static_cast<std::size_t>(file.record<IMAGE_DOS_HEADER>(0).e_lfanew);
  const auto offset = [&](std::uint32_t address) { return file_offset(file, headers, address); };
  const auto& directories = file.record<IMAGE_NT_HEADERS64>(headers).OptionalHeader.DataDirectory;
  const auto table = file.record<IMAGE_EXPORT_DIRECTORY>(offset(directories[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress));
  // A function without a name is exported as well.
  if (table.NumberOfFunctions != table.NumberOfNames) throw std::runtime_error("The module exports something without a name.");
  std::vector<std::string> names;
  for (std::size_t i = 0; i < table.NumberOfNames; ++i) {
    const auto name = file.record<std::uint32_t>(offset(table.AddressOfNames) + i * sizeof(std::uint32_t));
    names.push_back(file.text(offset(name)));
  }
  return names;
}

std::vector<std::string> imports_of(const FileBytes& file) {
  const auto headers = static_cast<std::size_t>(file.record<IMAGE_DOS_HEADER>(0).e_lfanew);
  const auto offset = [&](std::uint64_t address) { return file_offset(file, headers, static_cast<std::uint32_t>(address)); };
  const auto& directories = file.record<IMAGE_NT_HEADERS64>(headers).OptionalHeader.DataDirectory;
  std::size_t at = offset(directories[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
  std::vector<std::string> names;
  for (;; at += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
    const auto library = file.record<IMAGE_IMPORT_DESCRIPTOR>(at);
    if (library.Name == 0) return names;
    for (std::size_t entry = offset(library.OriginalFirstThunk);; entry += sizeof(std::uint64_t)) {
      const auto address = file.record<std::uint64_t>(entry);
      if (address == 0) break;
      if ((address & IMAGE_ORDINAL_FLAG64) != 0) throw std::runtime_error("The module imports something without a name.");
      names.push_back(file.text(offset(address) + offsetof(IMAGE_IMPORT_BY_NAME, Name)));
    }
  }
}

#else

/// The names in the file's table of dynamic symbols: those that it needs, or those that it offers.
std::vector<std::string> dynamic_symbols(const FileBytes& file, bool needed) {
  const auto header = file.record<Elf64_Ehdr>(0);
  const auto section = [&](std::size_t i) { return file.record<Elf64_Shdr>(header.e_shoff + i * sizeof(Elf64_Shdr)); };
  std::vector<std::string> names;
  for (std::size_t i = 0; i < header.e_shnum; ++i) {
    const Elf64_Shdr symbols = section(i);
    if (symbols.sh_type != SHT_DYNSYM) continue;
    const std::size_t texts = section(symbols.sh_link).sh_offset;
    for (std::size_t at = 0; at < symbols.sh_size; at += sizeof(Elf64_Sym)) {
      const auto symbol = file.record<Elf64_Sym>(symbols.sh_offset + at);
      if ((symbol.st_shndx == SHN_UNDEF) != needed || ELF64_ST_BIND(symbol.st_info) == STB_LOCAL) continue;
      names.push_back(file.text(texts + symbol.st_name));
    }
  }
  return names;
}

std::vector<std::string> exports_of(const FileBytes& file) { return dynamic_symbols(file, false); }
std::vector<std::string> imports_of(const FileBytes& file) { return dynamic_symbols(file, true); }

#endif

/// Of the compiler, of the sanitizers, or of a template of the standard library, which is compiled into whoever uses it. What
/// stands before the first length tells whose namespace the name is in.
bool is_foreign(const std::string& exported) {
  if (!exported.starts_with("_Z")) return exported.starts_with("__");
  // The types of functions, by which a sanitizer sees who calls one as what it is not.
  if (exported.starts_with("_ZTIF") || exported.starts_with("_ZTSF")) return true;
  if (exported.starts_with("_ZN9__gnu_cxx")) return true;
  return exported.substr(0, exported.find_first_of("0123456789")).find("St") != std::string::npos;
}

}  // namespace

std::vector<std::string> promised_exports() {
  std::vector<std::filesystem::path> lists{source_folder() / "tests" / "exports.txt"};
  for (const auto& folder : std::filesystem::directory_iterator(source_folder() / "cameras"))
    if (const auto list = folder.path() / "exports.txt"; std::filesystem::exists(list)) lists.push_back(list);
  std::vector<std::string> names;
  for (const std::filesystem::path& list : lists) {
    std::ifstream file(list);
    for (std::string name; file >> name;) names.push_back(name);
  }
  std::ranges::sort(names);
  return names;
}

std::vector<std::string> found_exports() {
  std::vector<std::string> names = exports_of(FileBytes(module_file()));
  std::erase_if(names, is_foreign);
  return names;
}

std::vector<std::string> found_imports() { return imports_of(FileBytes(module_file())); }

std::string exported_name(const std::string& name_space, const std::string& function, const std::string& arguments) {
  return "_ZN" + std::to_string(name_space.size()) + name_space + std::to_string(function.size()) + function + "E" + arguments;
}

std::string source_name(const std::string& exported) {
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> readable(abi::__cxa_demangle(exported.c_str(), nullptr, nullptr, &status),
                                                        std::free);
  if (readable == nullptr) return exported;
  const std::string name = readable.get();
  return name.substr(0, name.find('('));
}

}  // namespace test_support
