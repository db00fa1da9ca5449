#include "prefix_command.h"

#include <algorithm>

namespace quon::sim {

bool takes_next_word(const CLI::App& command, const std::string& word) {
    const CLI::Option* option = command.get_option_no_throw(word);
    return option != nullptr && option->get_items_expected_max() > 0;
}

const CLI::App* command_named(const CLI::App& app, const std::string& name) {
    for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (each->get_name() == name) {
            return each;
        }
    }
    return nullptr;
}

std::vector<std::string> cut_command(const CLI::App& command, std::vector<std::string>& words) {
    if (words.empty() || words[0] != command.get_name()) {
        return {};
    }
    size_t at = 1;
    while (at < words.size() && words[at].starts_with("-") && words[at] != "--") {
        at += takes_next_word(command, words[at]) ? 2 : 1;
    }
    at = std::min(at, words.size());
    std::vector<std::string> cut(words.begin() + static_cast<std::ptrdiff_t>(at), words.end());
    words.resize(at);
    if (!cut.empty() && cut[0] == "--") {
        cut.erase(cut.begin());
    }
    return cut;
}

}  // namespace quon::sim
