// quon-mcu-small: the commands of quon-mcu that a camera needs, without the C++ library.
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "quon_mcu_services.h"
#include "small.h"

namespace quon::small {

namespace {

constexpr char kUsageText[] =
    "usage: quon-mcu-small [--timeout TIME] [--hex | --raw] COMMAND\n"
    "  get OBJECT [FIELD...]       ask for an object and show its fields\n"
    "  set OBJECT VALUE...         values in the fields' order, NAME=VALUE each, or now for a "
    "time;\n"
    "                              --hex HEX: the whole record; --base zero: no present values\n"
    "  call NAME [HEX...]          call a method with a raw payload\n"
    "  events [--follow] [--count N] [--timeout TIME]\n"
    "  wakeup                      show the start-up snapshot\n"
    "  exec COMMAND..., popen COMMAND...\n"
    "Exit status: 0 done; 1 failed; 2 usage; 3 no daemon; 4 no answer in time; 5 malformed.\n";
constexpr char kNoSnapshot[] = "the start-up snapshot does not exist yet";
constexpr size_t kMostWords = 64;
constexpr size_t kStartMsOffset = 396;

FILE* out = nullptr;
Mode mode = Mode::people;
int32_t timeout_ms = 5000;
quon_mcu_client* client = nullptr;
DbusReply answer;
uint8_t request[DBUS_DATA_SIZE];

const char* words[kMostWords];
size_t word_count = 0;

struct Options {
    const char* hex;
    const char* base;
    const char* count;
    const char* timeout;
    bool follow;
} options = {};

// ---- The bus

void connect() {
    if (client == nullptr) {
        char name[DBUS_NAME_SIZE];
        snprintf(name, sizeof(name), "quon-mcu-small.%d", static_cast<int>(getpid()));
        client = quon_mcu_client_connect(name, 0);
    }
    if (client == nullptr) {
        fail(kUnreachable, "no daemon: nobody answers at " DBUS_SOCKET_PATH_FORMAT,
             QUON_MCU_BUS_NAME);
    }
}

void check(const Service& service, quon_mcu_status status) {
    switch (status) {
        case QUON_MCU_OK:
        case QUON_MCU_FAILED:
            return;
        case QUON_MCU_TIMEOUT:
            fail(kTimedOut, "%s: no answer within %d ms", service.name,
                 static_cast<int>(timeout_ms));
        case QUON_MCU_NO_CONNECTION:
            fail(kUnreachable, "%s: the connection to the daemon was lost", service.name);
        case QUON_MCU_MALFORMED:
            fail(kMalformed, "%s: malformed answer", service.name);
        default:
            fail(kFailed, "%s: %s", service.name, quon_mcu_status_text(status));
    }
}

// The answer is in `answer`; a negative result is one like any other.
quon_mcu_status call(const Service& service, uint32_t length) {
    connect();
    const quon_mcu_status status =
        quon_mcu_client_call(client, service.name, request, length, timeout_ms, &answer);
    check(service, status);
    return status;
}

Bytes query(const Service& service, uint32_t length) {
    if (call(service, length) == QUON_MCU_FAILED) {
        fail(kFailed, "%s: the service failed, result %d", service.name,
             static_cast<int>(answer.result));
    }
    const Bytes bytes(answer.data, answer.data_len);
    if (!typed::is_sound(*service.reply, bytes)) {
        fail(kMalformed, "%s: malformed answer: %u bytes", service.name,
             static_cast<unsigned>(bytes.size()));
    }
    return bytes;
}

bool is(const Record* record, const char* name) {
    return record != nullptr && strcmp(record->name, name) == 0;
}

bool has_snapshot() {
    const Bytes context = query(service_of("get", "allwakeup.info"), 0);
    return std::any_of(context.begin() + kStartMsOffset, context.end(),
                       [](uint8_t each) { return each != 0; });
}

// As query, and asks further where that tells more: a clock that may have sent no seconds is asked
// again a second later, and what counts from the snapshot means nothing before there is one.
Bytes ask(const Service& service, uint32_t length, const char*& zero) {
    zero = service.zero;
    const bool needs_snapshot =
        is(service.reply, "wakeup_context") || is(service.reply, "socup_time");
    const bool exists = mode != Mode::people || !needs_snapshot || has_snapshot();
    Bytes bytes = query(service, length);
    if (mode == Mode::people && is(service.reply, "time") &&
        is_blank(*service.reply, *find_field(*service.reply, "second", 6), bytes)) {
        usleep(1100000);
        bytes = query(service, length);
    }
    if (!exists) {
        std::fill(answer.data, answer.data + answer.data_len, uint8_t{0});
        zero = kNoSnapshot;
    }
    return bytes;
}

// ---- Commands

void show(const Service& service, Bytes bytes, const char* zero) {
    if (mode == Mode::people) {
        show_record(out, *service.reply, bytes, zero);
    } else if (mode == Mode::hex) {
        show_hex(out, bytes);
    } else {
        fwrite(bytes.data(), 1, bytes.size(), out);
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
    if (word_count < 2) {
        fail(kUsage, "get needs an object");
    }
    const Service& service = service_of("get", words[1]);
    size_t next = 2;
    uint32_t length = 0;
    for (size_t i = 0; service.request != nullptr && i < service.request->fields.size(); ++i) {
        if (next == word_count) {
            fail(kUsage, "%s needs a value", words[1]);
        }
        const Field& field = service.request->fields[i];
        length = field.offset + parse_field(field, words[next++], request + field.offset,
                                            DBUS_DATA_SIZE - field.offset);
    }
    for (size_t i = next; i < word_count; ++i) {
        field_named(*service.reply, words[i], strlen(words[i]));
    }
    if (next < word_count && mode != Mode::people) {
        fail(kUsage, "--hex and --raw show whole answers: name no field");
    }
    const char* zero = nullptr;
    const Bytes bytes = ask(service, length, zero);
    for (size_t i = next; i < word_count; ++i) {
        show_field(out, *service.reply, field_named(*service.reply, words[i], strlen(words[i])),
                   bytes, zero);
    }
    if (next == word_count) {
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
    const bool named = strchr(words[2], '=') != nullptr;
    size_t index = 0;
    uint32_t length = what.size;
    for (size_t i = 2; i < word_count; ++i) {
        const char* equals = strchr(words[i], '=');
        if (named && equals == nullptr) {
            fail(kUsage, "'%s' is no NAME=VALUE", words[i]);
        }
        while (!named && index < what.fields.size() &&
               strncmp(what.fields[index].name, "rest_", 5) == 0) {
            ++index;
        }
        if (!named && index == what.fields.size()) {
            fail(kUsage, "too many values");
        }
        const Field& field =
            named ? field_named(what, words[i], static_cast<size_t>(equals - words[i]))
                  : what.fields[index++];
        uint8_t* to = request + field.offset;
        std::fill(to, to + field.size, uint8_t{0});
        const uint32_t size =
            parse_field(field, named ? equals + 1 : words[i], to, DBUS_DATA_SIZE - field.offset);
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
    if (options.hex != nullptr) {
        const uint32_t length = parse_hex(options.hex, request, 0, DBUS_DATA_SIZE);
        if (what.size != 0 && length != what.size) {
            fail(kUsage, "%s takes %u bytes, not %u", words[1], unsigned{what.size}, length);
        }
        return word_count > 2 ? encode_words(what) : length;
    }
    if (word_count < 3) {
        fail(kUsage, "%s needs a value or --hex", words[1]);
    }
    if (is(&what, "time") && strcmp(words[2], "now") == 0) {
        set_clock();
        return what.size;
    }
    const Service* reader = reader_of(service.request);
    encode_words(what);  // what is wrong is said before anybody is asked
    const bool wants_present = options.base == nullptr || strcmp(options.base, "current") == 0;
    if (reader != nullptr && wants_present) {
        const Bytes present = query(*reader, 0);
        std::copy(present.begin(), present.end(), request);
    }
    return encode_words(what);
}

Exit set() {
    if (word_count < 2) {
        fail(kUsage, "set needs an object");
    }
    const Service& service = service_of("set", words[1]);
    if (service.request == nullptr && (word_count > 2 || options.hex != nullptr)) {
        fail(kUsage, "%s takes no value", words[1]);
    }
    const uint32_t length = service.request == nullptr ? 0 : request_of(service);
    connect();
    check(service, quon_mcu_client_send(client, service.name, request, length, timeout_ms));
    return kDone;
}

Exit call() {
    const Service* service = word_count < 2 ? nullptr : find_service(words[1]);
    if (service == nullptr || service->reply == nullptr) {
        fail(kUsage, "call needs the name of a method");
    }
    uint32_t length = 0;
    for (size_t i = 2; i < word_count; ++i) {
        length = parse_hex(words[i], request, length, DBUS_DATA_SIZE);
    }
    const bool failed = call(*service, length) == QUON_MCU_FAILED;
    const Bytes bytes(answer.data, failed ? 0 : answer.data_len);
    if (mode == Mode::people) {
        fprintf(out, "result  %d\nlength  %zu\nhex%s", static_cast<int>(answer.result),
                bytes.size(), bytes.empty() ? "" : "     ");
        show_hex(out, bytes);
    } else if (!failed) {
        show(*service, bytes, nullptr);
    }
    if (failed) {
        fflush(out);
        fail(kFailed, "%s: the service failed, result %d", service->name,
             static_cast<int>(answer.result));
    }
    return kDone;
}

Exit events() {
    const int64_t wanted = options.count != nullptr ? parse_number(options.count, 1, INT32_MAX) : 0;
    const int32_t patience = options.timeout != nullptr      ? parse_duration(options.timeout)
                             : options.follow || wanted != 0 ? INT32_MAX
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
        if (mode == Mode::people) {
            fprintf(out, "%lld  ", static_cast<long long>(seen));
        }
        if (mode == Mode::raw) {
            fwrite(event.bytes, 1, sizeof(event.bytes), out);
        } else {
            show_hex(out, event.bytes);
        }
        fflush(out);
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
    if (mode == Mode::people) {
        const Service& since = service_of("get", "socup.time");
        const Bytes times = ask(since, 0, zero);
        fputs("since_start     ", out);
        show_field(out, *since.reply, *find_field(*since.reply, "since_start", 11), times, zero);
    }
    return kDone;
}

// The words of a shell command as its request.
uint32_t join_words() {
    uint32_t length = 0;
    for (size_t i = 1; i < word_count; ++i) {
        const size_t size = strlen(words[i]);
        if (length + size + 1 > DBUS_DATA_SIZE) {
            fail(kUsage, "the command is too long");
        }
        std::copy(words[i], words[i] + size, request + length);
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
    const quon_mcu_status ended =
        quon_mcu_client_exec(client, reinterpret_cast<const char*>(request), &status, timeout_ms);
    const Service& service = service_of("get", "system");
    check(service, ended);
    if (ended == QUON_MCU_FAILED || status == -1) {
        fail(kFailed, "the daemon could not start a shell");
    }
    if (WIFEXITED(status)) {
        fprintf(out, "exit status %d\n", WEXITSTATUS(status));
    } else {
        fprintf(out, "killed by signal %d\n", WTERMSIG(status));
    }
    return status == 0 ? kDone : kFailed;
}

Exit popen() {
    const Bytes output = query(service_of("get", "popen"), join_words());
    if (mode == Mode::hex) {
        show_hex(out, output);
    } else {
        fwrite(output.data(), 1, output.size(), out);
    }
    return kDone;
}

struct Command {
    const char* name;
    Exit (*run)();
    bool ends_the_line;  // what follows are its words, options and all
};

constexpr Command kCommands[] = {
    {"get", get, false},       {"set", set, false},       {"call", call, false},
    {"events", events, false}, {"wakeup", wakeup, false}, {"exec", exec, true},
    {"popen", popen, true},
};

const Command* command_named(const char* name) {
    for (const Command& each : kCommands) {
        if (strcmp(each.name, name) == 0) {
            return &each;
        }
    }
    return nullptr;
}

// ---- The command line

const char* take_value(char** argv, int& i) {
    if (argv[i + 1] == nullptr) {
        fail(kUsage, "%s needs a value", argv[i]);
    }
    return argv[++i];
}

void take_option(char** argv, int& i) {
    const char* name = argv[i];
    const bool has_command = word_count != 0;
    const bool sets = has_command && strcmp(words[0], "set") == 0;
    const bool follows = has_command && strcmp(words[0], "events") == 0;
    if (strcmp(name, "--help") == 0) {
        fputs(kUsageText, out);
        exit(fflush(out) == 0 ? kDone : kFailed);
    } else if (strcmp(name, "--timeout") == 0 && follows) {
        options.timeout = take_value(argv, i);
    } else if (strcmp(name, "--timeout") == 0) {
        timeout_ms = parse_duration(take_value(argv, i));
    } else if (strcmp(name, "--hex") == 0 && sets) {
        options.hex = take_value(argv, i);
    } else if (strcmp(name, "--base") == 0 && sets) {
        options.base = take_value(argv, i);
    } else if (strcmp(name, "--follow") == 0 && follows) {
        options.follow = true;
    } else if (strcmp(name, "--count") == 0 && follows) {
        options.count = take_value(argv, i);
    } else if (strcmp(name, "--hex") == 0 || strcmp(name, "--raw") == 0) {
        mode = strcmp(name, "--hex") == 0 ? Mode::hex : Mode::raw;
    } else {
        fail(kUsage, "unknown option '%s'; see 'quon-mcu-small --help'", name);
    }
}

const Command& take_line(char** argv) {
    const Command* command = nullptr;
    bool verbatim = false;
    for (int i = 1; argv[i] != nullptr; ++i) {
        if (!verbatim && strcmp(argv[i], "--") == 0) {
            verbatim = true;
        } else if (!verbatim && strncmp(argv[i], "--", 2) == 0) {
            take_option(argv, i);
        } else if (word_count == kMostWords) {
            fail(kUsage, "too many words");
        } else {
            words[word_count++] = argv[i];
            command = command != nullptr ? command : command_named(argv[i]);
            verbatim = verbatim || (command != nullptr && command->ends_the_line && word_count > 1);
        }
    }
    if (command == nullptr) {
        fail(kUsage, "%s; see 'quon-mcu-small --help'",
             word_count == 0 ? "a command is missing" : "unknown command");
    }
    return *command;
}

// The bus library says what breaks on standard output: the results get a descriptor of their own.
void keep_results_apart() {
    const int results = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    out = results < 0 ? nullptr : fdopen(results, "w");
    if (out == nullptr || nowhere < 0) {
        fail(kFailed, "standard output cannot be written");
    }
    dup2(nowhere, STDOUT_FILENO);
}

}  // namespace

void fail(Exit status, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fputs("quon-mcu-small: ", stderr);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    va_end(arguments);
    exit(status);
}

}  // namespace quon::small

int main(int /*argc*/, char** argv) {
    using namespace quon::small;
    keep_results_apart();
    const Exit status = take_line(argv).run();
    if (fflush(out) != 0 || ferror(out) != 0) {
        fail(kFailed, "standard output cannot be written");
    }
    quon_mcu_client_disconnect(client);
    return status;
}
