// The client's exit statuses, and the exception that carries one.
#pragma once

#include <stdexcept>
#include <string>

namespace quon::client {

enum class exit_status {
    done = 0,
    failure = 1,    // the service answered with a failure, a command on the camera failed, or the
                    // results could not be written
    usage = 2,      // unknown command, name or value; a file that cannot be read
    no_daemon = 3,  // nobody listens, or the connection was lost
    timed_out = 4,  // no answer in time
    malformed = 5,  // an answer that cannot be what the service sends
};

class failure : public std::runtime_error {
  public:
    failure(exit_status status, const std::string& message)
        : std::runtime_error(message), status_(status) {}
    exit_status status() const { return status_; }

  private:
    exit_status status_;
};

}  // namespace quon::client
