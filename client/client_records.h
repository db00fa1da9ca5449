// What the structures of the client hold and where it stands on the bus: the generated tables, and
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
    uint16_t place;   // in the structure
    Kind kind;
    bool is_counted;  // has a bit of its own, in the order of the fields
    bool is_daemons;  // measured by the daemon itself
    const char* unit;
    std::span<const KnownValue> values;
    int16_t least;  // what people may give; both 0: all that its bytes can hold
    int16_t most;
};

// After a count byte; `size` is 0 where there is no list.
struct Entries {
    uint16_t size;  // bytes of one on the bus
    uint16_t most;
    uint16_t structure;  // bytes of one in memory
    uint16_t count_place;
    uint16_t place;
};

struct Record {
    const char* name;
    std::span<const Field> fields;
    std::span<const uint16_t> parts;  // where the answers begin that make it up; empty: it is one
    uint16_t size;                    // bytes; 0: any
    uint16_t longest;
    uint16_t absent_place;  // kNone: nothing can be missing
    uint16_t length_place;  // kNone: of a fixed size, or a text
    uint16_t structure;     // bytes in memory
    Entries entries;
};

struct Service {
    const char* name;
    const Record* request;
    const Record* reply;
    const char* zero;  // what a zero may mean beside the value 0; null: nothing
};

extern const Service kServices[kServiceCount];

// By its whole name; null when there is none.
const Service* service_named(const char* name);

// Bytes of the request within `into`, which has room for the longest record; -1 when the structure
// holds what cannot be sent: no address, or a length that is too long.
int32_t encode(const Record& what, const void* structure, uint8_t* into);

// Whether an answer of these bytes can be this record.
bool is_sound(const Record& what, std::span<const uint8_t> bytes);

// Of a sound answer. `zero_is_fact`: nothing is marked absent.
void decode(const Record& what, std::span<const uint8_t> bytes, bool zero_is_fact, void* structure);

// How many bytes at the end of [from, to) are zero like all that follows in their answer.
size_t unproven(const Record& what, std::span<const uint8_t> bytes, size_t from, size_t to);

// Texts that the daemon writes when it has nothing to write.
bool is_blank_text(Kind kind, const char* text);

bool is_text(Kind kind);

}  // namespace quon::typed

#endif
