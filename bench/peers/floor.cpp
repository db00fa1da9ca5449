// The minimum cost of records of this size: one socket, one loop that reads and writes them, and
// for one-way records a thread for each. Nothing is looked up, locked or copied.
#include <pthread.h>

#include <stdexcept>

#include "peer.h"
#include "record_caller.h"

namespace quon::bench {
namespace {

std::atomic<std::uint64_t>* counter;

void* count_record(void* record) {
    counter->fetch_add(1, std::memory_order_relaxed);
    delete static_cast<DbusMsg*>(record);
    return nullptr;
}

class Floor : public Peer {
  public:
    explicit Floor(const std::string& folder) : path_(folder + "/floor") {}

    void serve(bool pauses, std::atomic<std::uint64_t>& received,
               const std::function<void()>& ready) override {
        counter = &received;
        const int listener = listen_at(path_);
        ready();
        const int caller = accept(listener, nullptr, nullptr);
        pthread_attr_t small;
        pthread_attr_init(&small);
        pthread_attr_setdetachstate(&small, PTHREAD_CREATE_DETACHED);
        pthread_attr_setstacksize(&small, 64 * 1024);
        while (take_record(caller, pauses, small)) {
        }
    }
    void connect() override { caller_ = std::make_unique<RecordCaller>(try_to_connect(path_)); }
    void call(Payload payload) override { caller_->call("", payload); }
    void send(Payload payload) override { caller_->signal("", payload); }

  private:
    static bool take_record(int caller, bool pauses, const pthread_attr_t& attributes) {
        auto record = std::make_unique<DbusMsg>();
        if (recv(caller, record.get(), sizeof(*record), MSG_WAITALL) != sizeof(*record)) {
            return false;
        }
        if (record->type == DBUS_TYPE_SIGNAL) {
            pthread_t thread;
            if (pthread_create(&thread, &attributes, count_record, record.get()) == 0) {
                (void)record.release();
            } else {
                counter->fetch_add(1, std::memory_order_relaxed);
            }
            return true;
        }
        if (pauses) {
            pause_as_the_bus_does();
        }
        return ::send(caller, record.get(), sizeof(*record), MSG_NOSIGNAL) == sizeof(*record);
    }

    std::string path_;
    std::unique_ptr<RecordCaller> caller_;
};

}  // namespace

std::unique_ptr<Peer> make_peer(const std::string& /*variant*/, const std::string& folder) {
    return std::make_unique<Floor>(folder);
}

}  // namespace quon::bench
