// The small client's commands.
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>

#include <algorithm>

#include "small_line.h"

namespace quon::small {

namespace {

void show(const Service& service, Bytes bytes, const char* zero) {
    if (line.mode == Mode::people) {
        show_record(line.out, *service.reply, bytes, zero);
    } else if (line.mode == Mode::hex) {
        show_hex(line.out, bytes);
    } else {
        fwrite(bytes.data(), 1, bytes.size(), line.out);
    }
}

const Field& field_named(const Record& what, const char* name, size_t length) {
    const Field* found = find_field(what, name, length);
    if (found == nullptr) {
        fail(kUsage, "unknown field '%.*s'", static_cast<int>(length), name);
    }
    return *found;
}

Exit get() {
    if (line.word_count < 2) {
        fail(kUsage, "get needs an object");
    }
    const Service& service = service_of("get", line.words[1]);
    size_t next = 2;
    uint32_t length = 0;
    for (size_t i = 0; service.request != nullptr && i < service.request->fields.size(); ++i) {
        if (next == line.word_count) {
            fail(kUsage, "%s needs a value", line.words[1]);
        }
        const Field& field = service.request->fields[i];
        length = field.offset + parse_field(field, line.words[next++], request + field.offset,
                                            DBUS_DATA_SIZE - field.offset);
    }
    for (size_t i = next; i < line.word_count; ++i) {
        field_named(*service.reply, line.words[i], strlen(line.words[i]));
    }
    if (next < line.word_count && line.mode != Mode::people) {
        fail(kUsage, "--hex and --raw show whole answers: name no field");
    }
    const char* zero = nullptr;
    const Bytes bytes = ask(service, length, zero);
    for (size_t i = next; i < line.word_count; ++i) {
        show_field(line.out, *service.reply,
                   field_named(*service.reply, line.words[i], strlen(line.words[i])), bytes, zero);
    }
    if (next == line.word_count) {
        show(service, bytes, zero);
    }
    return kDone;
}

const Service* reader_of(const Record* what) {
    for (const Service& each : typed::kServices) {
        if (each.reply == what) {
            return &each;
        }
    }
    return nullptr;
}

void set_clock() {
    const time_t now = time(nullptr);
    tm clock = {};
    localtime_r(&now, &clock);
    const int parts[] = {clock.tm_year - 100, clock.tm_mon + 1, clock.tm_mday,
                         clock.tm_hour,       clock.tm_min,     clock.tm_sec};
    std::copy(std::begin(parts), std::end(parts), request);
}

// Bytes that the words give. All values stand in the fields' order or all are NAME=VALUE.
uint32_t encode_words(const Record& what) {
    const bool named = strchr(line.words[2], '=') != nullptr;
    size_t index = 0;
    uint32_t length = what.size;
    for (size_t i = 2; i < line.word_count; ++i) {
        const char* equals = strchr(line.words[i], '=');
        if (named && equals == nullptr) {
            fail(kUsage, "'%s' is no NAME=VALUE", line.words[i]);
        }
        while (!named && index < what.fields.size() &&
               strncmp(what.fields[index].name, "rest_", 5) == 0) {
            ++index;
        }
        if (!named && index == what.fields.size()) {
            fail(kUsage, "too many values");
        }
        const Field& field =
            named ? field_named(what, line.words[i], static_cast<size_t>(equals - line.words[i]))
                  : what.fields[index++];
        uint8_t* to = request + field.offset;
        std::fill(to, to + field.size, uint8_t{0});
        const uint32_t size = parse_field(field, named ? equals + 1 : line.words[i], to,
                                          DBUS_DATA_SIZE - field.offset);
        length = std::max(length, field.offset + size);
    }
    while (!named && index < what.fields.size() &&
           strncmp(what.fields[index].name, "rest_", 5) == 0) {
        ++index;
    }
    if (!named && index < what.fields.size()) {
        fail(kUsage, "too few values");
    }
    return length;
}

uint32_t request_of(const Service& service) {
    const Record& what = *service.request;
    if (line.hex != nullptr) {
        const uint32_t length = parse_hex(line.hex, request, 0, DBUS_DATA_SIZE);
        if (what.size != 0 && length != what.size) {
            fail(kUsage, "%s takes %u bytes, not %u", line.words[1], unsigned{what.size}, length);
        }
        return line.word_count > 2 ? encode_words(what) : length;
    }
    if (line.word_count < 3) {
        fail(kUsage, "%s needs a value or --hex", line.words[1]);
    }
    if (is(&what, "time") && strcmp(line.words[2], "now") == 0) {
        set_clock();
        return what.size;
    }
    const Service* reader = reader_of(service.request);
    encode_words(what);  // what is wrong is said before anybody is asked
    const bool wants_present = line.base == nullptr || strcmp(line.base, "current") == 0;
    if (reader != nullptr && wants_present) {
        const Bytes present = query(*reader, 0);
        std::copy(present.begin(), present.end(), request);
    }
    return encode_words(what);
}

Exit set() {
    if (line.word_count < 2) {
        fail(kUsage, "set needs an object");
    }
    const Service& service = service_of("set", line.words[1]);
    if (service.request == nullptr && (line.word_count > 2 || line.hex != nullptr)) {
        fail(kUsage, "%s takes no value", line.words[1]);
    }
    const uint32_t length = service.request == nullptr ? 0 : request_of(service);
    connect();
    check(service, quon_mcu_client_send(client, service.name, request, length, line.timeout_ms));
    return kDone;
}

Exit call() {
    const Service* service = line.word_count < 2 ? nullptr : find_service(line.words[1]);
    if (service == nullptr || service->reply == nullptr) {
        fail(kUsage, "call needs the name of a method");
    }
    uint32_t length = 0;
    for (size_t i = 2; i < line.word_count; ++i) {
        length = parse_hex(line.words[i], request, length, DBUS_DATA_SIZE);
    }
    const bool failed = call_service(*service, length) == QUON_MCU_FAILED;
    const Bytes bytes(answer.data, failed ? 0 : answer.data_len);
    if (line.mode == Mode::people) {
        fprintf(line.out, "result  %d\nlength  %zu\nhex%s", static_cast<int>(answer.result),
                bytes.size(), bytes.empty() ? "" : "     ");
        show_hex(line.out, bytes);
    } else if (!failed) {
        show(*service, bytes, nullptr);
    }
    if (failed) {
        fflush(line.out);
        fail(kFailed, "%s: the service failed, result %d", service->name,
             static_cast<int>(answer.result));
    }
    return kDone;
}

Exit events() {
    const int64_t wanted = line.count != nullptr ? parse_number(line.count, 1, INT32_MAX) : 0;
    const int32_t patience = line.patience != nullptr     ? parse_duration(line.patience)
                             : line.follow || wanted != 0 ? INT32_MAX
                                                          : 0;
    const Service& service = service_of("get", "event.info");
    const time_t start = time(nullptr);
    connect();
    int64_t seen = 0;
    while (wanted == 0 || seen < wanted) {
        quon_mcu_event_info event;
        const int64_t gone = int64_t{time(nullptr) - start} * 1000;
        const auto left = static_cast<int32_t>(
            patience == INT32_MAX ? patience : std::max<int64_t>(patience - gone, 0));
        const quon_mcu_status status = quon_mcu_client_next_event(client, &event, left);
        if (status == QUON_MCU_TIMEOUT) {
            break;
        }
        check(service, status);
        ++seen;
        if (line.mode == Mode::people) {
            fprintf(line.out, "%lld  ", static_cast<long long>(seen));
        }
        if (line.mode == Mode::raw) {
            fwrite(event.bytes, 1, sizeof(event.bytes), line.out);
        } else {
            show_hex(line.out, event.bytes);
        }
        fflush(line.out);
    }
    if (seen < wanted) {
        fail(kTimedOut, "%lld of %lld events in time", static_cast<long long>(seen),
             static_cast<long long>(wanted));
    }
    return kDone;
}

Exit wakeup() {
    const char* zero = nullptr;
    const Service& service = service_of("get", "allwakeup.info");
    const Bytes bytes = ask(service, 0, zero);
    show(service, bytes, zero);
    if (line.mode == Mode::people) {
        const Service& since = service_of("get", "socup.time");
        const Bytes times = ask(since, 0, zero);
        fputs("since_start     ", line.out);
        show_field(line.out, *since.reply, *find_field(*since.reply, "since_start", 11), times,
                   zero);
    }
    return kDone;
}

// The words of a shell command as its request.
uint32_t join_words() {
    uint32_t length = 0;
    for (size_t i = 1; i < line.word_count; ++i) {
        const size_t size = strlen(line.words[i]);
        if (length + size + 1 > DBUS_DATA_SIZE) {
            fail(kUsage, "the command is too long");
        }
        std::copy(line.words[i], line.words[i] + size, request + length);
        length += static_cast<uint32_t>(size) + 1;
        request[length - 1] = ' ';
    }
    if (length < 2) {
        fail(kUsage, "a shell command is missing");
    }
    request[length - 1] = '\0';
    return length;
}

Exit exec() {
    join_words();
    connect();
    int32_t status = 0;
    const quon_mcu_status ended = quon_mcu_client_exec(
        client, reinterpret_cast<const char*>(request), &status, line.timeout_ms);
    const Service& service = service_of("get", "system");
    check(service, ended);
    if (ended == QUON_MCU_FAILED || status == -1) {
        fail(kFailed, "the daemon could not start a shell");
    }
    if (WIFEXITED(status)) {
        fprintf(line.out, "exit status %d\n", WEXITSTATUS(status));
    } else {
        fprintf(line.out, "killed by signal %d\n", WTERMSIG(status));
    }
    return status == 0 ? kDone : kFailed;
}

Exit popen() {
    const Bytes output = query(service_of("get", "popen"), join_words());
    if (line.mode == Mode::hex) {
        show_hex(line.out, output);
    } else {
        fwrite(output.data(), 1, output.size(), line.out);
    }
    return kDone;
}

constexpr Command kCommands[] = {
    {"get", get, false},       {"set", set, false},       {"call", call, false},
    {"events", events, false}, {"wakeup", wakeup, false}, {"exec", exec, true},
    {"popen", popen, true},
};

}  // namespace

const Command* command_named(const char* name) {
    for (const Command& each : kCommands) {
        if (strcmp(each.name, name) == 0) {
            return &each;
        }
    }
    return nullptr;
}

}  // namespace quon::small
