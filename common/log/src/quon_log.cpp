#include "quon_log.h"

// Keeps qn_log_strcpy's assertions active in every build type.
#undef NDEBUG
#include <assert.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/time.h>
#include <time.h>

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "quon_log_internal.h"
#include "quon_platform.h"

namespace {

constexpr char kSourceName[] = "common/log/src/quon_log";

constexpr uint32_t kHeadGroup = QN_LOG_FMT_LEVEL | QN_LOG_FMT_TAG;
constexpr uint32_t kBracketGroup = QN_LOG_FMT_TIME | QN_LOG_FMT_PROCESS | QN_LOG_FMT_THREAD;
constexpr uint32_t kLocationGroup = QN_LOG_FMT_FILE | QN_LOG_FMT_FUNC | QN_LOG_FMT_LINE;

struct LevelText {
    const char* letter;
    const char* color;
};

constexpr LevelText kLevels[] = {
    {"F/", "35;1m"},  // QN_LOG_FATAL: bold magenta
    {"E/", "31;1m"},  // QN_LOG_ERROR: bold red
    {"W/", "33;1m"},  // QN_LOG_WARN: bold yellow
    {"I/", "32;1m"},  // QN_LOG_INFO: bold green
    {"D/", "36;1m"},  // QN_LOG_DEBUG: bold cyan
};

constexpr char kColorStart[] = "\x1b[";
constexpr char kColorReset[] = "\x1b[0m";
constexpr size_t kTagColumn = 8;
constexpr ptrdiff_t kLineDigits = 4;  // a longer line number is cut: intended

QnLogProfile profile = {
    .enable = 1,
    .color = 1,
    .use_mutex = 1,
    .fmt_mask =
        QN_LOG_FMT_LEVEL | QN_LOG_FMT_TAG | QN_LOG_FMT_TIME | QN_LOG_FMT_FUNC | QN_LOG_FMT_LINE,
    .level_limit = QN_LOG_ERROR,
    .hook = nullptr,
};

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
uint8_t busy;  // replaces the mutex when use_mutex is 0, without excluding anybody: intended
uint8_t held;
char time_text[24];
char thread_text[10];

const LevelText& level_text(uint32_t level) {
    constexpr uint32_t kLast = QN_LOG_DEBUG;
    return kLevels[level < kLast ? level : kLast];
}

const char* build_time() {
    timeval now = {};
    gettimeofday(&now, nullptr);
    const time_t seconds = now.tv_sec;
    tm local = {};
    localtime_r(&seconds, &local);
    const int length = snprintf(time_text, sizeof(time_text), "%02d-%02d %02d:%02d:%02d.%03d",
                                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                                local.tm_sec, static_cast<int>(now.tv_usec / 1000));
    return length > 0 ? time_text : "";
}

const char* build_thread() {
    snprintf(thread_text, sizeof(thread_text), "tid:%04ld", static_cast<long>(pthread_self()));
    return thread_text;
}

void append_head(QnLogLine* line, uint32_t mask, const QnLogRecord& record) {
    if ((mask & kHeadGroup) == 0) {
        return;
    }
    if ((mask & QN_LOG_FMT_LEVEL) != 0) {
        qn_log_append(line, level_text(record.level).letter);
    }
    if ((mask & QN_LOG_FMT_TAG) != 0) {
        qn_log_append(line, record.tag);
        for (size_t column = strlen(record.tag); column < kTagColumn; column++) {
            qn_log_append(line, " ");
        }
    }
    qn_log_append(line, " ");
}

void append_bracket(QnLogLine* line, uint32_t mask) {
    if ((mask & kBracketGroup) == 0) {
        return;
    }
    qn_log_append(line, "[");
    if ((mask & QN_LOG_FMT_TIME) != 0) {
        qn_log_append(line, build_time());
        if ((mask & (QN_LOG_FMT_PROCESS | QN_LOG_FMT_THREAD)) != 0) {
            qn_log_append(line, " ");
        }
    }
    if ((mask & QN_LOG_FMT_THREAD) != 0) {
        qn_log_append(line, build_thread());
    }
    qn_log_append(line, "] ");
}

void append_line_number(QnLogLine* line, int number) {
    char digits[16];
    const char* end = std::to_chars(digits, digits + sizeof(digits), number).ptr;
    digits[std::min<ptrdiff_t>(end - digits, kLineDigits)] = '\0';
    qn_log_append(line, digits);
}

void append_location(QnLogLine* line, uint32_t mask, const QnLogRecord& record) {
    if ((mask & kLocationGroup) == 0) {
        return;
    }
    const char* before_line = (mask & QN_LOG_FMT_LINE) != 0 ? ":" : "";
    qn_log_append(line, "(");
    if ((mask & QN_LOG_FMT_FILE) != 0) {
        qn_log_append(line, record.file);
        qn_log_append(line, (mask & QN_LOG_FMT_FUNC) != 0 ? " " : before_line);
    }
    if ((mask & QN_LOG_FMT_FUNC) != 0) {
        qn_log_append(line, record.func);
        qn_log_append(line, before_line);
    }
    if ((mask & QN_LOG_FMT_LINE) != 0) {
        append_line_number(line, record.line);
    }
    qn_log_append(line, ") ");
}

void print_record(const QnLogRecord& record) {
    QnLogLine line = {};
    if (profile.color != 0) {
        qn_log_append(&line, kColorStart);
        qn_log_append(&line, level_text(record.level).color);
    }
    append_head(&line, profile.fmt_mask, record);
    append_bracket(&line, profile.fmt_mask);
    append_location(&line, profile.fmt_mask, record);
    qn_log_append(&line, record.msg);
    if (profile.color != 0) {
        qn_log_append(&line, kColorReset);
    }
    printf("%.*s", line.length, line.text);
    if (profile.hook != nullptr) {
        profile.hook(record);
    }
}

}  // namespace

