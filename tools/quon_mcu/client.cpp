// The command line: options, commands, exit statuses.
#include <algorithm>
#include <sstream>

#include "quon_mcu/command.h"
#include "quon_mcu/failure.h"
#include "quon_mcu/names.h"
#include "quon_mcu/values.h"

namespace quon::client {
namespace {

constexpr const char* purpose =
    "Talks to the camera's companion chip through quon_mcu_daemon's services on the bus.";
constexpr const char* epilogue =
    "Exit status: 0 done, 1 the service answered with a failure, 2 usage, 3 no daemon,\n"
    "4 time-out, 5 malformed answer.";

int to_int(exit_status status) {
    return static_cast<int>(status);
}

void add_output_options(CLI::App& app, context& ctx) {
    struct row {
        const char* flag;
        output_mode mode;
        const char* meaning;
    };
    constexpr row rows[] = {
        {"--json", output_mode::json, "Results as JSON, one document a line"},
        {"--hex", output_mode::hex, "Payloads in hexadecimal"},
        {"--raw", output_mode::raw, "Payloads as they are"},
    };
    std::vector<CLI::Option*> options;
    for (const row& each : rows) {
        const output_mode mode = each.mode;
        CLI::Option* option = app.add_flag_callback(
            each.flag, [&ctx, mode] { ctx.out.mode = mode; }, each.meaning);
        for (CLI::Option* other : options) {
            option->excludes(other);
        }
        options.push_back(option);
    }
}

void add_commands(CLI::App& app, context& ctx) {
    add_object_commands(app, ctx);
    add_request_commands(app, ctx);
    add_upgrade_command(app, ctx);
    add_handoff_command(app, ctx);
}

std::vector<std::string> command_names(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(each->get_name());
    }
    return names;
}

// Words that no command took: an unknown command, a misspelt option, one word too many.
void refuse_leftovers(const CLI::App& app) {
    const std::vector<std::string> words = app.remaining();
    if (words.empty()) {
        return;
    }
    if (words[0].starts_with("-")) {
        throw failure(exit_status::usage, "unknown option '" + words[0] + "'");
    }
    if (app.get_subcommands().empty()) {
        throw failure(exit_status::usage, unknown("command", words[0], command_names(app)));
    }
    throw failure(exit_status::usage, "one word too many: '" + words[0] + "'");
}

int help_or_usage(CLI::App& app, context& ctx, const CLI::ParseError& error) {
    std::ostringstream results;
    std::ostringstream notes;
    if (app.exit(error, results, notes) == 0) {
        ctx.out.write(results.str());
        return to_int(exit_status::done);
    }
    ctx.out.note(std::string(error.what()) + "; see 'quon-mcu --help'");
    return to_int(exit_status::usage);
}

int parse_and_run(CLI::App& app, context& ctx, std::vector<std::string> words) {
    std::ranges::reverse(words);  // as CLI11 wants them
    try {
        app.parse(words);
        refuse_leftovers(app);
        if (!ctx.action) {
            throw failure(exit_status::usage, "a command is missing; see 'quon-mcu --help'");
        }
        ctx.action();
        return to_int(exit_status::done);
    } catch (const failure& error) {
        ctx.out.note(error.what());
        return to_int(error.status());
    } catch (const CLI::ParseError& error) {
        return help_or_usage(app, ctx, error);
    }
}

}  // namespace

CLI::App* add_command(CLI::App& app, context& ctx, const std::string& name,
                      const std::string& meaning, std::function<void()> action) {
    CLI::App* command = app.add_subcommand(name, meaning);
    command->callback([&ctx, action = std::move(action)] { ctx.action = action; });
    return command;
}

int run(std::vector<std::string> words, output out) {
    context ctx{.out = out, .action = {}};
    CLI::App app(purpose, "quon-mcu");
    app.footer(epilogue);
    app.fallthrough();
    app.allow_extras();
    app.set_version_flag("--version", "quon-mcu " QUON_VERSION);
    add_output_options(app, ctx);
    app.add_option_function<std::string>(
           "--timeout", [&ctx](const std::string& text) { ctx.timeout_ms = parse_duration(text); },
           "How long to wait for an answer: milliseconds or, say, 1.5s (default 5s)")
        ->type_name("TIME");
    add_commands(app, ctx);
    return parse_and_run(app, ctx, std::move(words));
}

}  // namespace quon::client
