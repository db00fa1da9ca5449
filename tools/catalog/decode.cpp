#include <algorithm>

#include "catalog/catalog.h"
#include "quon_little_endian.h"

namespace quon::catalog {
namespace {

using bytes_view = std::span<const uint8_t>;

uint32_t read_le(bytes_view bytes) {
    return quon_load_le(bytes.data(), bytes.size());
}

std::string hex_byte(uint8_t byte) {
    constexpr std::string_view digits = "0123456789abcdef";
    return {digits[byte >> 4], digits[byte & 0x0f]};
}

std::string decimal(uint8_t byte) {
    return std::to_string(byte);
}

std::string joined(bytes_view bytes, char separator, std::string (*each)(uint8_t)) {
    std::string text;
    for (const uint8_t byte : bytes) {
        if (!text.empty()) {
            text += separator;
        }
        text += each(byte);
    }
    return text;
}

std::string printable(bytes_view bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        if (byte == 0) {
            break;
        }
        if (byte >= 0x20 && byte <= 0x7e && byte != '\\') {
            text += static_cast<char>(byte);
        } else {
            text += "\\x" + hex_byte(byte);
        }
    }
    return text;
}

std::string shown(field_kind kind, bytes_view bytes) {
    switch (kind) {
        case field_kind::u8:
        case field_kind::u16:
        case field_kind::u32:
            return std::to_string(read_le(bytes));
        case field_kind::s8:
            return std::to_string(static_cast<int8_t>(bytes[0]));
        case field_kind::text:
            return printable(bytes);
        case field_kind::ipv4:
            return joined(bytes, '.', decimal);
        case field_kind::mac:
            return joined(bytes, ':', hex_byte);
        case field_kind::bytes:
            break;
    }
    return to_hex(bytes);
}

std::string_view meaning_of(const field& what, bytes_view bytes) {
    const auto found = std::ranges::find(what.values, read_le(bytes), &known_value::value);
    return found == what.values.end() ? std::string_view{} : found->meaning;
}

class decoder {
  public:
    decoder(std::span<const field> fields, bytes_view bytes, std::string prefix)
        : fields_(fields), bytes_(bytes), prefix_(std::move(prefix)) {}

    void into(std::vector<decoded_field>& out) {
        size_t done = 0;
        for (const field& each : fields_) {
            const size_t size = each.size != 0                ? each.size
                                : each.offset < bytes_.size() ? bytes_.size() - each.offset
                                                              : 0;
            if (each.offset + size > bytes_.size()) {
                break;
            }
            rest(out, done, each.offset);
            known(out, each, bytes_.subspan(each.offset, size));
            done = each.offset + size;
        }
        rest(out, done, bytes_.size());
    }

  private:
    void known(std::vector<decoded_field>& out, const field& each, bytes_view piece) const {
        const std::string_view meaning = is_number(each.kind) ? meaning_of(each, piece) : "";
        out.push_back({dotted(each.name), shown(each.kind, piece), each.unit, meaning, each.kind});
    }

    void rest(std::vector<decoded_field>& out, size_t from, size_t to) const {
        if (from >= to) {
            return;
        }
        const bool all = from == 0 && to == bytes_.size();
        const std::string name = all ? unnamed() : dotted("rest_" + std::to_string(from));
        out.push_back({name, to_hex(bytes_.subspan(from, to - from)), "", "", field_kind::bytes});
    }

    std::string dotted(std::string_view name) const {
        return prefix_.empty() ? std::string(name) : prefix_ + "." + std::string(name);
    }
    std::string unnamed() const { return prefix_.empty() ? "bytes" : prefix_; }

    std::span<const field> fields_;
    bytes_view bytes_;
    std::string prefix_;
};

std::vector<decoded_field> decode_list(const record& what, bytes_view bytes) {
    std::vector<decoded_field> out;
    if (bytes.empty()) {
        return out;
    }
    const size_t count = bytes[0];
    out.push_back({"count", std::to_string(count), "", "", field_kind::u8});
    size_t at = 1;
    for (size_t i = 0; i < count && at + what.entry_size <= bytes.size(); ++i) {
        decoder(what.fields, bytes.subspan(at, what.entry_size), "entry[" + std::to_string(i) + "]")
            .into(out);
        at += what.entry_size;
    }
    if (at < bytes.size()) {
        out.push_back(
            {"rest_" + std::to_string(at), to_hex(bytes.subspan(at)), "", "", field_kind::bytes});
    }
    return out;
}

}  // namespace

bool is_number(field_kind kind) {
    return kind == field_kind::u8 || kind == field_kind::s8 || kind == field_kind::u16 ||
           kind == field_kind::u32;
}

std::string to_hex(bytes_view bytes) {
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const uint8_t byte : bytes) {
        text += hex_byte(byte);
    }
    return text;
}

std::vector<decoded_field> decode(const record& what, bytes_view bytes) {
    if (what.entry_size != 0) {
        return decode_list(what, bytes);
    }
    std::vector<decoded_field> out;
    decoder(what.fields, bytes, "").into(out);
    return out;
}

std::string one_line(const record* what, bytes_view bytes) {
    if (bytes.empty()) {
        return "empty";
    }
    if (what == nullptr || (what->fields.empty() && what->entry_size == 0)) {
        return to_hex(bytes);
    }
    std::string line;
    for (const decoded_field& each : decode(*what, bytes)) {
        line += (line.empty() ? "" : " ") + each.name + "=" + each.value;
    }
    return line;
}

}  // namespace quon::catalog
