// The simulated chip's command-line options.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "capture.h"
#include "simulator.h"

namespace quon::sim {

inline constexpr char kDefaultControl[] = "/tmp/hi3861l-sim.ctl";

// The value of HI3861L_SIM_SOCKET, or the chip link's default.
std::string default_socket();

struct chip_settings {
    std::string socket = default_socket();
    std::string control = kDefaultControl;
    std::string journal = "-";
    std::string pcap;                  // empty: no capture
    std::shared_ptr<capture> packets;  // to this open one instead of the file `pcap`
    std::string records;               // file of record definitions; empty: the default places
    std::string log;                   // log to learn from; empty: none
    std::optional<learned_chip> learned;
    uint32_t netlink_port = 0;  // 0: the chip link's socket instead
    std::vector<std::pair<std::string, std::string>> state;
    std::vector<std::string> assignments;
    std::vector<std::string> faults;
};

// Options for the chip's sockets and its journal.
void add_place_options(CLI::App& app, chip_settings& chosen);

// Options for the capture and the log to learn from.
void add_log_options(CLI::App& app, chip_settings& chosen);

// Reads the log to learn from, with the present record definitions. Throws bad_value.
void read_log(chip_settings& chosen);

// Options for the chip's initial values and faults.
void add_state_options(CLI::App& app, chip_settings& chosen);

// Sets the chip's state and faults. Throws bad_value.
void apply_settings(simulator& sim, const chip_settings& chosen);

}  // namespace quon::sim
