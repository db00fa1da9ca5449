// Checks on the board for which a shell script would be too slow or too coarse.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "checks.h"

namespace {

int run(int argc, char** argv) {
    CLI::App app{"Checks of a running quon_mcu_daemon with a simulated chip."};
    app.require_subcommand(1);
    app.footer("Exit status: 0 passed, 1 a check failed or nothing runs, 2 usage.");
    int count = 0;
    int pid = 0;
    int seconds = 10;
    auto* services = app.add_subcommand("services", "use every service once");
    auto* in_flight =
        app.add_subcommand("in-flight", "many unanswered requests at the same moment");
    in_flight->add_option("COUNT", count, "how many")->required()->check(CLI::Range(1, 1000));
    in_flight->add_option("PID", pid, "the daemon's process")->required();
    auto* flood = app.add_subcommand("flood", "the chip raises many events as fast as it can");
    flood->add_option("COUNT", count, "how many")->required()->check(CLI::PositiveNumber);
    auto* idle = app.add_subcommand("idle", "the idle daemon's figures");
    idle->add_option("PID", pid, "the daemon's process")->required();
    idle->add_option("SECONDS", seconds, "how long wake-ups are counted")
        ->check(CLI::Range(1, 600));
    auto* start = app.add_subcommand("start-cost", "processor time of the daemon's start");
    start->add_option("PID", pid, "the daemon's process")->required();
    auto* costs = app.add_subcommand("costs", "processor time of calls, exchanges, log lines");
    costs->add_option("PID", pid, "the daemon's process")->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    int failures = 0;
    if (*services) {
        failures = quon::board::check_every_service();
    } else if (*in_flight) {
        failures = quon::board::check_requests_in_flight(count, pid);
    } else if (*flood) {
        failures = quon::board::flood_with_events(count);
    } else if (*idle) {
        failures = quon::board::print_idle_figures(pid, seconds);
    } else if (*start) {
        failures = quon::board::print_cost_of_start(pid);
    } else if (*costs) {
        failures = quon::board::print_costs(pid);
    }
    return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "board-check: %s\n", error.what());
        return 1;
    }
}
