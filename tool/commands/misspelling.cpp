#include "tool/commands/misspelling.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string_view>
#include <vector>

namespace tool {
namespace {

/// How many letters are to be added, left out, replaced or swapped with their neighbour to make one word of the other.
std::size_t difference(std::string_view from, std::string_view to) {
  std::vector<std::vector<std::size_t>> least(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
  for (std::size_t i = 0; i <= from.size(); ++i) {
    for (std::size_t j = 0; j <= to.size(); ++j) {
      if (i == 0 || j == 0) {
        least[i][j] = i + j;
        continue;
      }
      const std::size_t replaced = least[i - 1][j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
      least[i][j] = std::min({least[i - 1][j] + 1, least[i][j - 1] + 1, replaced});
      if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1])
        least[i][j] = std::min(least[i][j], least[i - 2][j - 2] + 1);
    }
  }
  return least[from.size()][to.size()];
}

/// ", did you mean NAME?" for the most similar name; empty where none is similar.
std::string suggestion(const std::string& written, const std::vector<std::string>& names) {
  const std::string* best = nullptr;
  std::size_t least = std::max<std::size_t>(2, written.size() / 3) + 1;
  for (const std::string& name : names) {
    // Who writes the beginning of a name means that one.
    const std::size_t here = name.starts_with(written) && written.size() > 3 ? 0 : difference(written, name);
    if (here >= least) continue;
    least = here;
    best = &name;
  }
  return best != nullptr ? "; did you mean " + *best + "?" : "";
}

std::vector<std::string> long_options(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options())
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  return names;
}

std::vector<std::string> subcommands(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    names.push_back(command->get_name());
  return names;
}

bool is_option(std::string_view word) {
  return word.size() > 1 && word[0] == '-' && (word[1] == '-' || std::isalpha(static_cast<unsigned char>(word[1])) != 0);
}

}  // namespace

std::string misspelling(const CLI::App& app, int argc, const char* const* argv) {
  const CLI::App* command = &app;
  std::string path = app.get_name();
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const auto names = subcommands(*command);
    if (word == "--") break;
    if (!is_option(word)) {
      if (names.empty()) continue;
      if (std::find(names.begin(), names.end(), word) == names.end())
        return "\"" + word + "\" is no subcommand of \"" + path + "\"" + suggestion(word, names);
      command = command->get_subcommand(word);
      path += ' ' + word;
      continue;
    }
    // A short option has its value beside it, too.
    const std::string name = word[1] == '-' ? word.substr(0, word.find('=')) : word.substr(0, 2);
    const CLI::Option* option = command->get_option_no_throw(name);
    if (option == nullptr) {
      const std::string similar = suggestion(name, long_options(*command));
      return name + " is no option of \"" + path + "\"" + (similar.empty() ? "; --help lists them" : similar);
    }
    if (option->get_items_expected_min() > 0 && name == word) ++i;
  }
  return {};
}

}  // namespace tool
