#include "quon_mcu/present.h"

#include "shared/times.h"

namespace quon::client {
namespace {

constexpr size_t kHexLine = 32;  // digits: 16 bytes

std::string with_unit(const catalog::decoded_field& field) {
    std::string text = field.value;
    if (!field.unit.empty()) {
        text += " " + std::string(field.unit);
    }
    if (!field.meaning.empty()) {
        text += " (" + std::string(field.meaning) + ")";
    }
    return text;
}

std::string bytes_text(size_t count) {
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

// Bytes that may not have been sent are counted instead of shown.
void add_byte_rows(row_list& rows, const catalog::decoded_field& field, std::string_view zero) {
    const size_t hidden = zero.empty() ? 0 : field.unproven;
    const std::string shown = field.value.substr(0, field.value.size() - 2 * hidden);
    for (size_t at = 0; at < shown.size(); at += kHexLine) {
        rows.push_back({at == 0 ? field.name : "", shown.substr(at, kHexLine)});
    }
    if (hidden != 0) {
        rows.push_back({"", "(" + bytes_text(hidden) + " more: " + std::string(zero) + ")"});
    }
}

void add_rows(row_list& rows, const catalog::decoded_field& field, std::string_view zero) {
    const bool is_long = field.value.size() > kHexLine;
    if (field.kind != catalog::field_kind::bytes || is_not_known(field, zero)) {
        rows.push_back({field.name, value_text(field, zero)});
    } else if (is_long && field.value.find_first_not_of('0') == std::string::npos) {
        rows.push_back({field.name, bytes_text(field.value.size() / 2) + ", all zero"});
    } else if (is_long) {
        add_byte_rows(rows, field, zero);
    } else {
        rows.push_back({field.name, value_text(field, zero)});
    }
}

}  // namespace

bool is_not_known(const catalog::decoded_field& field, std::string_view zero) {
    return field.blank && !zero.empty();
}

std::string reason_text(const catalog::decoded_field& field, std::string_view zero) {
    if (zero.empty() || (field.unproven == 0 && !field.blank)) {
        return "";
    }
    return field.blank ? std::string(zero)
                       : "last " + bytes_text(field.unproven) + ": " + std::string(zero);
}

std::string value_text(const catalog::decoded_field& field, std::string_view zero) {
    const std::string reason = reason_text(field, zero);
    if (is_not_known(field, zero)) {
        return "-  (" + reason + ")";
    }
    if (reason.empty()) {
        return with_unit(field);
    }
    if (field.kind != catalog::field_kind::bytes) {
        return with_unit(field) + "  (" + reason + ")";
    }
    return field.value.substr(0, field.value.size() - 2 * field.unproven) + "  (" +
           bytes_text(field.unproven) + " more: " + std::string(zero) + ")";
}

json value_json(const catalog::decoded_field& field, std::string_view zero) {
    if (is_not_known(field, zero)) {
        return nullptr;
    }
    return catalog::is_number(field.kind) ? json(std::stoll(field.value)) : json(field.value);
}

// In "entries": the value of an entry, or of one field of it.
void add_entry(json& entries, std::string_view name, json value) {
    const size_t dot = name.find('.');
    if (dot == std::string_view::npos) {
        entries.push_back(std::move(value));
        return;
    }
    constexpr std::string_view kStart = "entry[";
    const size_t index = std::stoul(std::string(name.substr(kStart.size())));
    entries[index][name.substr(dot + 1)] = std::move(value);
}

json fields_json(const catalog::record& what, byte_view bytes, std::string_view zero) {
    json fields = json::object();
    for (const catalog::decoded_field& each : catalog::decode(what, bytes)) {
        if (each.name.starts_with("entry[")) {
            add_entry(fields["entries"], each.name, value_json(each, zero));
        } else {
            fields[each.name] = value_json(each, zero);
        }
    }
    return fields;
}

json reasons_json(const catalog::record& what, byte_view bytes, std::string_view zero) {
    json reasons = json::object();
    for (const catalog::decoded_field& each : catalog::decode(what, bytes)) {
        const std::string reason = reason_text(each, zero);
        if (!reason.empty()) {
            reasons[each.name] = reason;
        }
    }
    return reasons;
}

json answer_json(const catalog::service& service, byte_view payload, std::string_view zero) {
    json document = {{"service", service.name},
                     {"length", payload.size()},
                     {"hex", catalog::to_hex(payload)},
                     {"fields", fields_json(*service.reply, payload, zero)}};
    json reasons = reasons_json(*service.reply, payload, zero);
    if (!reasons.empty()) {
        document["reasons"] = std::move(reasons);
    }
    return document;
}

std::string fields_text(const catalog::record& what, byte_view bytes, std::string_view zero) {
    row_list rows;
    for (const catalog::decoded_field& each : catalog::decode(what, bytes)) {
        add_rows(rows, each, zero);
    }
    return aligned(rows);
}

std::string line_text(const catalog::record& what, byte_view bytes, std::string_view zero) {
    std::string line;
    for (const catalog::decoded_field& each : catalog::decode(what, bytes)) {
        line += (line.empty() ? "" : " ") + each.name + "=" +
                (is_not_known(each, zero) ? "-" : each.value);
    }
    return line;
}

void print(output& out, json document) {
    if (out.is_timed && document.is_object()) {
        json timed = {{"time", time_text(std::chrono::system_clock::now())}};
        timed.update(document);
        document = std::move(timed);
    }
    out.line(dump(document));
}

void show_record(output& out, const catalog::record& what, byte_view bytes, const json& document,
                 std::string_view zero) {
    switch (out.mode) {
        case output_mode::people:
            out.write(fields_text(what, bytes, zero));
            break;
        case output_mode::json:
            print(out, document);
            break;
        case output_mode::hex:
            out.line(catalog::to_hex(bytes));
            break;
        case output_mode::raw:
            out.write(bytes);
            break;
    }
}

void show_sent(output& out, const catalog::service& service, byte_view request) {
    if (out.mode == output_mode::json) {
        print(out, {{"service", service.name},
                    {"sent", true},
                    {"length", request.size()},
                    {"hex", catalog::to_hex(request)}});
    }
}

}  // namespace quon::client
