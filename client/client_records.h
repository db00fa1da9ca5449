// The layout of the client's structures and of their records on the bus: the generated tables, and
// the one encoder and decoder that read them.
#ifndef CLIENT_RECORDS_H
#define CLIENT_RECORDS_H

#include <stddef.h>
#include <stdint.h>

#include <span>

#include "quon_mcu_services.h"

namespace quon::typed {

enum class Kind : uint8_t { u8, s8, u16, u32, text, address_text, digit_text, ipv4, mac, bytes };

inline constexpr uint16_t kNone = 0xffff;
inline constexpr size_t kServiceCount = QUON_MCU_SERVICE_COUNT;

struct KnownValue {
    uint32_t value;
    const char* meaning;
};

struct Field {
    const char* name;
    uint16_t offset;  // bytes from the start of the record, or of the entry
    uint16_t size;    // bytes; 0: to the end of the record
    uint16_t place;   // offset in the structure
    Kind kind;
    bool is_counted;  // has an `absent` bit; bits follow the order of the fields
    bool is_daemons;  // measured by the daemon, not the chip
    const char* unit;
    std::span<const KnownValue> values;
    int16_t least;  // smallest value a user may give; both 0: whatever fits its bytes
    int16_t most;
};

// The list after a count byte; `size` is 0 where there is none.
struct Entries {
    uint16_t size;  // bytes of one entry on the bus
    uint16_t most;
    uint16_t structure;  // bytes of one entry in memory
    uint16_t count_place;
    uint16_t place;
};

struct Record {
    const char* name;
    std::span<const Field> fields;
    std::span<const uint16_t>
        parts;      // start offsets of the chip's answers within it; empty: a single answer
    uint16_t size;  // bytes; 0: any
    uint16_t longest;
    uint16_t absent_place;  // kNone: nothing can be absent
    uint16_t length_place;  // kNone: fixed size, or a text
    uint16_t structure;     // bytes in memory
    Entries entries;
};

struct Service {
    const char* name;
    const Record* request;
    const Record* reply;
    const char* zero;  // a second meaning of a zero field; null: none
};

extern const Service kServices[kServiceCount];

// Finds a service by its full name; null if there is none.
const Service* service_named(const char* name);

// Encodes a request into `into`, which has room for the longest record, and returns its length; -1
// if the structure cannot be sent: not an address, or too long.
int32_t encode(const Record& what, const void* structure, uint8_t* into);

// Whether an answer of this length can be this record.
bool is_sound(const Record& what, std::span<const uint8_t> bytes);

// Decodes a valid answer. `zero_is_fact`: mark nothing as absent.
void decode(const Record& what, std::span<const uint8_t> bytes, bool zero_is_fact, void* structure);

// Counts the trailing bytes of [from, to) that, like the rest of their answer, are zero.
size_t unproven(const Record& what, std::span<const uint8_t> bytes, size_t from, size_t to);

// Placeholder texts that the daemon writes.
bool is_blank_text(Kind kind, const char* text);

bool is_text(Kind kind);

}  // namespace quon::typed

#endif
