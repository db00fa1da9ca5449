// The tools' exit statuses, and the exception that carries one.
#pragma once

#include <stdexcept>
#include <string>

namespace quon {

enum class exit_status {
    done = 0,
    failure = 1,      // a request failed, or the results could not be written
    usage = 2,        // unknown command, name or value; a file that cannot be read
    unreachable = 3,  // nobody is listening, or the connection was lost
    timed_out = 4,    // no answer in time
    malformed = 5,    // an invalid answer
};

constexpr int to_int(exit_status status) {
    return static_cast<int>(status);
}

// The text has neither the program's name nor a newline.
class failure : public std::runtime_error {
  public:
    failure(exit_status status, const std::string& message)
        : std::runtime_error(message), status_(status) {}
    exit_status status() const { return status_; }

  private:
    exit_status status_;
};

}  // namespace quon
