#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "samples/sample_files.h"

namespace {

void write(const std::filesystem::path& file, const std::vector<std::uint8_t>& bytes) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw std::runtime_error(file.string() + ": cannot be written; check that the folder exists and is not read-only");
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2 || *argv[1] == '-') {
    std::cerr << "Usage: make-samples FOLDER\nWrites the sample scene and its objects into the folder.\n";
    return EXIT_FAILURE;
  }
  for (const samples::SampleFile& file : samples::sample_files()) {
    write(std::filesystem::path(argv[1]) / file.path, file.bytes);
    std::cout << file.path << ": " << file.bytes.size() << " bytes\n";
  }
  return EXIT_SUCCESS;
} catch (const std::exception& error) {
  std::cerr << error.what() << "\n";
  return EXIT_FAILURE;
}
