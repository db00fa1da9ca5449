// What the small client's command line says, and its one connection.
#ifndef SMALL_LINE_H
#define SMALL_LINE_H

#include <stddef.h>
#include <stdio.h>

#include "small.h"

namespace quon::small {

inline constexpr size_t kMostWords = 64;

struct Line {
    FILE* out = nullptr;
    Mode mode = Mode::people;
    int32_t timeout_ms = 5000;
    const char* words[kMostWords] = {};  // the command and what follows it, without the options
    size_t word_count = 0;
    // Options of one command; null where they were not given.
    const char* hex = nullptr;
    const char* base = nullptr;
    const char* count = nullptr;
    const char* patience = nullptr;  // --timeout of events
    bool follow = false;
};
extern Line line;

struct Command {
    const char* name;
    Exit (*run)();
    bool ends_the_line;  // what follows are its words, options and all
};

// Null when there is none.
const Command* command_named(const char* name);

// ---- The bus. Each fails as the exit statuses say.

extern quon_mcu_client* client;
extern uint8_t request[DBUS_DATA_SIZE];
extern DbusReply answer;

void connect();

// Returns for an answer, a refusal among them.
void check(const Service& service, quon_mcu_status status);

// Calls with the first `length` bytes of `request`; a refusal is an answer like any other.
quon_mcu_status call_service(const Service& service, uint32_t length);

// As call_service; returns the bytes, which stand in `answer`, of a sound answer.
Bytes query(const Service& service, uint32_t length);

// As query, and asks further where that tells more: a clock that may have sent no seconds is asked
// again a second later, and what counts from the snapshot means nothing before there is one.
// `zero`: why a zero is no fact.
Bytes ask(const Service& service, uint32_t length, const char*& zero);

bool is(const Record* record, const char* name);

}  // namespace quon::small

#endif
