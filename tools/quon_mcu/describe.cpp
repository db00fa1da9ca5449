#include "quon_mcu/describe.h"

namespace quon::client {
namespace {

using catalog::field;
using catalog::field_kind;
using catalog::record;

std::string type_text(field_kind kind) {
    switch (kind) {
        case field_kind::u8:
            return "u8";
        case field_kind::s8:
            return "s8";
        case field_kind::u16:
            return "u16";
        case field_kind::u32:
            return "u32";
        case field_kind::text:
        case field_kind::address_text:
        case field_kind::digit_text:
            return "text";
        case field_kind::ipv4:
            return "ipv4";
        case field_kind::mac:
            return "mac";
        case field_kind::bytes:
            break;
    }
    return "bytes";
}

std::string field_size(const field& what) {
    return what.size == 0 ? "to the end" : std::to_string(what.size);
}

std::string meaning_text(const field& what) {
    std::string text(what.meaning);
    const char* separator = ": ";
    for (const catalog::known_value& each : what.values) {
        text += separator + std::to_string(each.value) + " " + std::string(each.meaning);
        separator = ", ";
    }
    return text;
}

// With the decoder's names; `size` is a number or text.
std::vector<std::string> rest_row(const record& what, uint32_t from, const std::string& size) {
    const std::string name = what.fields.empty() ? "bytes" : "rest_" + std::to_string(from);
    return {std::to_string(from), size, "bytes", name, "", "not interpreted"};
}

std::vector<std::string> field_row(const field& what, uint32_t offset, const std::string& name) {
    return {std::to_string(offset), field_size(what),  type_text(what.kind), name,
            std::string(what.unit), meaning_text(what)};
}

void add_list_rows(row_list& rows, const record& list) {
    rows.push_back({"0", "1", "u8", "count", "", "number of entries"});
    if (list.fields.empty()) {
        rows.push_back({"1", std::to_string(list.entry_size), "bytes", "entry[0]", "",
                        "first entry; the others follow"});
    }
    for (const field& each : list.fields) {
        rows.push_back(field_row(each, each.offset + 1, "entry[0]." + std::string(each.name)));
    }
}

json field_json(const field& what) {
    json values = json::object();
    for (const catalog::known_value& each : what.values) {
        values[std::to_string(each.value)] = each.meaning;
    }
    return {{"name", what.name},      {"offset", what.offset},
            {"size", what.size},      {"type", type_text(what.kind)},
            {"unit", what.unit},      {"values", values},
            {"meaning", what.meaning}};
}

}  // namespace

std::string kind_text(catalog::service_kind kind) {
    return kind == catalog::service_kind::method ? "method" : "signal";
}

std::string size_text(const record* what) {
    if (what == nullptr) {
        return "-";
    }
    return what->size == 0 ? "any" : std::to_string(what->size);
}

std::string message_text(const catalog::service& service) {
    if (!service.message) {
        return "-";
    }
    const uint8_t type[] = {*service.message};
    return "0x" + catalog::to_hex(type) + " " + std::string(catalog::message_name(type[0]));
}

std::string timeout_text(int timeout_ms) {
    return timeout_ms == 0 ? "-" : std::to_string(timeout_ms) + " ms";
}

row_list field_rows(const record& what) {
    row_list rows = {{"offset", "size", "type", "name", "unit", "meaning"}};
    if (what.entry_size != 0) {
        add_list_rows(rows, what);
        return rows;
    }
    uint32_t done = 0;
    for (const field& each : what.fields) {
        if (each.offset > done) {
            rows.push_back(rest_row(what, done, std::to_string(each.offset - done)));
        }
        rows.push_back(field_row(each, each.offset, std::string(each.name)));
        done = each.offset + each.size;
    }
    const bool open_ended = !what.fields.empty() && what.fields.back().size == 0;
    if (done < what.size) {
        rows.push_back(rest_row(what, done, std::to_string(what.size - done)));
    } else if (what.size == 0 && !open_ended) {
        rows.push_back(rest_row(what, done, "to the end"));
    }
    return rows;
}

std::vector<std::string> answer_fields(const record& what) {
    std::vector<std::string> names;
    const row_list rows = field_rows(what);
    for (size_t i = 1; i < rows.size(); ++i) {
        names.push_back(rows[i][3]);
    }
    return names;
}

json record_json(const record* what) {
    if (what == nullptr) {
        return nullptr;
    }
    json fields = json::array();
    for (const field& each : what->fields) {
        fields.push_back(field_json(each));
    }
    return {{"name", what->name},
            {"size", what->size},
            {"entry_size", what->entry_size},
            {"fields", fields}};
}

json service_json(const catalog::service& service) {
    json document = {{"index", service.index},
                     {"name", service.name},
                     {"kind", kind_text(service.kind)},
                     {"meaning", service.meaning},
                     {"request", record_json(service.request)},
                     {"reply", record_json(service.reply)},
                     {"message", nullptr},
                     {"timeout_ms", service.timeout_ms}};
    if (service.message) {
        document["message"] = {{"type", *service.message},
                               {"name", catalog::message_name(*service.message)}};
    }
    return document;
}

}  // namespace quon::client
