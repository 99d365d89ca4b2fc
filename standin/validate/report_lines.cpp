#include "standin/validate/report_lines.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace standin::validate {
namespace {

/// A text without what separates words and lines.
std::string one_word(std::string text) {
  std::ranges::replace_if(
      text, [](char character) { return character == '\t' || character == '\n' || character == '\r'; }, ' ');
  return text;
}

}  // namespace

ReportWriter::ReportWriter(const std::filesystem::path& file) : file_(std::fopen(file.string().c_str(), "wb")) {
  if (file_ == nullptr) throw std::runtime_error("The report " + file.string() + " cannot be written");
}

void ReportWriter::line(const std::string& kind, const std::string& first, const std::string& second) {
  std::fprintf(file_.get(), "%s\t%s\t%s\n", kind.c_str(), one_word(first).c_str(), one_word(second).c_str());
  std::fflush(file_.get());
}

std::vector<std::vector<std::string>> read_report(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::vector<std::vector<std::string>> lines;
  for (std::string line; std::getline(in, line);) {
    // The last line may still be being written.
    if (in.eof()) break;
    std::vector<std::string>& words = lines.emplace_back();
    for (std::size_t start = 0;;) {
      const std::size_t tabulator = line.find('\t', start);
      words.push_back(line.substr(start, tabulator - start));
      if (tabulator == std::string::npos) break;
      start = tabulator + 1;
    }
    words.resize(3);
  }
  return lines;
}

}  // namespace standin::validate