QnLogProfile* qn_log_profile() {
    return &profile;
}

bool qn_log_wants(uint32_t level) {
    return level <= __atomic_load_n(&profile.level_limit, __ATOMIC_RELAXED) && profile.enable != 0;
}

int qn_log_lock() {
    int cancel_state = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state);
    if (profile.use_mutex != 0) {
        pthread_mutex_lock(&mutex);
        held = 1;
    } else {
        busy = 1;
    }
    return cancel_state;
}

void qn_log_unlock(int cancel_state) {
    if (profile.use_mutex != 0) {
        held = 0;
        pthread_mutex_unlock(&mutex);
    } else {
        busy = 0;
    }
    pthread_setcancelstate(cancel_state, nullptr);
}

void qn_log_append(QnLogLine* line, const char* piece) {
    line->length += qn_log_strcpy(line->length, line->text + line->length, piece);
}

int qn_log_strcpy(int used, char* dst, const char* src) {
    if (dst == nullptr) {
        quon_assertion_failed("dst", kSourceName, __LINE__, __func__);
    }
    if (src == nullptr) {
        quon_assertion_failed("src", kSourceName, __LINE__, __func__);
    }
    int copied = 0;
    while (used + copied < QN_LOG_LINE_SIZE && src[copied] != '\0') {
        dst[copied] = src[copied];
        copied++;
    }
    return copied;
}

int QnLogSetProfile(QnLogProfile wanted) {
    const int cancel_state = qn_log_lock();
    __atomic_store_n(&profile.level_limit, wanted.level_limit, __ATOMIC_RELAXED);
    profile.fmt_mask = wanted.fmt_mask;
    profile.color = wanted.color;
    profile.hook = wanted.hook;
    qn_log_unlock(cancel_state);
    return 0;
}

int QnLogGetProfile(QnLogProfile* out) {
    if (out == nullptr) {
        return -1;
    }
    const int cancel_state = qn_log_lock();
    *out = profile;
    qn_log_unlock(cancel_state);
    return 0;
}

void QnLogPrint(unsigned level, const char* tag, const char* file, const char* func, int line,
                const char* fmt, ...) {
    if (!qn_log_wants(level)) {
        return;
    }
    QnLogRecord record = {};
    snprintf(record.tag, sizeof(record.tag), "%s", tag);
    snprintf(record.file, sizeof(record.file), "%s", file);
    snprintf(record.func, sizeof(record.func), "%s", func);
    record.level = level;
    record.line = line;

    const int cancel_state = qn_log_lock();
    va_list args;
    va_start(args, fmt);
    vsnprintf(record.msg, sizeof(record.msg), fmt, args);
    va_end(args);
    print_record(record);
    qn_log_unlock(cancel_state);
}
