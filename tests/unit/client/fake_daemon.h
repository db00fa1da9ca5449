// A daemon in the test's own hands: it keeps every request and answers as it is told.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bus_peers.h"
#include "hex.h"

namespace quon::test {

class FakeDaemon {
  public:
    // What is sent back for a method call; nothing: no result at all.
    using Answer = std::function<std::optional<DbusMsg>(const DbusMsg& request)>;

    explicit FakeDaemon(Answer answer = nullptr);
    ~FakeDaemon();
    FakeDaemon(const FakeDaemon&) = delete;
    FakeDaemon& operator=(const FakeDaemon&) = delete;

    // The request of that number, from 0 on; throws when it does not come.
    DbusMsg request(std::size_t number = 0) const;
    std::size_t count() const;

  private:
    void serve();
    void keep(const DbusMsg& request);

    Answer answer_;
    RawServer server_;
    std::atomic<bool> stopped_{false};
    mutable std::mutex lock_;
    std::vector<DbusMsg> requests_;
    std::thread thread_;
};

// The answers of a daemon whose every service replies with these bytes, or fails.
FakeDaemon::Answer replying(const std::string& hex);
FakeDaemon::Answer failing(std::int32_t result);

// The payload in hex.
std::string hex_of(const DbusMsg& record);

}  // namespace quon::test
