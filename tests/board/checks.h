// What the board checks with a program instead of the shell. Each function prints one line a check,
// "ok ..." or "FAIL ...", and returns how many failed.
#pragma once

namespace quon::board {

// Every service once: each method's result is the expected one, each chip message that a service
// causes arrives at the chip.
int check_every_service();

// `count` peers with one request each, all of them unanswered at the same moment, because the chip
// holds back the first answer. All get their own result. `daemon_pid`: prints the daemon's figures
// at that moment too; 0: none.
int check_requests_in_flight(int count, int daemon_pid);

// The chip raises `count` events as fast as it can.
int flood_with_events(int count);

// Figures of an idle daemon, with its wake-ups a second counted over `seconds`.
int print_idle_figures(int daemon_pid, int seconds);

// The processor time that the daemon took so far, right after its start, in microseconds and in
// times of a fixed loop.
int print_cost_of_start(int daemon_pid);

// Likewise of one call, of the chip exchange within one, and of a line of the log.
int print_costs(int daemon_pid);

}  // namespace quon::board
