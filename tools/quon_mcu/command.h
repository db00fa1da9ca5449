// What every command of the client gets, and the functions that add them to the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "quon_mcu/output.h"

namespace quon::client {

struct context {
    output out;
    int32_t timeout_ms = 5000;
    std::function<void()> action;              // what the parsed command line asks for
    int status = 0;                            // of an action that did not throw
    std::vector<std::string> prefix_commands;  // commands that take the rest of the line
    std::vector<std::string> rest;             // that rest, options and all
};

// Runs one command line (without the program's name) and returns the exit status.
int run(std::vector<std::string> words, output out, int32_t timeout_ms = 5000);

void add_catalog_commands(CLI::App& app, context& ctx);     // list, describe, docs
void add_object_commands(CLI::App& app, context& ctx);      // get, set, log-level
void add_request_commands(CLI::App& app, context& ctx);     // call, send
void add_event_commands(CLI::App& app, context& ctx);       // events, wait
void add_upgrade_command(CLI::App& app, context& ctx);      // upgrade
void add_shell_commands(CLI::App& app, context& ctx);       // exec, popen
void add_snapshot_commands(CLI::App& app, context& ctx);    // wakeup, status
void add_handoff_command(CLI::App& app, context& ctx);      // handoff
void add_watch_command(CLI::App& app, context& ctx);        // watch
void add_decode_command(CLI::App& app, context& ctx);       // decode
void add_completion_commands(CLI::App& app, context& ctx);  // completion, complete

// Adds a command whose `action` runs once the whole line has been parsed without error.
CLI::App* add_command(CLI::App& app, context& ctx, const std::string& name,
                      const std::string& meaning, std::function<void()> action);

// As add_command; what follows the command and its options, from the first word on or after "--",
// is not parsed but handed over in ctx.rest.
CLI::App* add_prefix_command(CLI::App& app, context& ctx, const std::string& name,
                             const std::string& meaning, std::function<void()> action);

// The command of that name, or null.
const CLI::App* command_named(const CLI::App& app, const std::string& name);

// Whether an option of `command` (may be null) or of the program takes the next word.
bool takes_next_word(const CLI::App& app, const CLI::App* command, const std::string& option);

}  // namespace quon::client
