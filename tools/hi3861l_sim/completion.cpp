#include "completion.h"

#include <algorithm>

#include "completion_scripts.h"
#include "control_commands.h"
#include "prefix_command.h"

namespace quon::sim {
namespace {

using word_list = std::vector<std::string>;

word_list visible_commands(const CLI::App& app) {
    word_list names;
    for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (!each->get_group().empty()) {
            names.push_back(each->get_name());
        }
    }
    return names;
}

word_list options_of(const CLI::App& app) {
    word_list names;
    for (const CLI::Option* each : app.get_options()) {
        for (const std::string& name : each->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

word_list positional_words(const CLI::App& app, const CLI::App& command, const word_list& before) {
    const std::string& name = command.get_name();
    if (name == "control") {
        return control_words(before);
    }
    if (!before.empty()) {
        return {};
    }
    if (name == "completion") {
        return {"bash", "zsh"};
    }
    return name == "help" ? visible_commands(app) : word_list{};
}

word_list candidates(const CLI::App& app, const word_list& words, const std::string& partial) {
    const CLI::App* command = &app;
    word_list positionals;
    for (size_t i = 0; i < words.size(); i++) {
        if (words[i].starts_with("-")) {
            if (takes_next_word(*command, words[i]) && ++i == words.size()) {
                return {};  // an option's value, perhaps a file
            }
        } else if (command == &app) {
            command = command_named(app, words[i]);
            if (command == nullptr) {
                return {};
            }
        } else {
            positionals.push_back(words[i]);
        }
    }
    if (partial.starts_with("-")) {
        return positionals.empty() || command->get_name() == "control" ? options_of(*command)
                                                                       : word_list{};
    }
    return command == &app ? visible_commands(app) : positional_words(app, *command, positionals);
}

}  // namespace

std::vector<std::string> completions(const CLI::App& app, std::vector<std::string> words) {
    const std::string partial = words.empty() ? "" : words.back();
    if (!words.empty()) {
        words.pop_back();
    }
    word_list found = candidates(app, words, partial);
    std::erase_if(found, [&](const std::string& each) { return !each.starts_with(partial); });
    std::ranges::sort(found);
    found.erase(std::ranges::unique(found).begin(), found.end());
    return found;
}

std::string completion_script(const std::string& shell) {
    return std::string(shell == "bash" ? bash_completion : zsh_completion);
}

}  // namespace quon::sim
