#include "chip_options.h"

#include <cstdlib>
#include <limits>

#include "chip_link/chip_link_protocol.h"
#include "properties.h"
#include "text_values.h"

namespace quon::sim {
namespace {

// An option that sets the property of the same name.
struct state_option {
    const char* option;
    const char* property;
    const char* help;
};

constexpr state_option kStateOptions[] = {
    {"--wakeup-reason", "wakeup-reason", "Why the chip woke the main processor (0 to 255)"},
    {"--server", "server", "Server of the remote wake-up, ADDRESS:PORT or none"},
    {"--firmware-version", "firmware-version", "The chip's version, at most 31 bytes"},
    {"--soc-min-version", "soc-min-version", "Minimum version for the main processor"},
    {"--battery", "battery", "Charge in percent"},
    {"--mac", "mac", "Hardware address, in the network record and the wake-up info"},
    {"--net", "net", "Network record: \"ADDRESS/PREFIX gw A dns A[,A] mac M\""},
    {"--time", "time", "The chip's time, \"YYYY-MM-DD HH:MM:SS\" (else the machine's)"},
};

}  // namespace

std::string default_socket() {
    const char* path = std::getenv(kChipLinkSocketVariable);
    return path != nullptr && *path != '\0' ? path : kChipLinkDefaultSocket;
}

void add_place_options(CLI::App& app, chip_settings& chosen) {
    // The environment variable only changes the default, so it does not conflict with --netlink.
    CLI::Option* socket =
        app.add_option("--socket", chosen.socket,
                       std::string("The chip's end of the chip link (default: ") +
                           kChipLinkSocketVariable + ", else " + kChipLinkDefaultSocket + ")");
    app.add_option("--control", chosen.control, "Control socket")->capture_default_str();
    app.add_option("--netlink", chosen.netlink_port,
                   "Instead of --socket: a netlink socket of protocol 28 on this port id, for a "
                   "kernel that relays between it and port 1100")
        ->check(CLI::Range(uint32_t{1}, std::numeric_limits<uint32_t>::max()))
        ->excludes(socket);
    app.add_option("--journal", chosen.journal,
                   "File for the journal, written anew; - is standard output")
        ->capture_default_str();
}

void add_log_options(CLI::App& app, chip_settings& chosen) {
    app.add_option("--pcap", chosen.pcap, "Packet capture of all frames, written anew");
    app.add_option("--learn", chosen.log,
                   "Answer as the chip did in this camera's log (hex dumps) or journal");
}

void read_log(chip_settings& chosen) {
    if (!chosen.log.empty()) {
        chosen.learned = learn_log(chosen.log);
    }
}

void add_state_options(CLI::App& app, chip_settings& chosen) {
    for (const state_option& each : kStateOptions) {
        app.add_option_function<std::string>(
            each.option,
            [&chosen, &each](const std::string& value) {
                chosen.state.emplace_back(each.property, value);
            },
            each.help);
    }
    app.add_option("--records", chosen.records,
                   "File that defines records (default: records.json in the usual places)");
    app.add_option("--set", chosen.assignments, "NAME=VALUE, any value that control can set")
        ->take_all();
    app.add_option("--fault", chosen.faults,
                   "A fault rule as in control, e.g. \"0x84 delay 500 count 3\"")
        ->take_all();
}

void apply_settings(simulator& sim, const chip_settings& chosen) {
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

}  // namespace quon::sim
