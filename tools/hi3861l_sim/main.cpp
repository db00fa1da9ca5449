#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "chip_link/chip_link_protocol.h"
#include "control_server.h"
#include "control_tool.h"
#include "exec_program.h"
#include "hichannel_host.h"
#include "prefix_command.h"
#include "properties.h"
#include "text_values.h"

namespace quon::sim {
namespace {

constexpr const char* default_control = "/tmp/hi3861l-sim.ctl";

// An option that sets a property of the same name.
struct state_option {
    const char* option;
    const char* property;
    const char* help;
};

constexpr state_option state_options[] = {
    {"--wakeup-reason", "wakeup-reason", "Why the chip woke the main processor (0 to 255)"},
    {"--server", "server", "Server of the remote wake-up, ADDRESS:PORT or none"},
    {"--firmware-version", "firmware-version", "The chip's version, at most 31 bytes"},
    {"--soc-min-version", "soc-min-version", "Minimum version for the main processor"},
    {"--battery", "battery", "Charge in percent"},
    {"--mac", "mac", "Hardware address, in the network record and the wake-up info"},
    {"--net", "net", "Network record: \"ADDRESS/PREFIX gw A dns A[,A] mac M\""},
    {"--time", "time", "The chip's time, \"YYYY-MM-DD HH:MM:SS\" (else the machine's)"},
};

std::string default_socket() {
    const char* path = std::getenv(CHIP_LINK_SOCKET_VARIABLE);
    return path != nullptr && *path != '\0' ? path : CHIP_LINK_DEFAULT_SOCKET;
}

struct settings {
    std::string socket = default_socket();
    std::string control = default_control;
    std::string journal = "-";
    uint32_t netlink_port = 0;
    std::vector<std::pair<std::string, std::string>> state;
    std::vector<std::string> assignments;
    std::vector<std::string> faults;
    std::vector<std::string> command;
    exec_words exec;
};

std::string footer() {
    return "A daemon reaches the simulated chip over the chip link, a library in its LD_PRELOAD "
           "that\n"
           "reads the chip's socket from HI3861L_SIM_SOCKET: \"hi3861l-sim exec "
           "quon_mcu_daemon\".\n\n"
           "The journal has one line a frame: time, direction (host->chip, chip->host), type with\n"
           "its name, length, then the payload's fields as name=value or its hex digits. Lines\n"
           "that begin \"note\" tell what else happened.\n\n"
           "Control: one command a line on the control socket; the answer is any number of lines,\n"
           "then \"ok\" or \"error: TEXT\". \"hi3861l-sim control COMMAND...\" sends one.\n\n" +
           control_help() +
           "Exit status: 0 ended by a signal or by quit, 1 could not start, 2 usage.\n"
           "Of control: 0 done, 1 the command failed, 2 usage, 3 no simulator reached.\n"
           "Of exec: the command's; 126 it cannot be started, 127 it is not found.\n";
}

void add_options(CLI::App& app, settings& chosen) {
    // The variable gives the default, and no option: with --netlink it does not matter.
    CLI::Option* socket =
        app.add_option("--socket", chosen.socket,
                       std::string("The chip's end of the chip link (default: ") +
                           CHIP_LINK_SOCKET_VARIABLE + ", else " + CHIP_LINK_DEFAULT_SOCKET + ")");
    app.add_option("--control", chosen.control, "Control socket")->capture_default_str();
    app.add_option("--netlink", chosen.netlink_port,
                   "Instead of --socket: a netlink socket of protocol 28 on this port id, for a "
                   "kernel that relays between it and port 1100")
        ->check(CLI::Range(uint32_t{1}, std::numeric_limits<uint32_t>::max()))
        ->excludes(socket);
    app.add_option("--journal", chosen.journal,
                   "File for the journal, written anew; - is standard output")
        ->capture_default_str();
    for (const state_option& each : state_options) {
        app.add_option_function<std::string>(
            each.option,
            [&chosen, &each](const std::string& value) {
                chosen.state.emplace_back(each.property, value);
            },
            each.help);
    }
    app.add_option("--set", chosen.assignments, "NAME=VALUE, any value that control can set")
        ->take_all();
    app.add_option("--fault", chosen.faults,
                   "A fault rule as in control, e.g. \"0x84 delay 500 count 3\"")
        ->take_all();
}

void apply_settings(simulator& sim, const settings& chosen) {
    for (const auto& [name, value] : chosen.state) {
        set_property(sim, name, value);
    }
    for (const std::string& assignment : chosen.assignments) {
        const size_t equals = assignment.find('=');
        if (equals == std::string::npos) {
            throw bad_value("\"" + assignment + "\" is not NAME=VALUE");
        }
        set_property(sim, assignment.substr(0, equals), assignment.substr(equals + 1));
    }
    for (const std::string& fault : chosen.faults) {
        sim.faults().add(parse_fault(fault));
    }
}

// The signals that end the simulator, as a descriptor. SIGPIPE is none of them: a reader of the
// journal may go.
owned_descriptor block_signals() {
    (void)std::signal(SIGPIPE, SIG_IGN);
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    return owned_descriptor(signalfd(-1, &ending, SFD_CLOEXEC));
}

using file = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

file open_journal(const std::string& path) {
    if (path == "-") {
        return {stdout, [](std::FILE*) { return 0; }};
    }
    file opened(std::fopen(path.c_str(), "ae"), std::fclose);
    if (opened == nullptr) {
        throw std::runtime_error(path + ": " + std::strerror(errno));
    }
    return opened;
}

// What the file held goes only when nothing can fail any more: it may be a running simulator's.
void begin_anew(std::FILE* journal_file) {
    // A terminal or a pipe has nothing to lose (EINVAL).
    if (ftruncate(fileno(journal_file), 0) != 0 && errno != EINVAL) {
        throw std::runtime_error(std::string("the journal: ") + std::strerror(errno));
    }
}

std::unique_ptr<transport> make_transport(event_loop& loop, const settings& chosen) {
    if (chosen.netlink_port == 0) {
        return make_unix_transport(loop, chosen.socket);
    }
    return make_netlink_transport(loop, HI_CHANNEL_NETLINK_PROTOCOL, chosen.netlink_port,
                                  HI_CHANNEL_KERNEL_PORT);
}

int run(const settings& chosen) {
    const owned_descriptor signals = block_signals();
    event_loop loop;
    loop.watch(signals.get(), POLLIN, [&](short) { loop.stop(); });
    const std::unique_ptr<transport> link = make_transport(loop, chosen);
    const file out = open_journal(chosen.journal);
    journal log(out.get());
    simulator sim(loop, *link, log);
    apply_settings(sim, chosen);
    const control_server control(sim, chosen.control);
    if (out.get() != stdout) {
        begin_anew(out.get());
    }
    std::cerr << "hi3861l-sim: ready, chip on " << link->where() << ", control on "
              << chosen.control << std::endl;
    loop.run();
    return exit_done;
}

int complain(const std::exception& problem, int status) {
    std::cerr << "hi3861l-sim: " << problem.what() << '\n';
    return status;
}

CLI::App* add_exec(CLI::App& app, exec_words& words) {
    CLI::App* exec = app.add_subcommand("exec", "Run a program under the chip link");
    exec->add_option("--socket", words.socket,
                     "The chip's socket (default: as the environment says)");
    exec->add_option("--link", words.link, "The chip link's library (default: the installed one)");
    exec->footer("COMMAND and its arguments stand behind the options, or behind --.");
    return exec;
}

int help_or_usage(const CLI::App& app, const CLI::ParseError& problem) {
    std::ostringstream notes;
    if (app.exit(problem, std::cout, notes) == 0) {
        return flush_output() ? exit_done : exit_error;
    }
    std::string command;
    for (const CLI::App* each : app.get_subcommands()) {
        command = each->get_name() + " ";
    }
    std::cerr << "hi3861l-sim: " << problem.what() << "; see 'hi3861l-sim " << command
              << "--help'\n";
    return exit_usage;
}

int main_program(int argc, char** argv) {
    CLI::App app("A simulated Hi3861L chip for quon_mcu_daemon.", "hi3861l-sim");
    settings chosen;
    add_options(app, chosen);
    app.footer(footer());
    CLI::App* control = app.add_subcommand("control", "Send one command to a running simulator");
    control->add_option("--control", chosen.control, "Control socket")->capture_default_str();
    control->add_option("COMMAND", chosen.command, "The command and its words")->required();
    control->footer("\n" + control_help());
    control->positionals_at_end();
    CLI::App* exec = add_exec(app, chosen.exec);
    app.require_subcommand(0, 1);
    std::vector<std::string> words(argv + 1, argv + argc);
    chosen.exec.command = cut_command(*exec, words);
    std::ranges::reverse(words);  // as the parser wants them
    try {
        app.parse(words);
    } catch (const CLI::ParseError& problem) {
        return help_or_usage(app, problem);
    }
    if (control->parsed()) {
        return send_control_command(chosen.control, join_words(chosen.command, 0));
    }
    if (exec->parsed()) {
        return exec_program(chosen.exec);
    }
    return run(chosen);
}

}  // namespace
}  // namespace quon::sim

int main(int argc, char** argv) {
    try {
        return quon::sim::main_program(argc, argv);
    } catch (const quon::sim::bad_value& problem) {
        return quon::sim::complain(problem, quon::sim::exit_usage);
    } catch (const std::invalid_argument& problem) {
        return quon::sim::complain(problem, quon::sim::exit_usage);
    } catch (const std::exception& problem) {
        return quon::sim::complain(problem, quon::sim::exit_error);
    }
}
