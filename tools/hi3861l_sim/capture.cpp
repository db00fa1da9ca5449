#include "capture.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

#include "hichannel_host.h"

namespace quon::sim {
namespace {

constexpr uint32_t kMagic = 0xa1b2c3d4;  // times in microseconds
constexpr uint32_t kLongest = 65535;
constexpr uint32_t kLinkTypeNetlink = 253;
constexpr size_t kCookedSize = 16;
constexpr uint8_t kArrived = 0;
constexpr uint8_t kLeft = 4;
constexpr uint16_t kHardwareNetlink = 824;

void append_le(byte_list& bytes, uint32_t value, size_t size) {
    bytes.resize(bytes.size() + size);
    put_le(bytes, bytes.size() - size, size, value);
}

byte_list file_head() {
    byte_list head;
    append_le(head, kMagic, 4);
    append_le(head, 2, 2);  // version 2.4
    append_le(head, 4, 2);
    append_le(head, 0, 4);
    append_le(head, 0, 4);
    append_le(head, kLongest, 4);
    append_le(head, kLinkTypeNetlink, 4);
    return head;
}

// Big-endian, as in the kernel: direction, hardware type, ten unused bytes, netlink protocol.
byte_list cooked_head(bool from_host) {
    byte_list head(kCookedSize);
    head[1] = from_host ? kLeft : kArrived;
    head[2] = kHardwareNetlink >> 8;
    head[3] = kHardwareNetlink & 0xff;
    head[kCookedSize - 1] = HI_CHANNEL_NETLINK_PROTOCOL;
    return head;
}

byte_list packet_of(bool from_host, byte_view frame) {
    byte_list packet = cooked_head(from_host);
    append_le(packet, static_cast<uint32_t>(HI_CHANNEL_HEADER_SIZE + frame.size()), 4);
    append_le(packet, 0, 4);
    append_le(packet, 0, 4);
    append_le(packet, from_host ? HI_CHANNEL_HOST_PORT : HI_CHANNEL_KERNEL_PORT, 4);
    packet.insert(packet.end(), frame.begin(), frame.end());
    return packet;
}

byte_list packet_head(size_t size) {
    using namespace std::chrono;
    const auto now = system_clock::now().time_since_epoch();
    byte_list head;
    append_le(head, static_cast<uint32_t>(duration_cast<seconds>(now).count()), 4);
    append_le(head, static_cast<uint32_t>(duration_cast<microseconds>(now).count() % 1'000'000), 4);
    append_le(head, static_cast<uint32_t>(size), 4);
    append_le(head, static_cast<uint32_t>(size), 4);
    return head;
}

bool write_whole(std::FILE* out, byte_view bytes) {
    return std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
}

}  // namespace

capture::capture(const std::string& path)
    : out_(std::fopen(path.c_str(), "we"), [](std::FILE* file) { return std::fclose(file); }) {
    if (out_ == nullptr || !write_whole(out_.get(), file_head()) || std::fflush(out_.get()) != 0) {
        throw std::runtime_error(path + ": " + std::strerror(errno));
    }
}

void capture::frame(bool from_host, byte_view frame) {
    const byte_list packet = packet_of(from_host, frame);
    byte_list record = packet_head(packet.size());
    record.insert(record.end(), packet.begin(), packet.end());
    const bool written = write_whole(out_.get(), record) && std::fflush(out_.get()) == 0;
    if (!written && !lost_) {
        (void)std::fprintf(stderr, "hi3861l-sim: the capture cannot be written: %s\n",
                           std::strerror(errno));
    }
    lost_ = !written;
}

}  // namespace quon::sim
