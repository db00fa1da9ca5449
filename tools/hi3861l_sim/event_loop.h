// Waits for descriptors and timers, on one thread.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>

namespace quon::sim {

class event_loop {
  public:
    using clock = std::chrono::steady_clock;
    using timer_id = uint64_t;

    // Calls `ready` with poll's result whenever one of `events` (POLLIN, POLLOUT) or a hang-up
    // occurs. Watching a descriptor again replaces its earlier watch.
    void watch(int fd, short events, std::function<void(short)> ready);
    void unwatch(int fd);

    timer_id after(std::chrono::milliseconds delay, std::function<void()> due);
    void cancel(timer_id timer);

    // Runs until stop() is called, even if that happened earlier; may be called again.
    void run();
    void stop() { stopped_ = true; }

  private:
    struct watched {
        short events;
        std::function<void(short)> ready;
    };
    struct timer_key {
        clock::time_point when;
        timer_id id;
        auto operator<=>(const timer_key&) const = default;
    };

    void wait_once();
    void run_timers();
    [[nodiscard]] int next_timeout_ms() const;

    std::map<int, std::shared_ptr<watched>> watched_;
    std::map<timer_key, std::function<void()>> timers_;
    timer_id last_timer_ = 0;
    bool stopped_ = false;
};

}  // namespace quon::sim
