// quon-mcu-small: the commands of quon-mcu that a camera needs, without the C++ library.
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "small_line.h"

namespace quon::small {

Line line;

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

const char* take_value(char** argv, int& i) {
    if (argv[i + 1] == nullptr) {
        fail(kUsage, "%s needs a value", argv[i]);
    }
    return argv[++i];
}

void take_option(char** argv, int& i) {
    const char* name = argv[i];
    const bool has_command = line.word_count != 0;
    const bool sets = has_command && strcmp(line.words[0], "set") == 0;
    const bool follows = has_command && strcmp(line.words[0], "events") == 0;
    if (strcmp(name, "--help") == 0) {
        fputs(kUsageText, line.out);
        exit(fflush(line.out) == 0 ? kDone : kFailed);
    } else if (strcmp(name, "--timeout") == 0 && follows) {
        line.patience = take_value(argv, i);
    } else if (strcmp(name, "--timeout") == 0) {
        line.timeout_ms = parse_duration(take_value(argv, i));
    } else if (strcmp(name, "--hex") == 0 && sets) {
        line.hex = take_value(argv, i);
    } else if (strcmp(name, "--base") == 0 && sets) {
        line.base = take_value(argv, i);
    } else if (strcmp(name, "--follow") == 0 && follows) {
        line.follow = true;
    } else if (strcmp(name, "--count") == 0 && follows) {
        line.count = take_value(argv, i);
    } else if (strcmp(name, "--hex") == 0 || strcmp(name, "--raw") == 0) {
        line.mode = strcmp(name, "--hex") == 0 ? Mode::hex : Mode::raw;
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
        } else if (line.word_count == kMostWords) {
            fail(kUsage, "too many words");
        } else {
            line.words[line.word_count++] = argv[i];
            command = command != nullptr ? command : command_named(argv[i]);
            verbatim =
                verbatim || (command != nullptr && command->ends_the_line && line.word_count > 1);
        }
    }
    if (command == nullptr) {
        fail(kUsage, "%s; see 'quon-mcu-small --help'",
             line.word_count == 0 ? "a command is missing" : "unknown command");
    }
    return *command;
}

// The bus library says what breaks on standard output: the results get a descriptor of their own.
void keep_results_apart() {
    const int results = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    line.out = results < 0 ? nullptr : fdopen(results, "w");
    if (line.out == nullptr || nowhere < 0) {
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
    if (fflush(line.out) != 0 || ferror(line.out) != 0) {
        fail(kFailed, "standard output cannot be written");
    }
    quon_mcu_client_disconnect(client);
    return status;
}
