// Common to all harnesses. A harness defines `run_input` and `outcomes`, and is linked with
// libFuzzer or with the driver that replays files (replay.cpp).
#pragma once

#include <span>
#include <string_view>

#include "input.h"

namespace quon::fuzz {

// Runs one input from a fresh state and leaves nothing behind.
void run_input(Input& input);

// The outcomes that inputs can have, by name. A harness's seeds produce all of them.
std::span<const std::string_view> outcomes();

// Records one of them, from any thread.
void saw(std::string_view outcome);

// How often each outcome was seen, in the order of outcomes().
std::span<const unsigned long> sightings();

// Ends the process as a failed input if the code under test did something that it must never do.
void require(bool holds, std::string_view what);

}  // namespace quon::fuzz
