#include "stand_in_daemon.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace quon::test {

sockaddr_un bus_address() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, kBusPath);
    return address;
}

Descriptor listening_at_bus() {
    Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = bus_address();
    unlink(kBusPath);
    EXPECT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
              0);
    EXPECT_EQ(listen(listener.get(), 5), 0);
    return listener;
}

BusRecord answer_to(const BusRecord& request, const Bytes& payload) {
    BusRecord answer = request;
    answer.type = 1;
    answer.result = static_cast<std::int32_t>(payload.size());
    answer.data_len = static_cast<std::uint32_t>(payload.size());
    answer.data = payload;
    return answer;
}

StandInDaemon::StandInDaemon(Answer answer)
    : answer_(std::move(answer)), listener_(listening_at_bus()), thread_([this] { serve(); }) {}

StandInDaemon::~StandInDaemon() {
    shutdown(listener_.get(), SHUT_RDWR);
    thread_.join();
    unlink(kBusPath);
}

void StandInDaemon::serve() {
    for (;;) {
        const Descriptor peer(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (peer.get() < 0) {
            return;
        }
        Bytes record(kRecordSize);
        while (recv(peer.get(), record.data(), record.size(), MSG_WAITALL) ==
               static_cast<ssize_t>(kRecordSize)) {
            const Bytes sent = answer_(BusRecord::decoded(record)).encoded();
            EXPECT_EQ(send(peer.get(), sent.data(), sent.size(), MSG_NOSIGNAL),
                      static_cast<ssize_t>(sent.size()));
        }
    }
}

}  // namespace quon::test
