// The command line: options, commands and what they are called.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "quon_mcu/commands.h"

namespace quon::client {

// The options and commands for one line; it does nothing itself. `action` is set while the line is
// parsed.
class command_line {
  public:
    // Only the commands that `words` may name are made, or all when they name none.
    explicit command_line(context& ctx, std::span<const std::string> words = {});
    command_line(const command_line&) = delete;
    command_line& operator=(const command_line&) = delete;

    // Parses the words and says what they ask for. Throws failure (usage) and CLI::ParseError, the
    // latter also for --help and --version.
    std::function<void()> parse(std::vector<std::string> words);

    // Reads the definitions of records that the line names, or those of the usual places. Throws
    // failure, unless the line asks for completions, which do without.
    void load_records();

    CLI::App& app() { return app_; }

    // All that may stand at the last of `words` and begins as it does.
    std::vector<std::string> completions(std::vector<std::string> words) const;

  private:
    struct command_group;
    static const command_group groups[12];
    static bool names_only_commands(std::span<const std::string> words);

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
