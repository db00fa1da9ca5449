// A client's connection to a server that the test speaks by hand.
#pragma once

#include <pthread.h>

#include <memory>
#include <string>

#include "bus_peers.h"

namespace quon::test {

class HandSpokenServer {
  public:
    [[nodiscard]] const std::string& name() const { return name_; }
    RawPeer& peer() { return *peer_; }  // the client, once it is accepted

    void accept_client() { peer_ = std::make_unique<RawPeer>(server_->accept_one().value()); }
    void close() {
        server_.reset();
        peer_->close_now();
    }
    void restart() {
        server_ = std::make_unique<RawServer>(name_);
        accept_client();
    }

  private:
    std::string name_ = fresh_name();
    std::unique_ptr<RawServer> server_ = std::make_unique<RawServer>(name_);
    std::unique_ptr<RawPeer> peer_;
};

// A reconnection holds the registration's mutex.
inline bool is_reconnecting(DbusInfo* info) {
    if (pthread_mutex_trylock(&info->mutex) != 0) {
        return true;
    }
    pthread_mutex_unlock(&info->mutex);
    return false;
}

}  // namespace quon::test
