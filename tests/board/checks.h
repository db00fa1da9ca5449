// Checks on the board that need a program instead of the shell. Each function prints one line per
// check, "ok ..." or "FAIL ...", and returns the number of failures.
#pragma once

namespace quon::board {

// Uses every service once: each method must give the expected result, and each chip message that a
// service causes must arrive at the chip.
int check_every_service();

// `count` peers with one request each, all unanswered at the same moment because the chip delays
// the first answer. All must get their own result. `daemon_pid`: also prints the daemon's figures
// at that moment; 0: none.
int check_requests_in_flight(int count, int daemon_pid);

// The chip raises `count` events as fast as it can.
int flood_with_events(int count);

// Figures of an idle daemon, with its wake-ups a second counted over `seconds`.
int print_idle_figures(int daemon_pid, int seconds);

// The processor time that the daemon has used right after its start, in microseconds and in
// multiples of a fixed loop.
int print_cost_of_start(int daemon_pid);

// The same for one call, for the chip exchange within one, and for a line of the log.
int print_costs(int daemon_pid);

}  // namespace quon::board
