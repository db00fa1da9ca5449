// One table of the bus services, the chip's messages and the fields of their records. The client's
// lists, descriptions, encoders, decoders and completion, the simulated chip's journal and the
// generated pages of docs/ all use it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "shared/bytes.h"

namespace quon::catalog {

enum class field_kind {
    u8,
    s8,
    u16,
    u32,
    text,          // NUL-terminated within its size
    address_text,  // the same: an IPv4 or hardware address, or nothing
    digit_text,    // the same: one decimal digit
    ipv4,          // four bytes, first octet first
    mac,           // six bytes
    bytes,         // no known meaning
};

struct known_value {
    uint32_t value;
    std::string_view meaning;
};

struct value_range {
    int32_t least = 0;
    int32_t most = 0;
};

struct field {
    std::string_view name;  // lower case, words joined by '_'
    uint32_t offset;        // bytes from the start of the record (of the entry, in a list)
    uint32_t size;          // bytes; 0: to the end of the record
    field_kind kind;
    std::string_view unit;  // "ms", "s", "%", or empty
    std::span<const known_value> values;
    std::string_view meaning;
    value_range range = {};   // what users may give; {0, 0}: whatever fits its bytes
    bool is_daemons = false;  // measured by the daemon, not part of an answer
};

// A record; a list record has a count byte followed by entries of `entry_size` bytes each, which
// `fields` describes.
struct record {
    std::string_view name;
    uint32_t size;        // bytes; 0: as long as its sender makes it
    uint32_t entry_size;  // 0: no list
    std::span<const field> fields;
    std::span<const uint32_t> parts = {};  // start offsets of the chip's answers within it;
                                           // empty: a single answer
    std::string_view zero = {};            // a second meaning of a zero, given as a reason
    bool is_makers = false;                // has fields from a file of definitions
};

enum class service_kind { method, signal };

struct service {
    int index;              // position in the daemon's table
    std::string_view name;  // full name
    service_kind kind;
    const record* request;           // null: ignored or empty
    const record* reply;             // null: none
    std::optional<uint8_t> message;  // the chip message that it sends
    int timeout_ms;                  // of the chip exchange; 0: none
    std::string_view meaning;
    std::string_view refusal;  // why it fails other than by a time-out; empty: unknown
};

struct message {
    uint8_t type;
    std::string_view name;  // as in hi3861l_protocol.h without its prefix, lower case: "get_time"
    const record* request;  // body towards the chip; null: empty
    const record* reply;    // body from the chip; null: none
    int timeout_ms = 0;     // of the driver; 0: no reply is awaited
};

enum class direction { to_chip, from_chip };

std::span<const service> services();
std::span<const message> messages();
std::span<const record* const> records();  // every record used by a service or a message

// The second meaning of a zero in the service's reply; empty if zeros are facts.
std::string_view zero_reason(const service& what);

const service* find_service(std::string_view full_name);
const message* find_message(uint8_t type);
const record* find_record(std::string_view name);

// Text is shown with backslashes and bytes outside 0x20 to 0x7e as \xNN.
struct decoded_field {
    std::string name;  // "reason"; "entry[2]" in a list whose entries have no known fields
    std::string value;
    std::string_view unit;
    std::string_view meaning;  // of a known value
    field_kind kind;
    // Trailing bytes that, like the rest of their answer, are zero. They may come from a shorter
    // answer that was filled up.
    size_t unproven = 0;
    bool blank = false;  // it has no other bytes
};

bool is_number(field_kind kind);

// The fields that lie completely within `bytes`; bytes that no field covers are shown in hex as
// "rest_<offset>", or as "bytes" if there is nothing else. A list gives "count" and its entries.
std::vector<decoded_field> decode(const record& what, byte_view bytes);

// "name=value name=value", plain hex for a record without known fields, "empty" without bytes.
std::string one_line(const record* what, byte_view bytes);

// "get_time", "event_net", or "unknown".
std::string_view message_name(uint8_t type);

// The payload of one chip message on one line, for journals.
std::string describe_payload(direction way, uint8_t type, byte_view payload);

// "0a1bff".
std::string to_hex(byte_view bytes);

}  // namespace quon::catalog
