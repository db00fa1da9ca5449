// The command line: options, commands and what they are called.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "quon_mcu/commands.h"

namespace quon::client {

// A built command line; it does nothing itself. `action` is set while a line is parsed.
class command_line {
  public:
    explicit command_line(context& ctx);
    command_line(const command_line&) = delete;
    command_line& operator=(const command_line&) = delete;

    // Parses the words and says what they ask for. Throws failure (usage) and CLI::ParseError, the
    // latter also for --help and --version.
    std::function<void()> parse(std::vector<std::string> words);

    CLI::App& app() { return app_; }

    // All that may stand at the last of `words` and begins as it does.
    std::vector<std::string> completions(std::vector<std::string> words) const;

  private:
    CLI::App* add(const std::string& name, const std::string& meaning,
                  std::function<void()> action);
    // What follows such a command and its options goes to the context's rest, unparsed.
    CLI::App* add_prefix(const std::string& name, const std::string& meaning,
                         std::function<void()> action);

    void add_program_options();
    void add_catalog_commands();
    void add_object_commands();
    void add_request_commands();
    void add_event_commands();
    void add_upgrade_command();
    void add_shell_commands();
    void add_snapshot_commands();
    void add_handoff_command();
    void add_watch_command();
    void add_decode_command();
    void add_completion_commands();

    const CLI::App* command_named(const std::string& name) const;
    bool takes_next_word(const CLI::App* command, const std::string& option) const;
    std::vector<std::string> split_rest(std::vector<std::string>& words) const;
    // "--name" for every option of `command` (may be null) and of the program.
    std::vector<std::string> options_of(const CLI::App* command) const;
    void refuse_leftovers() const;
    std::vector<std::string> candidates(const std::vector<std::string>& words,
                                        const std::string& partial) const;

    context& ctx_;
    CLI::App app_;
    std::function<void()> action_;
    std::vector<std::string> prefix_commands_;
};

}  // namespace quon::client
