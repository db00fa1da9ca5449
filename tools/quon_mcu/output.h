// Where the client's words go: results to standard output, all else to standard error.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quon::client {

enum class output_mode { people, json, hex, raw };

class output {
  public:
    // `results_fd` and `notes_fd` stay the caller's.
    output(int results_fd, int notes_fd) : results_fd_(results_fd), notes_fd_(notes_fd) {}

    // Writes results at once. A closed pipe ends the process as SIGPIPE does; any other error
    // throws failure.
    void write(std::string_view text);
    void write(std::span<const uint8_t> bytes);
    void line(std::string_view text);

    // "quon-mcu: text" on standard error; errors of standard error itself are ignored.
    void note(std::string_view text);
    void write_notes(std::string_view text);

    // Sleeps. Ends the process as SIGPIPE does when nobody is left to read the results.
    void rest(std::chrono::milliseconds time);

    bool results_on_terminal() const;
    bool notes_on_terminal() const;

    // `text` between the escape sequences of `sgr` ("1", "2", "31") when results may be coloured:
    // on a terminal, without NO_COLOR in the environment.
    std::string coloured(std::string_view sgr, std::string_view text) const;

    output_mode mode = output_mode::people;

  private:
    int results_fd_;
    int notes_fd_;
};

// Rows with every column but the last padded to its widest cell, two blanks between them.
std::string aligned(const std::vector<std::vector<std::string>>& rows);

}  // namespace quon::client
