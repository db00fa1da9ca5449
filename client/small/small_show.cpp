#include <string.h>

#include <algorithm>

#include "quon_little_endian.h"
#include "small.h"

namespace quon::small {

namespace {

using typed::Kind;

constexpr size_t kLine = 16;  // bytes
constexpr int kNameRoom = 16;

// One field of an answer, and how much of it is known.
struct Piece {
    const char* name;
    const Field* field;  // null: bytes
    Bytes bytes;
    size_t unproven;
    bool blank;
};

bool is_text(const Piece& piece) {
    return piece.field != nullptr && typed::is_text(piece.field->kind);
}

bool is_bytes(const Piece& piece) {
    return piece.field == nullptr || piece.field->kind == Kind::bytes;
}

const char* plural(size_t count) {
    return count == 1 ? "byte" : "bytes";
}

void show_bytes(FILE* out, Bytes bytes, const char* separator = "") {
    for (size_t i = 0; i < bytes.size(); ++i) {
        fprintf(out, "%s%02x", i == 0 ? "" : separator, bytes[i]);
    }
}

void show_text(FILE* out, Bytes bytes) {
    for (const uint8_t byte : bytes) {
        if (byte == 0) {
            break;
        }
        fprintf(out, byte >= 0x20 && byte <= 0x7e && byte != '\\' ? "%c" : "\\x%02x", byte);
    }
}

void show_number(FILE* out, const Field& what, Bytes bytes) {
    const uint32_t value = quon_load_le(bytes.data(), bytes.size());
    if (what.kind == Kind::s8) {
        fprintf(out, "%d", static_cast<int8_t>(value));
    } else {
        fprintf(out, "%u", value);
    }
}

void show_value(FILE* out, const Piece& piece) {
    const Kind kind = piece.field == nullptr ? Kind::bytes : piece.field->kind;
    const Bytes bytes = piece.bytes;
    if (is_text(piece)) {
        show_text(out, bytes);
    } else if (kind == Kind::ipv4) {
        fprintf(out, "%u.%u.%u.%u", bytes[0], bytes[1], bytes[2], bytes[3]);
    } else if (kind == Kind::bytes || kind == Kind::mac) {
        show_bytes(out, bytes, kind == Kind::mac ? ":" : "");
    } else {
        show_number(out, *piece.field, bytes);
    }
}

void show_unit(FILE* out, const Piece& piece) {
    if (piece.field == nullptr) {
        return;
    }
    if (piece.field->unit[0] != '\0') {
        fprintf(out, " %s", piece.field->unit);
    }
    const uint32_t value =
        quon_load_le(piece.bytes.data(), std::min<size_t>(piece.bytes.size(), 4));
    for (const typed::KnownValue& each : piece.field->values) {
        if (each.value == value) {
            fprintf(out, " (%s)", each.meaning);
            return;
        }
    }
}

void show_long_bytes(FILE* out, const Piece& piece, int width, const char* zero) {
    const size_t hidden = zero == nullptr ? 0 : piece.unproven;
    const Bytes shown = piece.bytes.first(piece.bytes.size() - hidden);
    for (size_t at = 0; at < shown.size(); at += kLine) {
        if (at != 0) {
            fprintf(out, "%*s  ", width, "");
        }
        show_bytes(out, shown.subspan(at, std::min(kLine, shown.size() - at)));
        fputc('\n', out);
    }
    if (hidden != 0) {
        fprintf(out, "%*s  (%zu %s more: %s)\n", width, "", hidden, plural(hidden), zero);
    }
}

void show_short_bytes(FILE* out, const Piece& piece, const char* zero) {
    const size_t hidden = zero == nullptr ? 0 : piece.unproven;
    show_bytes(out, piece.bytes.first(piece.bytes.size() - hidden));
    if (hidden != 0) {
        fprintf(out, "  (%zu %s more: %s)", hidden, plural(hidden), zero);
    }
    fputc('\n', out);
}

void show_piece(FILE* out, const Piece& piece, int width, const char* zero) {
    const size_t size = piece.bytes.size();
    fprintf(out, "%-*s  ", width, piece.name);
    if (piece.blank && zero != nullptr) {
        fprintf(out, "-  (%s)\n", zero);
    } else if (!is_bytes(piece)) {
        show_value(out, piece);
        show_unit(out, piece);
        if (zero != nullptr && piece.unproven != 0) {
            fprintf(out, "  (last %zu %s: %s)", piece.unproven, plural(piece.unproven), zero);
        }
        fputc('\n', out);
    } else if (size > kLine && std::all_of(piece.bytes.begin(), piece.bytes.end(),
                                           [](uint8_t each) { return each == 0; })) {
        fprintf(out, "%zu bytes, all zero\n", size);
    } else if (size > kLine) {
        show_long_bytes(out, piece, width, zero);
    } else {
        show_short_bytes(out, piece, zero);
    }
}

Piece piece_of(const Record& what, const Field& field, Bytes bytes) {
    const size_t size = field.size != 0 ? field.size : bytes.size() - field.offset;
    Piece piece = {field.name, &field, bytes.subspan(field.offset, size), 0, false};
    if (typed::is_text(field.kind)) {
        char text[DBUS_DATA_SIZE + 1] = {};
        std::copy(piece.bytes.begin(), piece.bytes.end(), text);
        piece.blank = typed::is_blank_text(field.kind, text);
        return piece;
    }
    piece.unproven = typed::unproven(what, bytes, field.offset, field.offset + size);
    piece.blank = size != 0 && piece.unproven == size;
    if (field.is_daemons && !piece.blank) {
        piece.unproven = 0;
    }
    return piece;
}

Piece bytes_at(const Record& what, const char* name, Bytes bytes, size_t from, size_t size) {
    const size_t unproven = typed::unproven(what, bytes, from, from + size);
    return {name, nullptr, bytes.subspan(from, size), unproven, unproven == size};
}

void show_list(FILE* out, const Record& what, Bytes bytes, const char* zero) {
    const size_t size = what.entries.size;
    const size_t end = 1 + bytes[0] * size;
    const int width =
        bytes[0] != 0 ? static_cast<int>(strlen("entry[0]")) : static_cast<int>(strlen("rest_1"));
    const bool blank = typed::unproven(what, bytes, 0, 1) == 1;
    fprintf(out, "%-*s  ", width, "count");
    if (blank && zero != nullptr) {
        fprintf(out, "-  (%s)\n", zero);
    } else {
        fprintf(out, "%u\n", bytes[0]);
    }
    for (size_t at = 1; at < end; at += size) {
        char name[kNameRoom];
        snprintf(name, sizeof(name), "entry[%u]", static_cast<unsigned>((at - 1) / size));
        show_piece(out, bytes_at(what, name, bytes, at, size), width, zero);
    }
    if (end < bytes.size()) {
        char name[kNameRoom];
        snprintf(name, sizeof(name), "rest_%u", static_cast<unsigned>(end));
        show_piece(out, bytes_at(what, name, bytes, end, bytes.size() - end), width, zero);
    }
}

}  // namespace

void show_record(FILE* out, const Record& what, Bytes bytes, const char* zero) {
    if (what.entries.size != 0) {
        show_list(out, what, bytes, zero);
        return;
    }
    size_t width = 0;
    for (const Field& each : what.fields) {
        width = std::max(width, strlen(each.name));
    }
    for (const Field& each : what.fields) {
        show_piece(out, piece_of(what, each, bytes), static_cast<int>(width), zero);
    }
}

void show_field(FILE* out, const Record& what, const Field& field, Bytes bytes, const char* zero) {
    const Piece piece = piece_of(what, field, bytes);
    if (piece.blank && zero != nullptr) {
        fputc('-', out);
    } else {
        show_value(out, piece);
    }
    fputc('\n', out);
}

void show_hex(FILE* out, Bytes bytes) {
    show_bytes(out, bytes);
    fputc('\n', out);
}

bool is_blank(const Record& what, const Field& field, Bytes bytes) {
    return piece_of(what, field, bytes).blank;
}

}  // namespace quon::small
