// decode: a log with hex dumps, or a journal, as one line a frame.
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "hi3861l_protocol.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/failure.h"
#include "quon_mcu/log_decoder.h"
#include "quon_mcu/present.h"

namespace quon::client {
namespace {

json frame_json(const logged_frame& frame) {
    json document;
    if (!frame.time.empty()) {
        document["time"] = frame.time;
    }
    const bool to_chip = frame.way == catalog::direction::to_chip;
    document["direction"] = to_chip ? "to_chip" : "from_chip";
    if (frame.bytes.empty()) {
        document["text"] = frame.text;
        return document;
    }
    const std::span<const uint8_t> bytes(frame.bytes);
    document["text"] = describe_frame(frame.way, bytes).substr(std::size("host->chip ") - 1);
    document["frame"] = catalog::to_hex(bytes);
    const catalog::message* message = catalog::find_message(bytes[0]);
    const catalog::record* record =
        message == nullptr ? nullptr : (to_chip ? message->request : message->reply);
    document["type"] = bytes[0];
    document["name"] = catalog::message_name(bytes[0]);
    if (record != nullptr && bytes.size() >= HI3861L_FRAME_HEAD_SIZE) {
        document["fields"] = fields_json(*record, bytes.subspan(HI3861L_FRAME_HEAD_SIZE));
    }
    return document;
}

std::string frame_text(const logged_frame& frame) {
    if (!frame.bytes.empty()) {
        return describe_frame(frame.way, frame.bytes);
    }
    const bool to_chip = frame.way == catalog::direction::to_chip;
    return frame.time + (frame.time.empty() ? "" : " ") +
           (to_chip ? "host->chip " : "chip->host ") + frame.text;
}

void decode_stream(context& ctx, std::istream& in) {
    size_t frames = 0;
    log_decoder decoder([&](const logged_frame& frame) {
        ++frames;
        if (ctx.out.mode == output_mode::json) {
            ctx.out.line(dump(frame_json(frame)));
        } else {
            ctx.out.line(frame_text(frame));
        }
    });
    for (std::string line; std::getline(in, line);) {
        decoder.line(line);
    }
    decoder.end();
    if (decoder.strays() != 0) {
        ctx.out.note(std::to_string(decoder.strays()) + " dump lines belong to no frame");
    }
    if (frames == 0) {
        ctx.out.note("no frame found; the daemon dumps frames at log level debug");
    }
}

}  // namespace

void decode_log(context& ctx, const std::string& file) {
    if (ctx.out.mode == output_mode::hex || ctx.out.mode == output_mode::raw) {
        throw failure(exit_status::usage, "decode prints lines or --json");
    }
    if (file.empty() || file == "-") {
        decode_stream(ctx, std::cin);
        return;
    }
    errno = 0;
    std::ifstream in(file);
    if (!in || in.peek() == std::ifstream::traits_type::eof()) {
        if (!in.is_open() || in.bad()) {
            throw failure(exit_status::usage,
                          "cannot read '" + file + "': " + std::strerror(errno));
        }
        in.clear();
    }
    decode_stream(ctx, in);
}

}  // namespace quon::client
