// nng over its local transport: request and reply for calls, push and pull one way.
#include <nng/nng.h>
#include <nng/protocol/pipeline0/pull.h>
#include <nng/protocol/pipeline0/push.h>
#include <nng/protocol/reqrep0/rep.h>
#include <nng/protocol/reqrep0/req.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>

#include "peer.h"

namespace quon::bench {
namespace {

void check(int result) {
    if (result != 0) {
        throw std::runtime_error(nng_strerror(result));
    }
}

class Nng : public Peer {
  public:
    explicit Nng(const std::string& folder)
        : calls_("ipc://" + folder + "/calls"), records_("ipc://" + folder + "/records") {}

    void serve(bool pauses, std::atomic<std::uint64_t>& received,
               const std::function<void()>& ready) override {
        nng_socket replies;
        nng_socket records;
        check(nng_rep0_open(&replies));
        check(nng_pull0_open(&records));
        check(nng_listen(replies, calls_.c_str(), nullptr, 0));
        check(nng_listen(records, records_.c_str(), nullptr, 0));
        ready();
        const std::jthread counting([&] {
            for (;;) {
                nng_msg* message = nullptr;
                check(nng_recvmsg(records, &message, 0));
                nng_msg_free(message);
                received++;
            }
        });
        for (;;) {
            nng_msg* message = nullptr;
            check(nng_recvmsg(replies, &message, 0));
            if (pauses) {
                pause_as_the_bus_does();
            }
            check(nng_sendmsg(replies, message, 0));
        }
    }

    void connect() override {
        check(nng_req0_open(&requests_));
        check(nng_push0_open(&pushes_));
        check(nng_dial(requests_, calls_.c_str(), nullptr, 0));
        check(nng_dial(pushes_, records_.c_str(), nullptr, 0));
    }
    void call(Payload payload) override {
        send_to(requests_, payload);
        nng_msg* answer = nullptr;
        check(nng_recvmsg(requests_, &answer, 0));
        nng_msg_free(answer);
    }
    void send(Payload payload) override { send_to(pushes_, payload); }

  private:
    static void send_to(nng_socket socket, Payload payload) {
        nng_msg* message = nullptr;
        check(nng_msg_alloc(&message, 0));
        check(nng_msg_append(message, payload.data(), payload.size()));
        check(nng_sendmsg(socket, message, 0));
    }

    std::string calls_;
    std::string records_;
    nng_socket requests_ = NNG_SOCKET_INITIALIZER;
    nng_socket pushes_ = NNG_SOCKET_INITIALIZER;
};

}  // namespace

std::unique_ptr<Peer> make_peer(const std::string& /*variant*/, const std::string& folder) {
    return std::make_unique<Nng>(folder);
}

}  // namespace quon::bench
