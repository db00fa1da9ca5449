// The connection between the simulated chip and the host: messages with a netlink header.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "event_loop.h"
#include "shared/bytes.h"

namespace quon::sim {

enum class delivery { sent, no_host, overrun, failed };
std::string show_delivery(delivery result);

class transport {
  public:
    using receiver = std::function<void(byte_view message)>;  // without the header
    using observer = std::function<void(const std::string& what)>;

    virtual ~transport() = default;

    // Sends one message to port 1100. Never blocks: a host that does not read loses messages.
    virtual delivery send(byte_view message) = 0;
    [[nodiscard]] virtual bool host_present() const = 0;
    [[nodiscard]] virtual std::string where() const = 0;

    void on_message(receiver call) { receive_ = std::move(call); }
    void on_note(observer call) { note_ = std::move(call); }

  protected:
    static byte_list with_header(byte_view message);
    void take(byte_view datagram);
    void note(const std::string& text) const;

  private:
    receiver receive_;
    observer note_;
};

// The simulator's end of the chip link: a Unix socket at `path`. Throws std::runtime_error.
std::unique_ptr<transport> make_unix_transport(event_loop& loop, const std::string& path);

// A netlink socket of the given protocol, bound to `port`. Its messages go to `peer`: the kernel
// (port 0), which relays between `port` and the host's port. Throws std::runtime_error.
std::unique_ptr<transport> make_netlink_transport(event_loop& loop, int protocol, uint32_t port,
                                                  uint32_t peer);

}  // namespace quon::sim
