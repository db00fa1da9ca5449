#include "journal.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>

#include "catalog/catalog.h"
#include "hi3861l_protocol.h"
#include "text_values.h"

namespace quon::sim {
namespace {

// Local time with milliseconds: 2025-01-31T12:00:00.000.
std::string time_stamp() {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(floor<std::chrono::seconds>(now));
    const auto ms = floor<milliseconds>(now) - floor<std::chrono::seconds>(now);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    std::array<char, 40> text{};
    const size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text.data() + length, text.size() - length, ".%03d",
                  static_cast<int>(ms.count()));
    return text.data();
}

}  // namespace

std::string describe_frame(bool from_host, byte_view frame) {
    const std::string direction = from_host ? "host->chip " : "chip->host ";
    if (frame.size() < kHi3861lFrameHeadSize) {
        return direction + "malformed, " + std::to_string(frame.size()) + " bytes " +
               show_hex(frame);
    }
    const uint8_t type = frame[0];
    const uint32_t length = get_le(frame, 1, 4);
    const byte_view payload = frame.subspan(kHi3861lFrameHeadSize);
    const std::string head = direction + show_type(type) + " len " + std::to_string(length) + " ";
    if (length != payload.size()) {
        return head + "malformed, " + std::to_string(payload.size()) + " payload bytes " +
               show_hex(payload);
    }
    const auto way = from_host ? catalog::direction::to_chip : catalog::direction::from_chip;
    return head + catalog::describe_payload(way, type, payload);
}

void journal::frame(bool from_host, byte_view frame, const std::string& remark) {
    tap_(from_host, frame);
    print(describe_frame(from_host, frame) + (remark.empty() ? "" : " (" + remark + ")"));
}

void journal::note(const std::string& text) {
    print("note " + text);
}

void journal::print(const std::string& text) {
    std::string line = time_stamp() + " " + text;
    // The journal is for people: if it cannot be written, the chip says so once and continues.
    const bool printed = std::fprintf(out_, "%s\n", line.c_str()) >= 0 && std::fflush(out_) == 0;
    if (!printed && !lost_) {
        (void)std::fprintf(stderr, "hi3861l-sim: the journal cannot be written: %s\n",
                           std::strerror(errno));
    }
    lost_ = !printed;
    lines_.push_back(std::move(line));
    if (lines_.size() > kKeptLines) {
        lines_.pop_front();
    }
}

}  // namespace quon::sim
