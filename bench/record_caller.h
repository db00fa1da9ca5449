// One connection that writes a record and reads one, without the client library.
#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>

#include "dbus_socket_common.h"
#include "local_socket.h"

namespace quon::bench {

class RecordCaller {
  public:
    explicit RecordCaller(int connection) : socket_(connection) {
        if (socket_ < 0) {
            fail("connect");
        }
        request_.head = DBUS_MSG_HEAD;
        std::strcpy(request_.src_name, "bench");
    }
    ~RecordCaller() { close(socket_); }
    RecordCaller(const RecordCaller&) = delete;
    RecordCaller& operator=(const RecordCaller&) = delete;

    // What the handler returned.
    std::int32_t call(const std::string& member, std::span<const std::uint8_t> payload = {}) {
        write_record(DBUS_TYPE_METHOD, member, payload);
        auto* bytes = reinterpret_cast<std::uint8_t*>(&result_);
        for (std::size_t filled = 0; filled < sizeof(result_);) {
            const ssize_t got = recv(socket_, bytes + filled, sizeof(result_) - filled, 0);
            if (got <= 0) {
                throw std::runtime_error("the server has closed the connection");
            }
            filled += static_cast<std::size_t>(got);
        }
        if (result_.head != DBUS_MSG_HEAD || result_.id != request_.id) {
            throw std::runtime_error("a result that answers no call");
        }
        return result_.result;
    }
    void signal(const std::string& member, std::span<const std::uint8_t> payload = {}) {
        write_record(DBUS_TYPE_SIGNAL, member, payload);
    }
    [[nodiscard]] const DbusMsg& result() const { return result_; }

  private:
    // A payload longer than a record's data is cut.
    void write_record(std::uint32_t type, const std::string& member,
                      std::span<const std::uint8_t> payload) {
        request_.id++;
        request_.type = type;
        request_.name[member.copy(request_.name, sizeof(request_.name) - 1)] = '\0';
        const std::size_t size = std::min(payload.size(), sizeof(request_.data));
        std::copy_n(payload.begin(), size, request_.data);
        request_.data_len = static_cast<std::uint32_t>(size);
        if (::send(socket_, &request_, sizeof(request_), MSG_NOSIGNAL) != sizeof(request_)) {
            fail("send");
        }
    }

    int socket_;
    DbusMsg request_{};
    DbusMsg result_{};
};

}  // namespace quon::bench
