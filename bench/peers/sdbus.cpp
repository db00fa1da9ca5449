// sd-bus, the common client library of D-Bus. Variants: "daemon" and "broker" are the bus between
// the two sides, "direct" is a connection without one.
#include "sdbus.h"

#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <optional>

#include "local_socket.h"
#include "sdbus_bus.h"

namespace quon::bench {
namespace {

constexpr int kTries = 5000;
constexpr useconds_t kTryPauseUs = 1000;

void wait_for_listener(const std::string& path) {
    int socket = -1;
    for (int i = 0; socket < 0 && i < kTries; i++) {
        socket = try_to_connect(path);
        usleep(socket < 0 ? kTryPauseUs : 0);
    }
    close(socket);
}

class OverABus : public Peer {
  public:
    OverABus(std::string folder, bool broker)
        : folder_(std::move(folder)), path_(folder_ + "/bus"), broker_(broker) {}
    ~OverABus() override { sd_bus_unref(bus_); }

    void prepare() override {
        daemon_.emplace(broker_ ? start_dbus_broker(folder_, path_)
                                : start_dbus_daemon(folder_, path_));
        wait_for_listener(path_);
    }
    void serve(bool pauses, std::atomic<std::uint64_t>& received,
               const std::function<void()>& ready) override {
        SdBusService service{pauses, &received};
        serve_sdbus(open_sdbus(path_), service, true, ready);
    }
    void connect() override { bus_ = open_sdbus(path_); }
    void call(Payload payload) override { call_sdbus(bus_, kBusName, payload); }
    void send(Payload payload) override { send_sdbus(bus_, kBusName, payload); }
    void flush() override { check(sd_bus_flush(bus_)); }

  private:
    std::string folder_;
    std::string path_;
    bool broker_;
    std::optional<Child> daemon_;
    sd_bus* bus_ = nullptr;
};

class Direct : public Peer {
  public:
    ~Direct() override { sd_bus_unref(bus_); }

    void prepare() override {
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends_) != 0) {
            fail("socketpair");
        }
    }
    void serve(bool pauses, std::atomic<std::uint64_t>& received,
               const std::function<void()>& ready) override {
        close(ends_[0]);
        SdBusService service{pauses, &received};
        sd_bus* bus = nullptr;
        sd_id128_t id{};
        check(sd_bus_new(&bus));
        check(sd_id128_randomize(&id));
        check(sd_bus_set_fd(bus, ends_[1], ends_[1]));
        check(sd_bus_set_server(bus, 1, id));
        check(sd_bus_set_anonymous(bus, 1));
        check(sd_bus_start(bus));
        serve_sdbus(bus, service, false, ready);
    }
    void connect() override {
        close(ends_[1]);
        check(sd_bus_new(&bus_));
        check(sd_bus_set_fd(bus_, ends_[0], ends_[0]));
        check(sd_bus_set_anonymous(bus_, 1));
        check(sd_bus_start(bus_));
    }
    void call(Payload payload) override { call_sdbus(bus_, nullptr, payload); }
    void send(Payload payload) override { send_sdbus(bus_, nullptr, payload); }
    void flush() override { check(sd_bus_flush(bus_)); }

  private:
    int ends_[2] = {-1, -1};
    sd_bus* bus_ = nullptr;
};

}  // namespace

std::unique_ptr<Peer> make_peer(const std::string& variant, const std::string& folder) {
    if (variant == "direct") {
        return std::make_unique<Direct>();
    }
    if (variant != "daemon" && variant != "broker") {
        throw std::invalid_argument("variant '" + variant + "': daemon, broker or direct");
    }
    return std::make_unique<OverABus>(folder, variant == "broker");
}

}  // namespace quon::bench
