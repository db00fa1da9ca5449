// This project's bus. Variants: "records" writes and reads the records itself, "library" calls
// through the client library.
#include <array>
#include <cstring>
#include <stdexcept>

#include "dbus_socket_common.h"
#include "peer.h"
#include "quon_platform.h"
#include "record_caller.h"

namespace quon::bench {
namespace {

constexpr char kCopy[] = "method.bench.copy";
constexpr char kCount[] = "signal.bench.count";
constexpr std::int32_t kCallBoundMs = 10'000;

std::atomic<std::uint64_t>* counter;

std::int32_t copy_payload(const std::uint8_t* request, std::int32_t size, std::uint8_t* reply,
                          std::int32_t /*room*/) {
    std::memcpy(reply, request, static_cast<std::size_t>(size));
    return size;
}

void count_signal(const std::uint8_t* /*request*/, std::int32_t /*size*/) {
    counter->fetch_add(1, std::memory_order_relaxed);
}

class Bus : public Peer {
  public:
    Bus() : name_("quon.bench." + std::to_string(getpid())) {}
    ~Bus() override { unlink(path().c_str()); }

    // The bus always pauses.
    void serve(bool /*pauses*/, std::atomic<std::uint64_t>& received,
               const std::function<void()>& ready) override {
        counter = &received;
        quon_limit_malloc_arenas();
        Dbus_SetThreadStack(64 * 1024);
        DbusInfo* info = DbusInfo_Alloc(2);
        name_.copy(info->name, sizeof(info->name) - 1);
        std::strcpy(info->interfaces[0]->name, kCopy);
        std::strcpy(info->interfaces[0]->method_type, "Method");
        info->interfaces[0]->method_handler = copy_payload;
        std::strcpy(info->interfaces[1]->name, kCount);
        std::strcpy(info->interfaces[1]->signal_type, "signal");
        info->interfaces[1]->signal_handler = count_signal;
        if (Dbus_Register(info) != 0) {
            throw std::runtime_error("the bus cannot be registered");
        }
        ready();
        for (;;) {
            pause();
        }
    }

  protected:
    [[nodiscard]] std::string path() const { return "/tmp/dbus-" + name_; }
    const std::string name_;
};

class Records : public Bus {
  public:
    void connect() override { caller_ = std::make_unique<RecordCaller>(try_to_connect(path())); }
    void call(Payload payload) override { caller_->call(kCopy, payload); }
    void send(Payload payload) override { caller_->signal(kCount, payload); }

  private:
    std::unique_ptr<RecordCaller> caller_;
};

class Library : public Bus {
  public:
    ~Library() override { Dbus_Client_Disconnect(info_); }
    void connect() override { info_ = Dbus_Client_Connect("bench", name_.c_str(), 5000); }
    void call(Payload payload) override {
        if (Dbus_Method_Call(info_, kCopy, payload.data(), size_of(payload), kCallBoundMs,
                             &reply_) != DBUS_CALL_OK) {
            throw std::runtime_error("a call failed");
        }
    }
    void send(Payload payload) override {
        if (Dbus_Signal_Send(info_, kCount, payload.data(), size_of(payload), kCallBoundMs) !=
            DBUS_CALL_OK) {
            throw std::runtime_error("a signal failed");
        }
    }

  private:
    static std::uint32_t size_of(Payload payload) {
        return static_cast<std::uint32_t>(std::min<std::size_t>(payload.size(), DBUS_DATA_SIZE));
    }
    DbusInfo* info_ = nullptr;
    DbusReply reply_{};
};

}  // namespace

std::unique_ptr<Peer> make_peer(const std::string& variant, const std::string& /*folder*/) {
    if (variant == "library") {
        return std::make_unique<Library>();
    }
    return std::make_unique<Records>();
}

}  // namespace quon::bench
