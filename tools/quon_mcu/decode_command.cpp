// decode: shows a log with hex dumps, or a journal, as one line per frame or exchange, or as the
// time line of a start.
#include <algorithm>
#include <cstring>
#include <sstream>

#include "hi3861l_protocol.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/exchanges.h"
#include "quon_mcu/log_decoder.h"
#include "quon_mcu/log_input.h"
#include "quon_mcu/present.h"
#include "quon_mcu/timeline.h"
#include "shared/failure.h"
#include "shared/files.h"
#include "shared/values.h"

namespace quon::client {
namespace {

const catalog::record* record_of(catalog::direction way, uint8_t type) {
    const catalog::message* message = catalog::find_message(type);
    return message == nullptr                   ? nullptr
           : way == catalog::direction::to_chip ? message->request
                                                : message->reply;
}

// A journal may have been edited: what should be a number but is not stays text.
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

// 0xff, which is not a message, if it is not a type.
uint8_t type_number(const std::string& text) {
    try {
        return static_cast<uint8_t>(parse_number(text, 0, UINT8_MAX));
    } catch (const failure&) {
        return UINT8_MAX;
    }
}

// "0x85 set_led len 1 value=2": a frame in the journal's form.
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

json exchange_json(const exchange& what) {
    constexpr const char* kKinds[] = {"query", "command", "answer", "event", "broken"};
    json document;
    if (!what.time.empty()) {
        document["time"] = what.time;
    }
    document["kind"] = kKinds[static_cast<size_t>(what.kind)];
    document["name"] = what.name;
    if (what.kind == exchange_kind::query || what.kind == exchange_kind::command) {
        document["question"] = what.question;
    }
    if (what.kind != exchange_kind::command && what.kind != exchange_kind::broken) {
        document["answer"] = what.answer ? json(*what.answer) : json(nullptr);
    }
    if (what.for_us) {
        document["ms"] = static_cast<double>(*what.for_us) / 1000;
    }
    if (!what.asked_by.empty()) {
        document["asked_by"] = what.asked_by;
    }
    return document;
}

std::string timed(const std::string& time, const std::string& text) {
    return time.empty() ? text : time + " " + text;
}

void hint_at_what_is_missing(output& out, size_t strays, size_t found) {
    if (strays != 0) {
        out.note(std::to_string(strays) + " dump lines belong to no frame");
    }
    if (found == 0) {
        out.note("no frame found; the daemon dumps frames at log level debug");
    }
}

void decode_frames(context& ctx, const std::string& file, bool follow) {
    size_t frames = 0;
    log_decoder decoder([&](const logged_frame& frame) {
        ++frames;
        if (ctx.out.mode == output_mode::json) {
            print(ctx.out, frame_json(frame));
        } else {
            ctx.out.line(frame_text(frame));
        }
    });
    read_log(ctx.out, file, follow,
             {[&](std::string_view line) { decoder.line(line); }, [&] { decoder.idle(); }});
    decoder.end();
    hint_at_what_is_missing(ctx.out, decoder.strays(), frames);
}

void decode_exchanges(context& ctx, const std::string& file, bool follow) {
    size_t exchanges = 0;
    exchange_reader reader([&](const exchange& what) {
        ++exchanges;
        if (ctx.out.mode == output_mode::json) {
            print(ctx.out, exchange_json(what));
        } else {
            ctx.out.line(timed(what.time, exchange_text(what)));
        }
    });
    read_log(ctx.out, file, follow,
             {[&](std::string_view line) { reader.line(line); }, [&] { reader.idle(); }});
    reader.end();
    hint_at_what_is_missing(ctx.out, reader.strays(), exchanges);
}

timeline start_in(context& ctx, const std::string& file) {
    timeline_reader reader;
    read_log(ctx.out, file, false, {[&reader](std::string_view line) { reader.line(line); }});
    timeline start = reader.end(file == "-" ? "standard input" : file);
    if (start.steps.empty()) {
        ctx.out.note(start.title + ": no step of a start found; its lines need times");
    }
    return start;
}

void draw_timelines(context& ctx, const decode_words& words) {
    std::vector<timeline> starts;
    for (const std::string& file : words.files) {
        starts.push_back(start_in(ctx, file));
    }
    if (ctx.out.mode == output_mode::json) {
        std::ranges::for_each(
            starts, [&ctx](const timeline& each) { print(ctx.out, timeline_json(each)); });
    } else {
        ctx.out.write(timeline_text(starts));
    }
    if (!words.svg.empty()) {
        write_file(words.svg, timeline_svg(starts));
    }
}

void refuse_what_excludes(const context& ctx, const decode_words& words) {
    if (ctx.out.mode == output_mode::hex || ctx.out.mode == output_mode::raw) {
        throw failure(exit_status::usage, "decode prints lines or --json");
    }
    if (words.timeline && (words.follow || words.exchanges)) {
        throw failure(exit_status::usage, "--timeline excludes --follow and --exchanges");
    }
    if (!words.svg.empty() && !words.timeline) {
        throw failure(exit_status::usage, "--svg needs --timeline");
    }
    if (words.follow && words.files.size() > 1) {
        throw failure(exit_status::usage, "--follow takes one file");
    }
}

}  // namespace

void decode_logs(context& ctx, const decode_words& given) {
    decode_words words = given;
    refuse_what_excludes(ctx, words);
    if (words.files.empty()) {
        words.files.emplace_back("-");
    }
    if (words.timeline) {
        draw_timelines(ctx, words);
        return;
    }
    for (const std::string& file : words.files) {
        (words.exchanges ? decode_exchanges : decode_frames)(ctx, file, words.follow);
    }
}

}  // namespace quon::client
