#include "tool/commands/warnings.h"

#include <iostream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace tool {
namespace {

constexpr std::string_view mark = "warning: ";

}  // namespace

void Warnings::add(const standin::Scene& scene) {
  for (const std::string& warning : scene.notes.warnings) add(warning);
}

void Warnings::add(standin::Session& session) {
  for (const std::string& note : session.take_notes()) lines_ << "set " << note << '\n';
  for (const std::string& warning : session.take_warnings()) add(warning);
}

void Warnings::add(const std::string& sentence) { lines_ << mark << sentence << '\n'; }

std::vector<std::string> Warnings::tell() {
  std::istringstream lines(std::exchange(lines_, {}).str());
  std::vector<std::string> sentences;
  std::string all;
  for (std::string line; std::getline(lines, line);) {
    const bool is_warning = line.starts_with(mark);
    if (is_warning) {
      sentences.push_back(line.substr(mark.size()));
      all += (all.empty() ? "" : "; ") + sentences.back();
    }
    if (!is_warning || !strict_) std::cerr << line << '\n';
  }
  if (strict_ && !all.empty()) throw std::runtime_error("--strict refuses this: " + all);
  return sentences;
}

}  // namespace tool
