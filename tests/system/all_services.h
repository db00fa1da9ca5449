// The daemon's 53 services, each used once.
#pragma once

#include "bus_peer.h"
#include "scripted_chip.h"

namespace quon::test {

// Every method gives the result that is due, every signal reaches the chip; or the test fails. The
// chip answers as usual, and no event is pending.
void use_every_service(BusPeer& peer, const ScriptedChip& chip);

}  // namespace quon::test
