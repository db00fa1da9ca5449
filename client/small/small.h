// The rooms of the small client: it ends where something fails.
#ifndef SMALL_H
#define SMALL_H

#include <stdint.h>
#include <stdio.h>

#include <span>

#include "client_records.h"
#include "quon_mcu_client.h"

namespace quon::small {

using typed::Field;
using typed::Record;
using typed::Service;
using Bytes = std::span<const uint8_t>;

enum Exit { kDone = 0, kFailed = 1, kUsage = 2, kUnreachable = 3, kTimedOut = 4, kMalformed = 5 };

enum class Mode { people, hex, raw };

// "quon-mcu-small: text" on standard error, and the end of the process.
[[noreturn]] __attribute__((format(printf, 2, 3))) void fail(Exit status, const char* format, ...);

// ---- Words. Each fails (usage) with a text that quotes what it was given.

int64_t parse_number(const char* text, int64_t least, int64_t most);
int32_t parse_duration(const char* text);  // "1500", "1500ms" or "1.5s", in milliseconds

// Appends pairs of digits, blanks and colons skipped, to the `length` bytes in `into`, which has
// room for `most`; returns the new length.
uint32_t parse_hex(const char* text, uint8_t* into, uint32_t length, uint32_t most);

// The bytes of one field into the cleared `to`; returns how many they are.
uint32_t parse_field(const Field& what, const char* text, uint8_t* to, uint32_t room);

const Field* find_field(const Record& what, const char* name, size_t length);

// The service of a full or short name; null when there is none.
const Service* find_service(const char* name);
// The service of an object under a verb: "get", "time" or "get.time".
const Service& service_of(const char* verb, const char* object);

// ---- Results

// `zero` is why a zero at the end of an answer is no fact; null: it is one.
void show_record(FILE* out, const Record& what, Bytes bytes, const char* zero);
// One value without its unit, a line; "-" for what is not known.
void show_field(FILE* out, const Record& what, const Field& field, Bytes bytes, const char* zero);
void show_hex(FILE* out, Bytes bytes);
// Whether nothing of the field is known.
bool is_blank(const Record& what, const Field& field, Bytes bytes);

}  // namespace quon::small

#endif
