// ZeroMQ over its local transport: request and reply for calls, push and pull one way.
#include <zmq.hpp>

#include <thread>

#include "peer.h"

namespace quon::bench {
namespace {

class ZeroMq : public Peer {
  public:
    explicit ZeroMq(const std::string& folder)
        : calls_("ipc://" + folder + "/calls"), records_("ipc://" + folder + "/records") {}

    // The context has threads, so each process makes its own.
    void serve(bool pauses, std::atomic<std::uint64_t>& received,
               const std::function<void()>& ready) override {
        zmq::context_t context;
        zmq::socket_t replies(context, zmq::socket_type::rep);
        zmq::socket_t records(context, zmq::socket_type::pull);
        replies.bind(calls_);
        records.bind(records_);
        ready();
        const std::jthread counting([&] {
            for (;;) {
                zmq::message_t message;
                received += records.recv(message).has_value() ? 1 : 0;
            }
        });
        for (;;) {
            zmq::message_t message;
            (void)replies.recv(message);
            if (pauses) {
                pause_as_the_bus_does();
            }
            replies.send(message, zmq::send_flags::none);
        }
    }

    void connect() override {
        context_ = std::make_unique<zmq::context_t>();
        requests_ = zmq::socket_t(*context_, zmq::socket_type::req);
        pushes_ = zmq::socket_t(*context_, zmq::socket_type::push);
        pushes_.set(zmq::sockopt::linger, 0);
        requests_.connect(calls_);
        pushes_.connect(records_);
    }
    void call(Payload payload) override {
        requests_.send(zmq::const_buffer(payload.data(), payload.size()), zmq::send_flags::none);
        zmq::message_t answer;
        (void)requests_.recv(answer);
    }
    void send(Payload payload) override {
        pushes_.send(zmq::const_buffer(payload.data(), payload.size()), zmq::send_flags::none);
    }

  private:
    std::string calls_;
    std::string records_;
    std::unique_ptr<zmq::context_t> context_;
    zmq::socket_t requests_;
    zmq::socket_t pushes_;
};

}  // namespace

std::unique_ptr<Peer> make_peer(const std::string& /*variant*/, const std::string& folder) {
    return std::make_unique<ZeroMq>(folder);
}

}  // namespace quon::bench
