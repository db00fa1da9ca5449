#include "event_loop.h"

#include <poll.h>

#include <algorithm>
#include <vector>

namespace quon::sim {

void event_loop::watch(int fd, short events, std::function<void(short)> ready) {
    watched_[fd] = std::make_shared<watched>(watched{events, std::move(ready)});
}

void event_loop::unwatch(int fd) {
    watched_.erase(fd);
}

event_loop::timer_id event_loop::after(std::chrono::milliseconds delay, std::function<void()> due) {
    timers_.emplace(timer_key{clock::now() + delay, ++last_timer_}, std::move(due));
    return last_timer_;
}

void event_loop::cancel(timer_id timer) {
    std::erase_if(timers_, [timer](const auto& entry) { return entry.first.id == timer; });
}

void event_loop::run() {
    while (!stopped_) {
        wait_once();
    }
    stopped_ = false;
}

int event_loop::next_timeout_ms() const {
    if (timers_.empty()) {
        return -1;
    }
    const auto left = timers_.begin()->first.when - clock::now();
    const auto ms = std::chrono::ceil<std::chrono::milliseconds>(left).count();
    return static_cast<int>(std::clamp<int64_t>(ms, 0, 3600000));
}

void event_loop::run_timers() {
    const clock::time_point now = clock::now();
    while (!timers_.empty() && timers_.begin()->first.when <= now) {
        const auto due = timers_.extract(timers_.begin());
        due.mapped()();
    }
}

void event_loop::wait_once() {
    std::vector<pollfd> polled;
    std::vector<std::shared_ptr<watched>> seen;
    for (const auto& [fd, entry] : watched_) {
        polled.push_back({fd, entry->events, 0});
        seen.push_back(entry);
    }
    const int ready = poll(polled.data(), polled.size(), next_timeout_ms());
    for (size_t i = 0; ready > 0 && i < polled.size(); i++) {
        // An earlier call in this round may have closed the descriptor, or reopened its number.
        const auto entry = watched_.find(polled[i].fd);
        if (polled[i].revents != 0 && entry != watched_.end() && entry->second == seen[i]) {
            seen[i]->ready(polled[i].revents);
        }
    }
    run_timers();
}

}  // namespace quon::sim
