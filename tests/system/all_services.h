// The daemon's 53 services, each used once.
#pragma once

#include "bus_peer.h"
#include "scripted_chip.h"

namespace quon::test {

// Every method must give the expected result and every signal must reach the chip. The chip answers
// normally, and no event is pending.
void use_every_service(BusPeer& peer, const ScriptedChip& chip);

}  // namespace quon::test
