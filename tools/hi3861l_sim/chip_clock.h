// The chip's clock: a calendar time that runs from the moment it was set.
#pragma once

#include <chrono>

#include "shared/bytes.h"

namespace quon::sim {

class chip_clock {
  public:
    using time_point = std::chrono::steady_clock::time_point;

    // Takes a 10-byte time record. If the first six bytes are not a calendar time, the clock does
    // not run: the record is returned unchanged.
    void set(byte_view record, time_point now);

    // The 10-byte time record at `now`; bytes 6 to 9 as set.
    [[nodiscard]] byte_list read(time_point now) const;

  private:
    byte_list record_;
    std::chrono::local_seconds base_{};
    time_point set_at_;
    bool runs_ = false;
};

// Whether the first six bytes of a time record are a calendar time.
bool is_time(byte_view record);

// The machine's local time as a time record.
byte_list machine_time();

}  // namespace quon::sim
