#include "quon_mcu/present.h"

namespace quon::client {
namespace {

constexpr size_t hex_line = 32;  // digits: 16 bytes

std::string people_value(const catalog::decoded_field& field) {
    std::string text = field.value;
    if (!field.unit.empty()) {
        text += " " + std::string(field.unit);
    }
    if (!field.meaning.empty()) {
        text += " (" + std::string(field.meaning) + ")";
    }
    return text;
}

void add_rows(std::vector<std::vector<std::string>>& rows, const catalog::decoded_field& field) {
    if (field.kind != catalog::field_kind::bytes || field.value.size() <= hex_line) {
        rows.push_back({field.name, people_value(field)});
        return;
    }
    if (field.value.find_first_not_of('0') == std::string::npos) {
        rows.push_back({field.name, std::to_string(field.value.size() / 2) + " bytes, all zero"});
        return;
    }
    for (size_t at = 0; at < field.value.size(); at += hex_line) {
        rows.push_back({at == 0 ? field.name : "", field.value.substr(at, hex_line)});
    }
}

}  // namespace

std::string dump(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

json fields_json(const catalog::record& what, std::span<const uint8_t> bytes) {
    json fields = json::object();
    for (const catalog::decoded_field& each : catalog::decode(what, bytes)) {
        if (each.name.starts_with("entry[")) {
            fields["entries"].push_back(each.value);
        } else if (catalog::is_number(each.kind)) {
            fields[each.name] = std::stoll(each.value);
        } else {
            fields[each.name] = each.value;
        }
    }
    return fields;
}

std::string fields_text(const catalog::record& what, std::span<const uint8_t> bytes) {
    std::vector<std::vector<std::string>> rows;
    for (const catalog::decoded_field& each : catalog::decode(what, bytes)) {
        add_rows(rows, each);
    }
    return aligned(rows);
}

void show_record(output& out, const catalog::record& what, std::span<const uint8_t> bytes,
                 const json& document) {
    switch (out.mode) {
        case output_mode::people:
            out.write(fields_text(what, bytes));
            break;
        case output_mode::json:
            out.line(dump(document));
            break;
        case output_mode::hex:
            out.line(catalog::to_hex(bytes));
            break;
        case output_mode::raw:
            out.write(bytes);
            break;
    }
}

void show_sent(output& out, const catalog::service& service, std::span<const uint8_t> request) {
    if (out.mode == output_mode::json) {
        out.line(dump({{"service", service.name},
                       {"sent", true},
                       {"length", request.size()},
                       {"hex", catalog::to_hex(request)}}));
    }
}

}  // namespace quon::client
