#include <algorithm>

#include "catalog/catalog.h"

namespace quon::catalog {
namespace {

uint32_t read_le(byte_view bytes) {
    return get_le(bytes, 0, bytes.size());
}

std::string hex_byte(uint8_t byte) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    return {kDigits[byte >> 4], kDigits[byte & 0x0f]};
}

std::string decimal(uint8_t byte) {
    return std::to_string(byte);
}

std::string joined(byte_view bytes, char separator, std::string (*each)(uint8_t)) {
    std::string text;
    for (const uint8_t byte : bytes) {
        if (!text.empty()) {
            text += separator;
        }
        text += each(byte);
    }
    return text;
}

std::string printable(byte_view bytes) {
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

std::string shown(field_kind kind, byte_view bytes) {
    switch (kind) {
        case field_kind::u8:
        case field_kind::u16:
        case field_kind::u32:
            return std::to_string(read_le(bytes));
        case field_kind::s8:
            return std::to_string(static_cast<int8_t>(bytes[0]));
        case field_kind::text:
        case field_kind::address_text:
        case field_kind::digit_text:
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

std::string_view meaning_of(const field& what, byte_view bytes) {
    const auto found = std::ranges::find(what.values, read_le(bytes), &known_value::value);
    return found == what.values.end() ? std::string_view{} : found->meaning;
}

// The end of the last non-zero byte in `bytes`.
size_t proven_end(byte_view bytes) {
    size_t end = bytes.size();
    while (end > 0 && bytes[end - 1] == 0) {
        --end;
    }
    return end;
}

// Counts the trailing bytes of [from, to) that, like the rest of their part, are zero.
class proof {
  public:
    proof(byte_view bytes, std::span<const uint32_t> parts) : bytes_(bytes), parts_(parts) {}

    size_t unproven(size_t from, size_t to) const {
        size_t begin = 0;
        size_t end = bytes_.size();
        for (const uint32_t each : parts_) {
            if (each <= from) {
                begin = each;
            } else {
                end = std::min<size_t>(end, each);
                break;
            }
        }
        const size_t proven = begin + proven_end(bytes_.subspan(begin, end - begin));
        return proven >= to ? 0 : to - std::max(proven, from);
    }

  private:
    byte_view bytes_;
    std::span<const uint32_t> parts_;
};

// Placeholder texts that the daemon writes.
bool is_blank_text(field_kind kind, std::string_view text) {
    if (kind == field_kind::digit_text) {
        return text.empty() || text == "0";
    }
    if (kind == field_kind::address_text) {
        return text.find_first_not_of("0.:") == std::string_view::npos;
    }
    return kind == field_kind::text && text.empty();
}

bool is_text(field_kind kind) {
    return kind == field_kind::text || kind == field_kind::address_text ||
           kind == field_kind::digit_text;
}

decoded_field with_proof(decoded_field what, size_t size, size_t unproven) {
    if (is_text(what.kind)) {
        what.blank = is_blank_text(what.kind, what.value);
        what.unproven = what.blank ? size : 0;
    } else {
        what.blank = size != 0 && unproven == size;
        what.unproven = unproven;
    }
    return what;
}

class decoder {
  public:
    // `bytes`, at offset `at`, are a piece of `whole`.
    decoder(std::span<const field> fields, byte_view bytes, std::string prefix, const proof& whole,
            size_t at = 0)
        : fields_(fields), bytes_(bytes), prefix_(std::move(prefix)), whole_(whole), at_(at) {}

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
    void known(std::vector<decoded_field>& out, const field& each, byte_view piece) const {
        const std::string_view meaning = is_number(each.kind) ? meaning_of(each, piece) : "";
        add(out, {dotted(each.name), shown(each.kind, piece), each.unit, meaning, each.kind},
            each.offset, piece.size());
        if (each.is_daemons && !out.back().blank) {
            out.back().unproven = 0;
        }
    }

    void rest(std::vector<decoded_field>& out, size_t from, size_t to) const {
        if (from >= to) {
            return;
        }
        const bool all = from == 0 && to == bytes_.size();
        const std::string name = all ? unnamed() : dotted("rest_" + std::to_string(from));
        add(out, {name, to_hex(bytes_.subspan(from, to - from)), "", "", field_kind::bytes}, from,
            to - from);
    }

    void add(std::vector<decoded_field>& out, decoded_field what, size_t from, size_t size) const {
        const size_t unproven = whole_.unproven(at_ + from, at_ + from + size);
        out.push_back(with_proof(std::move(what), size, unproven));
    }

    std::string dotted(std::string_view name) const {
        return prefix_.empty() ? std::string(name) : prefix_ + "." + std::string(name);
    }
    std::string unnamed() const { return prefix_.empty() ? "bytes" : prefix_; }

    std::span<const field> fields_;
    byte_view bytes_;
    std::string prefix_;
    const proof& whole_;
    size_t at_;
};

std::vector<decoded_field> decode_list(const record& what, byte_view bytes) {
    std::vector<decoded_field> out;
    if (bytes.empty()) {
        return out;
    }
    const proof whole(bytes, {});
    const size_t count = bytes[0];
    const auto add = [&](decoded_field one, size_t from, size_t size) {
        out.push_back(with_proof(std::move(one), size, whole.unproven(from, from + size)));
    };
    add({"count", std::to_string(count), "", "", field_kind::u8}, 0, 1);
    size_t at = 1;
    for (size_t i = 0; i < count && at + what.entry_size <= bytes.size(); ++i) {
        decoder(what.fields, bytes.subspan(at, what.entry_size), "entry[" + std::to_string(i) + "]",
                whole, at)
            .into(out);
        at += what.entry_size;
    }
    if (at < bytes.size()) {
        add({"rest_" + std::to_string(at), to_hex(bytes.subspan(at)), "", "", field_kind::bytes},
            at, bytes.size() - at);
    }
    return out;
}

}  // namespace

std::string_view message_name(uint8_t type) {
    const message* known = find_message(type);
    return known == nullptr ? "unknown" : known->name;
}

std::string describe_payload(direction way, uint8_t type, byte_view payload) {
    const message* known = find_message(type);
    if (known == nullptr) {
        return one_line(nullptr, payload);
    }
    return one_line(way == direction::to_chip ? known->request : known->reply, payload);
}

bool is_number(field_kind kind) {
    return kind == field_kind::u8 || kind == field_kind::s8 || kind == field_kind::u16 ||
           kind == field_kind::u32;
}

std::string to_hex(byte_view bytes) {
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const uint8_t byte : bytes) {
        text += hex_byte(byte);
    }
    return text;
}

std::vector<decoded_field> decode(const record& what, byte_view bytes) {
    if (what.entry_size != 0) {
        return decode_list(what, bytes);
    }
    std::vector<decoded_field> out;
    const proof whole(bytes, what.parts);
    decoder(what.fields, bytes, "", whole).into(out);
    return out;
}

std::string one_line(const record* what, byte_view bytes) {
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
