// A pending method call put together by hand, as any program that links the library may do.
#pragma once

#include <pthread.h>

#include <chrono>
#include <string>

#include "bus_peers.h"
#include "dbus_socket_common.h"

namespace quon::test {

class PendingCall {
  public:
    PendingCall(DbusInfo* info, const std::string& member, std::uint32_t id);
    ~PendingCall();  // takes itself out of the list and frees its result
    PendingCall(const PendingCall&) = delete;
    PendingCall& operator=(const PendingCall&) = delete;

    [[nodiscard]] const DbusMsg& request() const { return request_; }
    [[nodiscard]] const DbusMsg* result();

    // For counting signals one by one: between lock and unlock nothing is delivered unless this
    // waits. True when it was signalled.
    void lock();
    void unlock();
    bool wait_signalled(std::chrono::milliseconds bound = kLongEnough);

    bool wait_result(std::chrono::milliseconds bound = kLongEnough);

  private:
    DbusInfo* info_;
    DbusMsg request_;
    DbusMethodNode node_{};
};

}  // namespace quon::test
