// Levelled log lines and hex dumps on standard output, controlled by one process-wide profile.
//
// Every function may be called from any thread, except from a log hook: the lock is not recursive,
// so a hook that logs or touches the profile deadlocks. Lines are written with printf, buffered and
// not flushed. Nothing here allocates; a call needs about 1.6 KB of stack.
#ifndef QUON_LOG_H
#define QUON_LOG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    QN_LOG_FATAL = 0,
    QN_LOG_ERROR = 1,
    QN_LOG_WARN = 2,
    QN_LOG_INFO = 3,
    QN_LOG_DEBUG = 4,
};

// Fields of a line, the bits of QnLogProfile.fmt_mask.
enum {
    QN_LOG_FMT_LEVEL = 0x01,
    QN_LOG_FMT_TAG = 0x02,
    QN_LOG_FMT_TIME = 0x04,
    QN_LOG_FMT_PROCESS = 0x08,  // adds no field, only opens the bracket group: intended
    QN_LOG_FMT_THREAD = 0x10,
    QN_LOG_FMT_FILE = 0x20,
    QN_LOG_FMT_FUNC = 0x40,
    QN_LOG_FMT_LINE = 0x80,
};

enum {
    QN_LOG_LINE_SIZE = 512,  // bytes of the longest line; longer lines are cut
    QN_LOG_TAG_SIZE = 16,
    QN_LOG_FILE_SIZE = 20,
    QN_LOG_FUNC_SIZE = 32,
    QN_LOG_MSG_SIZE = 256,
};

// One log call as a hook sees it; each text is cut to its field and NUL-terminated.
typedef struct QnLogRecord {
    uint32_t level;
    char tag[QN_LOG_TAG_SIZE];
    char file[QN_LOG_FILE_SIZE];
    char func[QN_LOG_FUNC_SIZE];
    int32_t line;
    char msg[QN_LOG_MSG_SIZE];
} QnLogRecord;

typedef void (*QnLogHook)(QnLogRecord record);

// Defaults at process start: enable 1, color 1, use_mutex 1, fmt_mask 0xC7, level_limit 1, no hook.
typedef struct QnLogProfile {
    uint8_t enable;        // 0 suppresses every line; QnLogSetProfile never changes it
    uint8_t color;         // non-zero wraps each line in its level's ANSI colour
    uint8_t use_mutex;     // 0: no exclusion between threads; QnLogSetProfile never changes it
    uint32_t fmt_mask;     // QN_LOG_FMT_ bits
    uint32_t level_limit;  // lines with a greater level are dropped
    QnLogHook hook;        // called after each printed line, under the log lock; null for none
} QnLogProfile;

// Prints one line when `level` is at most the profile's limit. The message supplies its own "\n". A
// `level` above 4 prints as level 4. Texts longer than their QnLogRecord field are cut.
void QnLogPrint(unsigned level, const char* tag, const char* file, const char* func, int line,
                const char* fmt, ...) __attribute__((format(printf, 6, 7)));

// Copies `level_limit`, `fmt_mask`, `color` and `hook` from the argument; ignores the other two.
// Returns 0.
int QnLogSetProfile(QnLogProfile profile);

// Copies the current profile to `out`. Returns 0, or -1 when `out` is null.
int QnLogGetProfile(QnLogProfile* out);

// Prints `size` bytes of `data` in lines of `width` bytes, each labelled `name`, when the limit is
// at least QN_LOG_DEBUG. Other lines never interleave with a dump. A width of 0 prints nothing. The
// dump stops where its 16-bit offset would wrap.
void QnLogHexDump(const char* name, unsigned char width, const unsigned char* data,
                  unsigned short size);

// Appends `src` to a line that already has `used` bytes; `dst` is the line's buffer plus `used`.
// Copies at most QN_LOG_LINE_SIZE - used characters, without a terminator, and returns their number
// (0 when the line is full). A null `dst` or `src` aborts the process.
int qn_log_strcpy(int used, char* dst, const char* src);

#ifdef __cplusplus
}
#endif

#endif
