// The control socket: any number of clients, each of which sends lines and gets an answer to each
// in order.
#pragma once

#include <list>
#include <memory>
#include <string>

#include "control_commands.h"
#include "event_loop.h"
#include "listening_socket.h"

namespace quon::sim {

class control_client;

class control_server {
  public:
    // Throws std::runtime_error if the socket cannot be created.
    control_server(simulator& sim, const std::string& path);
    ~control_server();
    control_server(const control_server&) = delete;
    control_server& operator=(const control_server&) = delete;

  private:
    void accept_client(owned_descriptor fd);

    simulator& sim_;
    listening_socket listener_;
    std::list<std::shared_ptr<control_client>> clients_;
};

}  // namespace quon::sim
