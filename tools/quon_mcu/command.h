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
    std::function<void()> action;  // what the parsed command line asks for
};

// Runs one command line (without the program's name) and returns the exit status.
int run(std::vector<std::string> words, output out);

void add_object_commands(CLI::App& app, context& ctx);   // get, set, log-level
void add_request_commands(CLI::App& app, context& ctx);  // call, send
void add_upgrade_command(CLI::App& app, context& ctx);
void add_handoff_command(CLI::App& app, context& ctx);

// Adds a command whose `action` runs once the whole line has been parsed without error.
CLI::App* add_command(CLI::App& app, context& ctx, const std::string& name,
                      const std::string& meaning, std::function<void()> action);

}  // namespace quon::client
