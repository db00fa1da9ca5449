#include <algorithm>

#include "catalog/generate/members.h"
#include "catalog/generate/pages.h"

namespace quon::generate {
namespace {

using catalog::field_kind;
using catalog::record;
using catalog::service;

constexpr std::string_view kTop =
    R"(// The records and services of quon_mcu_daemon for C and C++ programs. This page is generated from
// the table of the services and included by quon_mcu_client.h, which says how calls end.
//
// Structures hold numbers as numbers, texts with a closing zero byte, addresses as text
// ("192.168.1.1", "02:00:00:00:00:01"), and bytes without a known meaning unchanged ("bytes", or
// "rest_6" from byte 6 on). A record of variable size has "length" next to its bytes.
//
// `absent` marks the fields of an answer that the chip may not have sent: the daemon fills a short
// answer up with zeros, so a zero field followed only by zeros in its answer cannot be told from a
// missing one. Such a field is 0 or empty, and its bit is set. In a request `absent` is ignored.
#ifndef QUON_MCU_CLIENT_SERVICES_H
#define QUON_MCU_CLIENT_SERVICES_H

#ifdef __cplusplus
extern "C" {
#endif

// clang-format off
)";

constexpr std::string_view kEnd = R"(// clang-format on

#ifdef __cplusplus
}
#endif

#endif
)";

struct row {
    std::string type;
    std::string declarator;
    std::string remark;
};

std::string room(uint32_t size) {
    return "[" + std::to_string(size) + "]";
}

row row_of(const member& what, uint32_t all) {
    const uint32_t size = what.size != 0 ? what.size : all;
    switch (what.kind) {
        case field_kind::u8:
            return {"uint8_t", what.name, what.remark};
        case field_kind::s8:
            return {"int8_t", what.name, what.remark};
        case field_kind::u16:
            return {"uint16_t", what.name, what.remark};
        case field_kind::u32:
            return {"uint32_t", what.name, what.remark};
        case field_kind::text:
        case field_kind::address_text:
        case field_kind::digit_text:
            return {"char", what.name + room(size + 1), what.remark};
        case field_kind::ipv4:
            return {"char", what.name + room(16), what.remark};
        case field_kind::mac:
            return {"char", what.name + room(18), what.remark};
        case field_kind::bytes:
            break;
    }
    return {"uint8_t", what.name + room(size), what.remark};
}

std::string body(const std::vector<row>& rows) {
    size_t type = 0;
    size_t declarator = 0;
    for (const row& each : rows) {
        type = std::max(type, each.type.size());
        declarator = std::max(declarator, each.declarator.size());
    }
    std::string text;
    for (const row& each : rows) {
        std::string line = "    " + each.type + std::string(type - each.type.size() + 1, ' ') +
                           each.declarator + ";";
        line += std::string(declarator - each.declarator.size() + 2, ' ') + "// " + each.remark;
        text += line + "\n";
    }
    return text;
}

std::string absent_bits(const record& what) {
    const std::string prefix = "QUON_MCU_" + upper(what.name) + "_";
    std::string text = "enum {\n";
    size_t bit = 0;
    if (what.entry_size != 0) {
        return text + "    " + prefix + "COUNT = 1 << 0,\n};\n";
    }
    for (const member& each : members_of(what)) {
        if (each.known != nullptr || what.fields.empty()) {
            text += "    " + prefix + upper(each.name) + " = 1 << " + std::to_string(bit++) + ",\n";
        }
    }
    return text + "};\n";
}

std::vector<row> member_rows(const record& what, uint32_t all) {
    std::vector<row> rows;
    for (const member& each : members_of(what)) {
        rows.push_back(row_of(each, all));
    }
    return rows;
}

std::string structure(const std::string& name, const std::vector<row>& rows) {
    return "typedef struct " + name + " {\n" + body(rows) + "} " + name + ";\n";
}

std::string record_page(const record& what) {
    const std::string name = "quon_mcu_" + std::string(what.name);
    const std::string size = what.size != 0
                                 ? std::to_string(what.size) + " bytes on the bus"
                                 : "up to " + std::to_string(longest(what)) + " bytes on the bus";
    std::string text = "\n// " + users_of(what) + "; " + size + ".\n";
    std::vector<row> rows;
    if (may_lack_fields(what)) {
        text += absent_bits(what);
        rows.push_back({"uint32_t", "absent", "QUON_MCU_" + upper(what.name) + "_... bits"});
    }
    if (what.entry_size != 0) {
        text += structure(name + "_entry", member_rows(what, what.entry_size));
        rows.push_back({"uint8_t", "count", "entries that are there"});
        rows.push_back(
            {name + "_entry", "entries" + room(most_entries(what)), "in the chip's order"});
        return text + structure(name, rows);
    }
    const auto own = member_rows(what, longest(what));
    if (what.size == 0 && members_of(what).back().kind == field_kind::bytes) {
        rows.push_back({"uint32_t", "length", "of the bytes"});
    }
    rows.insert(rows.end(), own.begin(), own.end());
    return text + structure(name, rows);
}

}  // namespace

std::string c_prototype(const service& what) {
    std::string text =
        "quon_mcu_status quon_mcu_client_" + identifier(what) + "(quon_mcu_client* client";
    if (what.request != nullptr) {
        text += ", const quon_mcu_" + std::string(what.request->name) + "* request";
    }
    if (what.reply != nullptr) {
        text += ", quon_mcu_" + std::string(what.reply->name) + "* reply";
    }
    return text + ", int32_t timeout_ms)";
}

std::string c_header() {
    std::string text(kTop);
    for (const record* each : records_of_services()) {
        text += record_page(*each);
    }
    text += R"(
// One function per service. A method fills `reply`, which may be null, only when it returns
// QUON_MCU_OK; for a signal QUON_MCU_OK means that it was sent to the daemon, which never reports
// whether it had an effect. `timeout_ms` is 0 or more and limits the whole call; the daemon's
// exchange with the chip takes up to the time in brackets.
)";
    for (const service& each : catalog::services()) {
        text += "\n// " + std::string(each.meaning);
        text += each.timeout_ms == 0 ? "\n" : " (" + std::to_string(each.timeout_ms) + " ms)\n";
        text += c_prototype(each) + ";\n";
    }
    return text + std::string(kEnd);
}

}  // namespace quon::generate
