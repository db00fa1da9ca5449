// What every harness has in common. A harness defines `run_input` and `outcomes`, and is linked
// with libFuzzer or with the driver that replays files (replay.cpp).
#pragma once

#include <span>
#include <string_view>

#include "input.h"

namespace quon::fuzz {

// Runs one input from a fresh state and leaves nothing of it behind.
void run_input(Input& input);

// What an input can bring about, by name. The seeds of a harness bring about all of it.
std::span<const std::string_view> outcomes();

// To be called by any thread for one of them.
void saw(std::string_view outcome);

// How often each was seen, in the order of outcomes().
std::span<const unsigned long> sightings();

// Ends the process as a failed input when the code under test did what it must never do.
void require(bool holds, std::string_view what);

}  // namespace quon::fuzz
