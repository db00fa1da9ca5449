#include "quon_mcu/run.h"

#include <sstream>

#include "quon_mcu/command_line.h"
#include "shared/failure.h"

namespace quon::client {
namespace {

int help_or_usage(CLI::App& app, output& out, const CLI::ParseError& error) {
    std::ostringstream results;
    std::ostringstream notes;
    if (app.exit(error, results, notes) == 0) {
        out.write(results.str());
        return to_int(exit_status::done);
    }
    std::string command;
    for (const CLI::App* each : app.get_subcommands()) {
        command = each->get_name() + " ";
    }
    out.note(std::string(error.what()) + "; see 'quon-mcu " + command + "--help'");
    return to_int(exit_status::usage);
}

}  // namespace

int run(std::vector<std::string> words, output out, int32_t timeout_ms) {
    context ctx{.out = out, .timeout_ms = timeout_ms};
    command_line line(ctx, words);
    try {
        const std::function<void()> action = line.parse(std::move(words));
        line.load_records();
        action();
        return ctx.status;
    } catch (const failure& error) {
        ctx.out.note(error.what());
        return to_int(error.status());
    } catch (const CLI::ParseError& error) {
        return help_or_usage(line.app(), ctx.out, error);
    }
}

}  // namespace quon::client
