// decode: a log with hex dumps, or a journal, as one line a frame.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

#include "hi3861l_protocol.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/log_decoder.h"
#include "quon_mcu/present.h"
#include "shared/failure.h"
#include "shared/values.h"

namespace quon::client {
namespace {

const catalog::record* record_of(catalog::direction way, uint8_t type) {
    const catalog::message* message = catalog::find_message(type);
    return message == nullptr                   ? nullptr
           : way == catalog::direction::to_chip ? message->request
                                                : message->reply;
}

// A journal may have been edited: what should be a number and is none stays a text.
json journal_value(const catalog::record& what, const std::string& name, const std::string& value) {
    const auto found = std::ranges::find(what.fields, name, &catalog::field::name);
    const bool is_number =
        found == what.fields.end() ? name == "count" : catalog::is_number(found->kind);
    try {
        return is_number ? json(parse_number(value, INT32_MIN, UINT32_MAX)) : json(value);
    } catch (const failure&) {
        return value;
    }
}

// 0xff, which is no message, for what is no type.
uint8_t type_number(const std::string& text) {
    try {
        return static_cast<uint8_t>(parse_number(text, 0, UINT8_MAX));
    } catch (const failure&) {
        return UINT8_MAX;
    }
}

// "0x85 set_led len 1 value=2": what a journal says of its frame.
void add_journal_words(json& document, const logged_frame& frame) {
    std::istringstream words(frame.text);
    std::string type;
    std::string name;
    std::string skipped;
    words >> type >> name >> skipped >> skipped >> std::ws;
    if (!words || !type.starts_with("0x")) {
        return;
    }
    const uint8_t number = type_number(type);
    document["type"] = number;
    document["name"] = name;
    std::string payload;
    std::getline(words, payload);
    const catalog::record* record = record_of(frame.way, number);
    if (record == nullptr || payload.starts_with("malformed")) {
        return;
    }
    json fields = json::object();
    for (const auto& [field, value] : journal_fields(*record, payload)) {
        if (field.starts_with("entry[")) {
            fields["entries"].push_back(value);
        } else {
            fields[field] = journal_value(*record, field, value);
        }
    }
    if (fields.empty() && payload != "empty") {
        fields["bytes"] = payload;
    }
    document["fields"] = fields;
}

json frame_json(const logged_frame& frame) {
    json document;
    if (!frame.time.empty()) {
        document["time"] = frame.time;
    }
    const bool to_chip = frame.way == catalog::direction::to_chip;
    document["direction"] = to_chip ? "to_chip" : "from_chip";
    if (frame.bytes.empty()) {
        document["text"] = frame.text;
        add_journal_words(document, frame);
        return document;
    }
    const std::span<const uint8_t> bytes(frame.bytes);
    document["text"] = describe_frame(frame.way, bytes).substr(std::size("host->chip ") - 1);
    document["frame"] = catalog::to_hex(bytes);
    const catalog::record* record = record_of(frame.way, bytes[0]);
    document["type"] = bytes[0];
    document["name"] = catalog::message_name(bytes[0]);
    if (record != nullptr && bytes.size() >= kHi3861lFrameHeadSize) {
        document["fields"] = fields_json(*record, bytes.subspan(kHi3861lFrameHeadSize));
    }
    return document;
}

std::string frame_text(const logged_frame& frame) {
    const std::string time = frame.time + (frame.time.empty() ? "" : " ");
    if (!frame.bytes.empty()) {
        return time + describe_frame(frame.way, frame.bytes);
    }
    const bool to_chip = frame.way == catalog::direction::to_chip;
    return time + (to_chip ? "host->chip " : "chip->host ") + frame.text;
}

void decode_stream(context& ctx, std::istream& in) {
    size_t frames = 0;
    log_decoder decoder([&](const logged_frame& frame) {
        ++frames;
        if (ctx.out.mode == output_mode::json) {
            print(ctx.out, frame_json(frame));
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
