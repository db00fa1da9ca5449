// A program on the message bus, as seen from the socket: it writes and reads bytes without the bus
// library.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hex.h"
#include "waiting.h"

namespace quon::test {

inline constexpr std::size_t kRecordSize = 4568;
inline constexpr std::size_t kDataSize = 4356;
inline constexpr std::uint32_t kMagic = 0x5AA55AA5;

// One record by its offsets: head 0, id 4, src_name 8, dst_name 72, type 136, name 140,
// result 204, data_len 208, data 212.
struct BusRecord {
    std::uint32_t head = kMagic;
    std::uint32_t id = 0;
    std::string src_name;
    std::string dst_name;
    std::uint32_t type = 0;
    std::string name;
    std::int32_t result = 0;
    std::uint32_t data_len = 0;
    Bytes data;  // when sending: up to 4356 bytes, the rest zero; when received: 4356 bytes

    [[nodiscard]] Bytes encoded() const;
    static BusRecord decoded(const Bytes& bytes);
    // The meaningful bytes of the payload.
    [[nodiscard]] Bytes payload() const;
};

BusRecord method_request(std::string_view name, const Bytes& data = {}, std::uint32_t id = 1);
BusRecord signal_record(std::string_view name, const Bytes& data = {});

class BusPeer {
  public:
    // Connects to "/tmp/dbus-<bus name>", retrying for a while. Throws if nobody is listening in
    // time.
    explicit BusPeer(const std::string& bus_name = "quon.mcu.daemon");
    ~BusPeer();
    BusPeer(const BusPeer&) = delete;
    BusPeer& operator=(const BusPeer&) = delete;

    void send(const BusRecord& record) const { send_bytes(record.encoded()); }
    void send_bytes(const Bytes& bytes) const;  // in one write
    // True when the other side has read everything that was sent.
    [[nodiscard]] bool wait_until_read() const;
    // The next whole record, or nothing if the time limit passes or the stream ends.
    std::optional<BusRecord> receive(std::chrono::milliseconds bound = kLongEnough) const;
    // As received.
    std::optional<Bytes> receive_bytes(std::chrono::milliseconds bound = kLongEnough) const;
    // True if the other side has closed (in time) and nothing is left to read.
    [[nodiscard]] bool ended(std::chrono::milliseconds bound = kLongEnough) const;

    // Sends a request and returns its result. Throws if there is none in time.
    BusRecord call(std::string_view name, const Bytes& data = {},
                   std::chrono::milliseconds bound = kLongEnough);
    void notify(std::string_view name, const Bytes& data = {}) const {
        send(signal_record(name, data));
    }

    [[nodiscard]] int descriptor() const { return socket_; }

  private:
    int socket_ = -1;
    std::uint32_t next_id_ = 1000;
};

std::vector<std::unique_ptr<BusPeer>> connect_peers(std::size_t count);

}  // namespace quon::test
