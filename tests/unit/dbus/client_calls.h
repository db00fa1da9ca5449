// The calling side as a program uses it, with errors as they come.
#pragma once

#include <pthread.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "dbus_socket_common.h"

namespace quon::test {

struct Disconnect {
    void operator()(DbusInfo* info) const { Dbus_Client_Disconnect(info); }
};
using Client = std::unique_ptr<DbusInfo, Disconnect>;

inline Client connect_client(const std::string& server_name, std::int32_t wait_ms = 0) {
    return Client(Dbus_Client_Connect("quon.test.caller", server_name.c_str(), wait_ms));
}

inline DbusCallStatus call(const Client& client, const std::string& member,
                           const std::string& payload, std::int32_t timeout_ms,
                           DbusReply* reply = nullptr) {
    return Dbus_Method_Call(client.get(), member.c_str(),
                            reinterpret_cast<const std::uint8_t*>(payload.data()),
                            static_cast<std::uint32_t>(payload.size()), timeout_ms, reply);
}

inline std::string payload_of(const DbusReply& reply) {
    return {reinterpret_cast<const char*>(reply.data),
            std::min<std::size_t>(reply.data_len, sizeof(reply.data))};
}

inline bool has_pending_calls(const Client& client) {
    pthread_mutex_lock(&client->mutex);
    const bool pending = client->method_list != nullptr;
    pthread_mutex_unlock(&client->mutex);
    return pending;
}

inline constexpr std::int32_t kPatience = 20000;  // ms, of calls that are to be answered
inline constexpr std::int64_t kSlack = 3000;      // ms, that a busy machine may add to a time-out

}  // namespace quon::test
