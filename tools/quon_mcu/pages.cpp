// The generated parts of docs/.
#include <algorithm>
#include <cstddef>

#include "dbus_socket_common.h"
#include "hi3861l_protocol.h"
#include "hichannel_host.h"
#include "quon_mcu/describe.h"
#include "quon_mcu/names.h"

namespace quon::client {
namespace {

std::string code(std::string_view text) {
    return "`" + std::string(text) + "`";
}

std::string record_link(const catalog::record* record) {
    return record == nullptr
               ? "-"
               : "[" + std::string(record->name) + "](#" + std::string(record->name) + ")";
}

std::string record_size(const catalog::record* record) {
    if (record == nullptr) {
        return "0";
    }
    return record->size == 0 ? "any" : std::to_string(record->size);
}

std::string users_of(const catalog::record* record) {
    std::string text;
    const auto add = [&text](std::string_view name, const char* role) {
        text += (text.empty() ? "" : ", ") + code(name) + " (" + role + ")";
    };
    for (const catalog::service& each : catalog::services()) {
        if (each.request == record) {
            add(short_name(each), "request");
        }
        if (each.reply == record) {
            add(short_name(each), "reply");
        }
    }
    for (const catalog::message& each : catalog::messages()) {
        if (each.request == record) {
            add(each.name, "to the chip");
        }
        if (each.reply == record) {
            add(each.name, "from the chip");
        }
    }
    return text;
}

std::string record_section(const catalog::record& record) {
    const std::string size = record.size == 0 ? "As long as its sender makes it."
                                              : std::to_string(record.size) + " bytes.";
    return "### " + std::string(record.name) + "\n\n" + size + " Used by " + users_of(&record) +
           ".\n\n" + markdown(field_rows(record)) + "\n";
}

std::string type_text(uint8_t type) {
    const uint8_t one[] = {type};
    return "0x" + catalog::to_hex(one);
}

}  // namespace

std::string markdown(const row_list& rows) {
    std::string text;
    for (size_t i = 0; i < rows.size(); ++i) {
        for (const std::string& cell : rows[i]) {
            text += "| " + cell + (cell.empty() ? "" : " ");
        }
        text += "|\n";
        if (i == 0) {
            for (size_t column = 0; column < rows[0].size(); ++column) {
                text += "|---";
            }
            text += "|\n";
        }
    }
    return text;
}

std::string services_table() {
    row_list rows = {{"#", "service", "kind", "request", "reply", "chip message", "time-out"}};
    for (const catalog::service& each : catalog::services()) {
        rows.push_back({std::to_string(each.index), code(each.name), kind_text(each.kind),
                        record_size(each.request),
                        each.reply == nullptr ? "-" : record_size(each.reply), message_text(each),
                        timeout_text(each.timeout_ms)});
    }
    return markdown(rows);
}

std::string messages_table() {
    row_list rows = {{"type", "name", "body to the chip", "body from the chip", "time-out"}};
    for (const catalog::message& each : catalog::messages()) {
        const bool event = each.type <= HI3861L_EVENT_5;
        rows.push_back(
            {type_text(each.type), code(each.name), event ? "-" : record_size(each.request),
             each.reply == nullptr ? "-" : record_size(each.reply), timeout_text(each.timeout_ms)});
    }
    return markdown(rows);
}

std::string bus_record_table() {
    struct part {
        const char* name;
        size_t offset;
        size_t size;
        const char* type;
        const char* meaning;
    };
#define PART(member, type, meaning) \
    { #member, offsetof(DbusMsg, member), sizeof(DbusMsg::member), type, meaning }
    const part parts[] = {
        PART(head, "unsigned 32", "0x5aa55aa5 (bytes a5 5a a5 5a)"),
        PART(id, "unsigned 32", "chosen by the caller, repeated in the result"),
        PART(src_name, "text", "bus name of the sender"),
        PART(dst_name, "text", "bus name of the receiver"),
        PART(type, "unsigned 32", "0 signal, any other value method; 1 in results"),
        PART(name, "text", "name of the service"),
        PART(result, "signed 32",
             "in results: what the handler returned, -1 without a handler; not read elsewhere"),
        PART(data_len, "unsigned 32",
             "bytes of the payload; in results the handler's value, 0 when it is negative"),
        PART(data, "bytes", "payload, the rest zero"),
    };
#undef PART
    row_list rows = {{"offset", "size", "field", "type", "meaning"}};
    size_t end = 0;
    for (const part& each : parts) {
        rows.push_back({std::to_string(each.offset), std::to_string(each.size), code(each.name),
                        each.type, each.meaning});
        end = each.offset + each.size;
    }
    rows.push_back({std::to_string(end), "", "", "", "end of the record"});
    return markdown(rows);
}

std::string chip_frame_table() {
    const std::string head = std::to_string(kHi3861lFrameHeadSize);
    return markdown(
        {{"offset", "size", "field", "meaning"},
         {"0", "1", "type", "message type"},
         {"1", std::to_string(kHi3861lFrameHeadSize - 1), "length",
          "length of the payload, unsigned, least significant byte first"},
         {head, "length", "payload", "at most " + std::to_string(kHi3861lPayloadSize) + " bytes"}});
}

std::string channel_message_table() {
    const std::string host = std::to_string(HI_CHANNEL_HOST_PORT);
    const std::string longest = std::to_string(HI_CHANNEL_SEND_MAX);
    const std::string taken = std::to_string(HI_CHANNEL_RECEIVE_SIZE - HI_CHANNEL_HEADER_SIZE);
    return markdown(
        {{"offset", "size", "field", "to the chip", "from the chip"},
         {"0", "4", code("nlmsg_len"), "length of the whole message", "not read"},
         {"4", "2", code("nlmsg_type"), "0", "not read"},
         {"6", "2", code("nlmsg_flags"), "0", "not read"},
         {"8", "4", code("nlmsg_seq"), "0", "not read"},
         {"12", "4", code("nlmsg_pid"), host, "not read"},
         {std::to_string(HI_CHANNEL_HEADER_SIZE), "", "frame", "1 to " + longest + " bytes",
          "1 to " + taken + " bytes; of a longer one the first " + taken}});
}

std::string services_page() {
    std::string text =
        "# Services\n\n"
        "The daemon's services on the bus, in the order of its table. This page is generated:\n"
        "`quon-mcu docs services` prints it, and a test compares.\n\n"
        "A method is a request with a reply, a signal a notification without. Integers are\n"
        "little-endian; bytes that are \"not interpreted\" are the chip's and travel unchanged.\n"
        "The time-out is that of the daemon's exchange with the chip.\n\n";
    row_list rows = {
        {"#", "service", "kind", "request", "reply", "chip message", "time-out", "meaning"}};
    for (const catalog::service& each : catalog::services()) {
        rows.push_back({std::to_string(each.index), code(each.name), kind_text(each.kind),
                        record_link(each.request), record_link(each.reply), message_text(each),
                        timeout_text(each.timeout_ms), std::string(each.meaning)});
    }
    text += markdown(rows) + "\n## Records\n\n";
    for (const catalog::record* each : catalog::records()) {
        text += record_section(*each);
    }
    text.pop_back();
    return text;
}

}  // namespace quon::client
