// Possible words at each place of the command line, for the shells' completion.
#include <algorithm>

#include "quon_mcu/command_line.h"
#include "quon_mcu/completion_scripts.h"
#include "quon_mcu/describe.h"
#include "quon_mcu/encode.h"
#include "quon_mcu/names.h"
#include "shared/failure.h"

namespace quon::client {
namespace {

using word_list = std::vector<std::string>;

word_list names_of_kind(catalog::service_kind kind) {
    word_list names;
    for (const catalog::service& each : catalog::services()) {
        if (each.kind == kind) {
            names.emplace_back(short_name(each));
        }
    }
    return names;
}

// "NAME=", or "NAME=VALUE" for the known values of the field being typed.
word_list assignments(const catalog::record* record, const std::string& partial) {
    word_list words;
    for (const catalog::field& each :
         record == nullptr ? std::span<const catalog::field>() : record->fields) {
        const std::string start = std::string(each.name) + "=";
        if (!partial.starts_with(start)) {
            words.push_back(start);
            continue;
        }
        for (const catalog::known_value& value : each.values) {
            words.push_back(start + std::to_string(value.value));
        }
    }
    return words;
}

const catalog::record* record_of(std::string_view verb, const std::string& object) {
    try {
        const catalog::service& service = service_of(verb, object);
        return verb == "set" || service.request != nullptr ? service.request : service.reply;
    } catch (const failure&) {
        return nullptr;
    }
}

// The fields of the answer, which get can show individually.
word_list field_words(const std::string& object) {
    try {
        return answer_fields(*service_of("get", object).reply);
    } catch (const failure&) {
        return {};
    }
}

word_list object_words(const std::string& verb, const word_list& before,
                       const std::string& partial) {
    if (before.empty()) {
        return objects_of(verb == "wait" ? "get" : verb);
    }
    const catalog::record* record = record_of(verb == "wait" ? "get" : verb, before[0]);
    if (verb == "get") {
        return field_words(before[0]);
    }
    word_list words = assignments(record, partial);
    if (verb == "set" && record != nullptr && record->name == "time") {
        words.emplace_back("now");
    }
    return words;
}

word_list log_level_words() {
    word_list words;
    const auto& profile = *service_named("set.log.profile").request;
    for (const catalog::known_value& each : field_named(profile, "level_limit").values) {
        words.emplace_back(each.meaning);
    }
    return words;
}

word_list positional_words(const std::string& command, const word_list& before,
                           const std::string& partial) {
    if (command == "get" || command == "set" || command == "wait") {
        return object_words(command, before, partial);
    }
    if (!before.empty()) {
        return {};
    }
    if (command == "call" || command == "send") {
        return names_of_kind(command == "call" ? catalog::service_kind::method
                                               : catalog::service_kind::signal);
    }
    if (command == "describe") {
        word_list words = short_names();
        for (const char* verb : {"get", "set", "upg"}) {
            std::ranges::copy(objects_of(verb), std::back_inserter(words));
        }
        return words;
    }
    if (command == "log-level") {
        return log_level_words();
    }
    return command == "completion" ? word_list{"bash", "zsh"} : word_list{};
}

word_list option_values(const std::string& option, const word_list& positionals,
                        const std::string& partial) {
    if (option == "--field" && !positionals.empty()) {
        return assignments(record_of("set", positionals[0]), partial);
    }
    if (option == "--as") {
        word_list names;
        for (const catalog::record* each : catalog::records()) {
            names.emplace_back(each->name);
        }
        return names;
    }
    return option == "--base" ? word_list{"current", "zero"} : word_list{};
}

}  // namespace

std::vector<std::string> command_line::candidates(const word_list& words,
                                                  const std::string& partial) const {
    const CLI::App* command = nullptr;
    word_list positionals;
    const auto expects_command = [&command] {
        return command == nullptr || command->get_name() == "watch";
    };
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i].starts_with("-")) {
            if (takes_next_word(command, words[i]) && ++i == words.size()) {
                return option_values(words.back(), positionals, partial);
            }
        } else if (expects_command()) {
            command = command_named(words[i]);
            if (command == nullptr) {
                return {};
            }
        } else {
            positionals.push_back(words[i]);
        }
    }
    if (partial.starts_with("-")) {
        return options_of(command);
    }
    if (command != nullptr && command->get_name() == "help") {
        return positionals.empty() ? command_names() : word_list{};
    }
    return expects_command() ? command_names()
                             : positional_words(command->get_name(), positionals, partial);
}

std::vector<std::string> command_line::completions(std::vector<std::string> words) const {
    const std::string partial = words.empty() ? "" : words.back();
    if (!words.empty()) {
        words.pop_back();
    }
    word_list found = candidates(words, partial);
    std::erase_if(found,
                  [&partial](const std::string& each) { return !each.starts_with(partial); });
    std::ranges::sort(found);
    found.erase(std::ranges::unique(found).begin(), found.end());
    return found;
}

void print_completion(context& ctx, const std::string& shell) {
    ctx.out.write(shell == "bash" ? bash_completion : zsh_completion);
}

}  // namespace quon::client
