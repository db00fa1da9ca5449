// The command line: options and commands.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "quon_mcu/commands.h"

namespace quon::client {

// The options and commands for one line; it only parses. `action` is set during parsing.
class command_line {
  public:
    // Creates only the commands that `words` may name, or all if they name none.
    explicit command_line(context& ctx, std::span<const std::string> words = {});
    command_line(const command_line&) = delete;
    command_line& operator=(const command_line&) = delete;

    // Parses the words. Throws failure (usage) and CLI::ParseError, the latter also for --help and
    // --version.
    std::function<void()> parse(std::vector<std::string> words);

    // Reads the record definitions given on the line, or those of the default places. Throws
    // failure, except for completions, which ignore errors.
    void load_records();

    CLI::App& app() { return app_; }

    // All words that may replace the last of `words` and begin like it.
    std::vector<std::string> completions(std::vector<std::string> words) const;

  private:
    struct command_group;
    static const command_group groups[12];
    static bool names_only_commands(std::span<const std::string> words);

    CLI::App* add(const std::string& name, const std::string& meaning,
                  std::function<void()> action);
    // What follows such a command and its options is stored unparsed in the context's rest.
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
    void add_field_commands();
    void add_completion_commands();

    static std::vector<std::string> command_names();  // without the hidden ones
    const CLI::App* command_named(const std::string& name) const;
    bool takes_next_word(const CLI::App* command, const std::string& option) const;
    std::vector<std::string> split_rest(std::vector<std::string>& words);
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
