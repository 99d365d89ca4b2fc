#include "standin/validate/context.h"

#include <algorithm>
#include <array>
#include <utility>

#include "standin/validate/checks.h"

namespace standin::validate {
namespace {

constexpr std::size_t most_failures = 12;

std::uint64_t mixed(std::uint64_t seed, const std::string& text) {
  for (const char character : text) seed = (seed ^ static_cast<unsigned char>(character)) * 0x100000001B3U;
  return seed;
}

}  // namespace

Context::Context(std::filesystem::path module_file, std::filesystem::path work_folder, const std::string& test,
                 std::string server, int level, std::uint64_t seed, std::function<void(const std::string&)> tell)
    : module_file(std::move(module_file)),
      work_folder(std::move(work_folder)),
      server(std::move(server)),
      level(level),
      random(mixed(mixed(seed ^ 0xCBF29CE484222325U, test), this->server)),
      tell_(std::move(tell)) {}

int Context::times(int at_default) const {
  constexpr std::array<double, 10> factors{0.1, 0.2, 0.4, 0.7, 1.0, 1.6, 2.5, 4.0, 6.0, 10.0};
  return std::max(1, static_cast<int>(at_default * factors.at(static_cast<std::size_t>(level - 1))));
}

double Context::uniform(double lowest, double highest) {
  // Not the library's distribution: its numbers differ from one library to another.
  return lowest + (highest - lowest) * static_cast<double>(random() >> 11) * 0x1p-53;
}

int Context::index(int count) { return static_cast<int>(random() % static_cast<std::uint64_t>(count)); }

void Context::fail(const std::string& sentence) {
  const std::lock_guard lock(mutex_);
  if (std::ranges::find(failures_, sentence) != failures_.end()) return;
  if (failures_.size() == most_failures) {
    ++untold_failures_;
    return;
  }
  failures_.push_back(sentence);
  if (tell_) tell_(sentence);
}

bool Context::failed() const {
  const std::lock_guard lock(mutex_);
  return !failures_.empty();
}

std::size_t Context::untold_failures() const {
  const std::lock_guard lock(mutex_);
  return untold_failures_;
}

void Context::add_to_digest(const void* bytes, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) digest = (digest ^ static_cast<const unsigned char*>(bytes)[i]) * 0x100000001B3U;
}

const std::vector<Test>& all_tests() {
  static const std::vector<Test> all = [] {
    std::vector<Test> tests;
    for (const auto* list :
         {&loading_checks(), &activation_checks(), &instance_checks(), &ray_checks(), &conduct_checks(), &panel_checks()})
      tests.insert(tests.end(), list->begin(), list->end());
    return tests;
  }();
  return all;
}

const Test* find_test(const std::string& name) {
  for (const Test& test : all_tests())
    if (name == test.name) return &test;
  return nullptr;
}

}  // namespace standin::validate
