// The catalog as tables in the dissector's language.
#include "quon_mcu/describe.h"
#include "quon_mcu/names.h"

namespace quon::client {
namespace {

std::string quoted_text(std::string_view text) {
    std::string quoted = "\"";
    for (const char each : text) {
        quoted += each == '"' || each == '\\' ? std::string("\\") + each : std::string(1, each);
    }
    return quoted + "\"";
}

const char* kind_of(catalog::field_kind kind) {
    switch (kind) {
        case catalog::field_kind::u8:
            return "uint8";
        case catalog::field_kind::s8:
            return "int8";
        case catalog::field_kind::u16:
            return "uint16";
        case catalog::field_kind::u32:
            return "uint32";
        case catalog::field_kind::text:
        case catalog::field_kind::address_text:
        case catalog::field_kind::digit_text:
            return "stringz";
        case catalog::field_kind::ipv4:
            return "ipv4";
        case catalog::field_kind::mac:
            return "ether";
        case catalog::field_kind::bytes:
            break;
    }
    return "bytes";
}

std::string values_of(const catalog::field& field) {
    std::string text;
    for (const catalog::known_value& each : field.values) {
        text += (text.empty() ? "" : ", ") + ("[" + std::to_string(each.value) + "] = ") +
                quoted_text(each.meaning);
    }
    return text.empty() ? "nil" : "{ " + text + " }";
}

std::string record_row(const catalog::record& record) {
    std::string text = "    [" + quoted_text(record.name) +
                       "] = { entry = " + std::to_string(record.entry_size) + ", fields = {";
    for (const catalog::field& each : record.fields) {
        text += "\n        { " + quoted_text(each.name) + ", " + std::to_string(each.offset) +
                ", " + std::to_string(each.size) + ", \"" + kind_of(each.kind) + "\", " +
                quoted_text(each.unit) + ", " + values_of(each) + " },";
    }
    return text + (record.fields.empty() ? "" : "\n    ") + "} },\n";
}

std::string record_or_nil(const catalog::record* record) {
    return record == nullptr ? "nil" : quoted_text(record->name);
}

}  // namespace

std::string wireshark_tables() {
    std::string text = "local records = {\n";
    for (const catalog::record* each : catalog::records()) {
        text += record_row(*each);
    }
    text += "}\nlocal messages = {\n";
    for (const catalog::message& each : catalog::messages()) {
        text += "    [" + std::to_string(each.type) + "] = { name = " + quoted_text(each.name) +
                ", request = " + record_or_nil(each.request) +
                ", reply = " + record_or_nil(each.reply) + " },\n";
    }
    text += "}\nlocal services = {\n";
    for (const catalog::service& each : catalog::services()) {
        text += "    [" + quoted_text(each.name) +
                "] = { request = " + record_or_nil(each.request) +
                ", reply = " + record_or_nil(each.reply) + " },\n";
    }
    return text + "}\n";
}

}  // namespace quon::client
