// Firmware images of any size, sent by `quon-mcu upgrade` to a daemon that answers anything. The
// bus library is replaced at link time.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "dbus_socket_common.h"
#include "harness.h"
#include "mcu_records.h"
#include "quon_little_endian.h"
#include "quon_mcu/commands.h"
#include "shared/failure.h"
#include "shared/owned_descriptor.h"

namespace quon::fuzz {

namespace {

constexpr std::string_view kOutcomes[] = {
    "an image was sent",     "a block was refused", "an image was refused",
    "an option was refused", "a part was sent",
};

constexpr std::size_t kLongestImage = 4096;

struct Daemon {
    Input* input = nullptr;
    Bytes image;
    std::size_t received = 0;
    bool is_odd = false;
};

Daemon daemon_side;

// A block holds the image's bytes and nothing else.
void check_block(const std::uint8_t* block) {
    const std::size_t offset = quon_load_le32(block);
    const std::size_t length = quon_load_le32(block + kMcuUpgBlockLengthOffset);
    require(length != 0 && length <= kMcuUpgBlockDataSize, "a block has its length");
    require(offset + length <= daemon_side.image.size(), "a block lies within the image");
    require(
        std::memcmp(block + kMcuUpgBlockDataOffset, daemon_side.image.data() + offset, length) == 0,
        "a block holds the image");
    daemon_side.received = offset + length;
}

DbusCallStatus answer(DbusReply* reply) {
    *reply = {};
    reply->result = kMcuUpgReplySize;
    reply->data_len = kMcuUpgReplySize;
    if (daemon_side.is_odd) {
        Input& input = *daemon_side.input;
        const std::uint8_t kind = input.byte();
        if (kind % 4 == 1) {
            reply->result = static_cast<std::int32_t>(input.number(4));
            reply->data_len = input.number(4);
        }
        if (kind % 4 == 2) {
            return static_cast<DbusCallStatus>(-static_cast<int>(kind / 4 % 5));
        }
    }
    return DBUS_CALL_OK;
}

void upgrade(Input& input, const std::string& file, bool resumes) {
    static const owned_descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    client::context ctx{.out = output("fuzz", nowhere.get(), nowhere.get())};
    ctx.out.mode = static_cast<output_mode>(input.byte() % 4);
    client::upgrade_words words{.file = file, .resume_from = ""};
    if (resumes) {
        words.resume_from = input.text();
        words.tail = input.text();
    }
    client::upgrade_chip(ctx, words);
    require(daemon_side.received == daemon_side.image.size(), "the image is sent to its end");
    saw(resumes ? "a part was sent" : "an image was sent");
}

void note_refusal(const failure& error) {
    const std::string_view text = error.what();
    if (text.find("stopped at") != std::string_view::npos) {
        saw("a block was refused");
    } else {
        saw(daemon_side.image.empty() ? "an image was refused" : "an option was refused");
    }
}

}  // namespace

std::span<const std::string_view> outcomes() {
    return kOutcomes;
}

void run_input(Input& input) {
    const std::uint8_t choice = input.byte();
    daemon_side = {&input, input.bytes(input.number(2) % kLongestImage), 0, (choice & 2) != 0};
    const owned_descriptor file(memfd_create("image", MFD_CLOEXEC));
    const Bytes& image = daemon_side.image;
    require(write(file.get(), image.data(), image.size()) == static_cast<ssize_t>(image.size()),
            "there is memory for an image");
    try {
        upgrade(input, "/proc/self/fd/" + std::to_string(file.get()), (choice & 1) != 0);
    } catch (const failure& error) {
        note_refusal(error);
    }
}

}  // namespace quon::fuzz

extern "C" {

DbusInfo* Dbus_Client_Connect(const char* /*name*/, const char* /*server*/, int32_t /*wait_ms*/) {
    static DbusInfo info;
    return &info;
}

DbusCallStatus Dbus_Method_Call(DbusInfo* /*info*/, const char* member, const uint8_t* data,
                                uint32_t len, int32_t /*timeout_ms*/, DbusReply* reply) {
    if (std::strcmp(member, "method.quon.mcu.upg.transmit") == 0) {
        quon::fuzz::require(len == kMcuUpgBlockSize, "a block has its size");
        quon::fuzz::check_block(data);
    }
    return quon::fuzz::answer(reply);
}

DbusCallStatus Dbus_Signal_Send(DbusInfo* /*info*/, const char* /*member*/, const uint8_t* /*data*/,
                                uint32_t /*len*/, int32_t /*timeout_ms*/) {
    return DBUS_CALL_OK;
}

void Dbus_Client_Disconnect(DbusInfo* /*info*/) {}
}
