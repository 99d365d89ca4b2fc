#include "tool/commands/completion_command.h"

#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tool/commands/usage_error.h"

namespace tool {
namespace {

std::vector<const CLI::App*> commands_of(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

bool takes_value(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

/// As they are written on a command line.
std::vector<std::string> names_of(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  return names;
}

/// Every command with the words that lead to it, "ovicam skybox split".
void add_paths(const CLI::App& app, const std::string& before, std::vector<std::pair<std::string, const CLI::App*>>& paths) {
  const std::string path = before.empty() ? app.get_name() : before + ' ' + app.get_name();
  paths.emplace_back(path, &app);
  for (const CLI::App* command : commands_of(app)) add_paths(*command, path, paths);
}

std::string joined_words(const CLI::App& app, bool with_value_only) {
  std::string words;
  for (const CLI::Option* option : app.get_options()) {
    if (with_value_only && !takes_value(*option)) continue;
    for (const std::string& name : names_of(*option)) words += (words.empty() ? "" : " ") + name;
  }
  if (with_value_only) return words;
  for (const CLI::App* command : commands_of(app)) words += (words.empty() ? "" : " ") + command->get_name();
  return words;
}

std::string bash_script(const CLI::App& app) {
  std::vector<std::pair<std::string, const CLI::App*>> paths;
  add_paths(app, "", paths);
  std::ostringstream script;
  script
      << "# Completion for bash. Load it with: source <(ovicam completion bash)\n_ovicam() {\n"
      << "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command=ovicam word words= valued=\n"
      << "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n    case \"$command $word\" in\n";
  for (const auto& [path, command] : paths)
    if (command != &app) script << "      '" << path << "') command='" << path << "' ;;\n";
  script << "    esac\n  done\n  case $command in\n";
  for (const auto& [path, command] : paths) {
    script << "    '" << path << "') words='" << joined_words(*command, false) << "' valued='" << joined_words(*command, true)
           << "' ;;\n";
  }
  script << "  esac\n  COMPREPLY=()\n"
         << "  if [[ \" $valued \" == *\" $previous \"* || $current != -* && $command != ovicam ]]; then\n"
         << "    mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n  fi\n"
         << "  if [[ \" $valued \" != *\" $previous \"* ]]; then\n"
         << "    mapfile -t -O \"${#COMPREPLY[@]}\" COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n  fi\n}\n"
         << "complete -o filenames -F _ovicam ovicam\n";
  return script.str();
}

/// Between single quotes of the shell, and in a specification of zsh where brackets and colons have a meaning.
std::string zsh_text(const std::string& text) {
  std::string quoted;
  for (const char letter : text)
    if (letter == '\'')
      quoted += "'\\''";
    else if (letter == '\n')
      quoted += ' ';
    else if (letter == '[' || letter == ']' || letter == ':' || letter == '\\')
      quoted += std::string("\\") + letter;
    else
      quoted += letter;
  return quoted;
}

std::string zsh_function_name(std::string path) {
  for (char& letter : path)
    if (letter == ' ' || letter == '-') letter = '_';
  return "_" + path;
}

std::string zsh_script(const CLI::App& app) {
  std::vector<std::pair<std::string, const CLI::App*>> paths;
  add_paths(app, "", paths);
  std::ostringstream script;
  script << "#compdef ovicam\n# Completion for zsh. Load it with: source <(ovicam completion zsh)\n";
  for (const auto& [path, command] : paths) {
    script << zsh_function_name(path) << "() {\n  local state line\n  _arguments -C";
    for (const CLI::Option* option : command->get_options()) {
      for (const std::string& name : names_of(*option)) {
        script << " \\\n    '*" << name << '[' << zsh_text(option->get_description()) << ']'
               << (takes_value(*option) ? ":value:_files" : "") << '\'';
      }
    }
    const auto commands = commands_of(*command);
    if (commands.empty()) {
      script << " \\\n    '*:file:_files'\n}\n";
      continue;
    }
    script
        << " \\\n    '1:command:->command' \\\n    '*::rest:->rest'\n  case $state in\n    command)\n      local -a commands=(";
    for (const CLI::App* sub : commands)
      script << "\n        '" << sub->get_name() << ':' << zsh_text(sub->get_description()) << '\'';
    script << ")\n      _describe command commands ;;\n    rest)\n      case $line[1] in\n";
    for (const CLI::App* sub : commands)
      script << "        " << sub->get_name() << ") " << zsh_function_name(path + ' ' + sub->get_name()) << " ;;\n";
    script << "      esac ;;\n  esac\n}\n";
  }
  script << "compdef _ovicam ovicam\n";
  return script.str();
}

}  // namespace

void add_completion_command(CLI::App& app) {
  auto* command = app.add_subcommand("completion", "Writes a script that completes commands and options in bash or zsh.");
  command->footer("Example:\n  ovicam completion bash > ~/.local/share/bash-completion/completions/ovicam");
  const auto shell = std::make_shared<std::string>();
  command->add_option("SHELL", *shell, "bash or zsh")->required();
  command->callback([shell, &app] {
    if (*shell == "bash")
      std::cout << bash_script(app);
    else if (*shell == "zsh")
      std::cout << zsh_script(app);
    else
      throw UsageError("SHELL " + *shell + ": give bash or zsh");
  });
}

}  // namespace tool
