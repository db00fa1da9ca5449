// A tool's output: results on standard output, everything else on standard error.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "shared/bytes.h"

namespace quon {

enum class output_mode { people, json, hex, raw };

class output {
  public:
    // `program` precedes each note and must outlive this object; the descriptors stay the caller's.
    output(std::string_view program, int results_fd, int notes_fd)
        : program_(program), results_fd_(results_fd), notes_fd_(notes_fd) {}

    // Writes results at once. A closed pipe ends the process as SIGPIPE would; any other error
    // throws failure.
    void write(std::string_view text);
    void write(byte_view bytes);
    void line(std::string_view text);

    // "PROGRAM: text" on standard error; errors of standard error itself are ignored.
    void note(std::string_view text);
    void write_notes(std::string_view text);

    // Sleeps. Ends the process as SIGPIPE would if nobody is left to read the results.
    void rest(std::chrono::milliseconds time);

    bool results_on_terminal() const;
    bool notes_on_terminal() const;

    // `text` between the escape sequences of `sgr` ("1", "2", "31") if results may be coloured: on
    // a terminal, without NO_COLOR in the environment.
    std::string coloured(std::string_view sgr, std::string_view text) const;

    output_mode mode = output_mode::people;
    bool is_timed = false;  // JSON documents say when they were printed

  private:
    std::string_view program_;
    int results_fd_;
    int notes_fd_;
};

// Rows with every column but the last padded to its widest cell and separated by two blanks.
std::string aligned(const std::vector<std::vector<std::string>>& rows);

}  // namespace quon
