// What the printer and the hex dump share.
#ifndef QUON_LOG_INTERNAL_H
#define QUON_LOG_INTERNAL_H

#include "quon_log.h"

// A line in the making, of the printer and of the dump. Pieces beyond its end are dropped.
struct QnLogLine {
    char text[QN_LOG_LINE_SIZE];
    int length;
};

void qn_log_append(QnLogLine* line, const char* piece);

// The process-wide profile. `enable` and `use_mutex` keep their start-up values for life. The rest
// is written under the lock, with relaxed atomics where the filter reads it without the lock.
QnLogProfile* qn_log_profile();

// The filter of every call, made without the lock: the value read may be a moment old.
bool qn_log_wants(uint32_t level);

// Lock and unlock of one line or dump. A holder cannot be cancelled, or the lock would never be
// released. `qn_log_lock` returns what `qn_log_unlock` takes.
int qn_log_lock();
void qn_log_unlock(int cancel_state);

#endif
