#include <stdio.h>

#include "quon_log.h"
#include "quon_log_internal.h"

namespace {

constexpr unsigned kGroupSize = 8;
constexpr unsigned char kFirstPrintable = 32;
constexpr unsigned char kLastPrintable = 126;

struct Dump {
    const char* name;
    unsigned width;
    const unsigned char* data;
    unsigned size;
};

void append_head(QnLogLine* line, const Dump& dump, unsigned start) {
    const int wanted = snprintf(line->text, sizeof(line->text), "D/HEX %s: %04X-%04X: ", dump.name,
                                start, start + dump.width - 1);
    line->length = wanted < QN_LOG_LINE_SIZE ? wanted : QN_LOG_LINE_SIZE;
}

void append_hex(QnLogLine* line, const Dump& dump, unsigned start) {
    for (unsigned position = 0; position < dump.width; position++) {
        char piece[8] = "   ";
        if (start + position < dump.size) {
            snprintf(piece, sizeof(piece), "%02X ", dump.data[start + position]);
        }
        qn_log_append(line, piece);
        if ((position + 1) % kGroupSize == 0) {
            qn_log_append(line, " ");
        }
    }
    qn_log_append(line, "  ");
}

void append_characters(QnLogLine* line, const Dump& dump, unsigned start) {
    for (unsigned at = start; at < start + dump.width && at < dump.size; at++) {
        const unsigned char byte = dump.data[at];
        const bool printable = byte >= kFirstPrintable && byte <= kLastPrintable;
        const char piece[] = {printable ? static_cast<char>(byte) : '.', '\0'};
        qn_log_append(line, piece);
    }
}

// A full line loses its last byte, because every line ends with a newline.
void append_newline(QnLogLine* line) {
    if (line->length == QN_LOG_LINE_SIZE) {
        line->length--;
    }
    qn_log_append(line, "\n");
}

void print_line(const Dump& dump, unsigned start) {
    QnLogLine line = {};
    append_head(&line, dump, start);
    append_hex(&line, dump, start);
    append_characters(&line, dump, start);
    append_newline(&line);
    printf("%.*s", line.length, line.text);
}

}  // namespace

void QnLogHexDump(const char* name, unsigned char width, const unsigned char* data,
                  unsigned short size) {
    if (!qn_log_wants(QN_LOG_DEBUG) || width == 0) {
        return;
    }
    const Dump dump = {name, width, data, size};
    const int cancel_state = qn_log_lock();
    for (unsigned start = 0; start < dump.size; start += dump.width) {
        print_line(dump, start);
    }
    qn_log_unlock(cancel_state);
}
