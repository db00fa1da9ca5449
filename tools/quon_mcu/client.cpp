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
    const auto given = std::make_shared<std::string>();
    for (const row& each : rows) {
        app.add_flag_callback(
            each.flag,
            [&ctx, given, each] {
                if (!given->empty()) {
                    throw failure(exit_status::usage, *given + " excludes " + each.flag);
                }
                *given = each.flag;
                ctx.out.mode = each.mode;
            },
            each.meaning);
    }
}

void add_commands(CLI::App& app, context& ctx) {
    add_catalog_commands(app, ctx);
    add_object_commands(app, ctx);
    add_request_commands(app, ctx);
    add_event_commands(app, ctx);
    add_upgrade_command(app, ctx);
    add_shell_commands(app, ctx);
    add_snapshot_commands(app, ctx);
    add_handoff_command(app, ctx);
    add_watch_command(app, ctx);
    add_decode_command(app, ctx);
    add_completion_commands(app, ctx);
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

// Takes what follows a prefix command and its options off `words`.
std::vector<std::string> split_rest(const CLI::App& app, const context& ctx,
                                    std::vector<std::string>& words) {
    const CLI::App* command = nullptr;
    for (size_t i = 0; i < words.size(); ++i) {
        const bool end_of_options = command != nullptr && words[i] == "--";
        if (words[i].starts_with("-") && !end_of_options) {
            i += takes_next_word(app, command, words[i]) ? 1 : 0;
            continue;
        }
        if (command == nullptr) {
            command = command_named(app, words[i]);
            if (std::ranges::count(ctx.prefix_commands, words[i]) == 0) {
                return {};
            }
            continue;
        }
        const auto from = words.begin() + static_cast<std::ptrdiff_t>(i);
        std::vector<std::string> rest(from + (end_of_options ? 1 : 0), words.end());
        words.resize(i);
        return rest;
    }
    return {};
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
    ctx.rest = split_rest(app, ctx, words);
    std::ranges::reverse(words);  // as CLI11 wants them
    try {
        app.parse(words);
        refuse_leftovers(app);
        if (!ctx.action) {
            throw failure(exit_status::usage, "a command is missing; see 'quon-mcu --help'");
        }
        ctx.action();
        return ctx.status;
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
    CLI::App* command = app.add_subcommand(name, meaning)->group("Commands");
    command->callback([&ctx, action = std::move(action)] { ctx.action = action; });
    return command;
}

CLI::App* add_prefix_command(CLI::App& app, context& ctx, const std::string& name,
                             const std::string& meaning, std::function<void()> action) {
    ctx.prefix_commands.push_back(name);
    return add_command(app, ctx, name, meaning, std::move(action));
}

const CLI::App* command_named(const CLI::App& app, const std::string& name) {
    const auto all = app.get_subcommands([](const CLI::App*) { return true; });
    const auto found =
        std::ranges::find(all, name, [](const CLI::App* each) { return each->get_name(); });
    return found == all.end() ? nullptr : *found;
}

bool takes_next_word(const CLI::App& app, const CLI::App* command, const std::string& option) {
    for (const CLI::App* each : {command, &app}) {
        const CLI::Option* found = each == nullptr ? nullptr : each->get_option_no_throw(option);
        if (found != nullptr) {
            return found->get_items_expected_max() > 0;
        }
    }
    return false;
}

int run(std::vector<std::string> words, output out, int32_t timeout_ms) {
    context ctx{
        .out = out, .timeout_ms = timeout_ms, .action = {}, .prefix_commands = {}, .rest = {}};
    CLI::App app(purpose, "quon-mcu");
    app.footer(epilogue);
    for (const auto& [label, text] : {std::pair("TEXT", ""),
                                      {"REQUIRED", ""},
                                      {"SUBCOMMAND", "COMMAND"},
                                      {"Subcommands", "Commands"}}) {
        app.get_formatter()->label(label, text);
    }
    app.fallthrough();
    app.require_subcommand(0, 1);  // further words are never commands
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
