// A process that listens in the daemon's place and answers as a test says.
#pragma once

#include <sys/un.h>

#include <functional>
#include <thread>

#include "bus_peer.h"
#include "daemon_process.h"
#include "descriptor.h"

namespace quon::test {

sockaddr_un bus_address();

// A socket that listens where the daemon's does, in place of one that was left there.
Descriptor listening_at_bus();

// The result of a request that went well.
BusRecord answer_to(const BusRecord& request, const Bytes& payload);

class StandInDaemon {
  public:
    using Answer = std::function<BusRecord(const BusRecord& request)>;

    // Serves one connection after the other until the end of its life; `answer` runs on a thread of
    // its own.
    explicit StandInDaemon(Answer answer);
    ~StandInDaemon();
    StandInDaemon(const StandInDaemon&) = delete;
    StandInDaemon& operator=(const StandInDaemon&) = delete;

  private:
    void serve();

    Answer answer_;
    Descriptor listener_;
    std::thread thread_;
};

}  // namespace quon::test
