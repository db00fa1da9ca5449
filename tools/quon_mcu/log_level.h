// The level of the daemon's log, which no service tells, as the log itself shows it.
#pragma once

#include <sys/types.h>

#include <string>

namespace quon::client {

// Remembers where the log of a process ends, when that is a file which this user may read.
class log_watch {
  public:
    explicit log_watch(pid_t process);

    // Whether level() can tell the level once something was asked.
    [[nodiscard]] bool can_tell() const { return trouble_.empty(); }
    // The level by what was logged since, in words, or why it is not known. Queries, one of them a
    // failing one, and a shell command must have come before; `chip_answers` says whether there
    // were frames to log.
    [[nodiscard]] std::string level(bool chip_answers) const;

  private:
    std::string file_;
    std::string trouble_;
    off_t end_ = 0;
};

}  // namespace quon::client
