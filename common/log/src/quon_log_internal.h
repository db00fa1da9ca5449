// Shared by the line printer and the hex dump.
#ifndef QUON_LOG_INTERNAL_H
#define QUON_LOG_INTERNAL_H

#include "quon_log.h"

// A line under construction. Pieces beyond its end are dropped.
struct QnLogLine {
    char text[QN_LOG_LINE_SIZE];
    int length;
};

void qn_log_append(QnLogLine* line, const char* piece);

// The process-wide profile. `enable` and `use_mutex` never change. The other fields are written
// under the lock, with relaxed atomics because the filter reads them without it.
QnLogProfile* qn_log_profile();

// The level check of every call. Takes no lock, so it may see a slightly outdated value.
bool qn_log_wants(uint32_t level);

// Lock and unlock around one line or dump. The holder cannot be cancelled, which would leave the
// lock held for ever. `qn_log_lock` returns the argument for `qn_log_unlock`.
int qn_log_lock();
void qn_log_unlock(int cancel_state);

#endif
