// The simulated chip's part of the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulator.h"

namespace quon::sim {

inline constexpr char kDefaultControl[] = "/tmp/hi3861l-sim.ctl";

// The value of HI3861L_SIM_SOCKET, else the chip link's default.
std::string default_socket();

struct chip_settings {
    std::string socket = default_socket();
    std::string control = kDefaultControl;
    std::string journal = "-";
    std::string pcap;     // empty: no capture
    std::string records;  // file of record definitions; empty: the usual places
    std::string log;      // to learn from; empty: none
    std::optional<learned_chip> learned;
    uint32_t netlink_port = 0;  // 0: the chip link's socket instead
    std::vector<std::pair<std::string, std::string>> state;
    std::vector<std::string> assignments;
    std::vector<std::string> faults;
};

// Where the chip is reached and where its journal goes.
void add_place_options(CLI::App& app, chip_settings& chosen);

// A capture of its frames, and the log that it learns from.
void add_log_options(CLI::App& app, chip_settings& chosen);

// Reads the log that the chip learns from, with the records as they are defined now. Throws
// bad_value.
void read_log(chip_settings& chosen);

// What the chip starts with: its values and its faults.
void add_state_options(CLI::App& app, chip_settings& chosen);

// Gives the chip its state and its faults. Throws bad_value.
void apply_settings(simulator& sim, const chip_settings& chosen);

}  // namespace quon::sim
