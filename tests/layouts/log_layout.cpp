#include <cstddef>

#include "quon_log.h"

static_assert(offsetof(QnLogProfile, enable) == 0);
static_assert(offsetof(QnLogProfile, color) == 1);
static_assert(offsetof(QnLogProfile, use_mutex) == 2);
static_assert(offsetof(QnLogProfile, fmt_mask) == 4);
static_assert(offsetof(QnLogProfile, level_limit) == 8);
static_assert(sizeof(void*) != 4 || offsetof(QnLogProfile, hook) == 12);
static_assert(sizeof(void*) != 4 || sizeof(QnLogProfile) == 16);

static_assert(offsetof(QnLogRecord, level) == 0);
static_assert(offsetof(QnLogRecord, tag) == 4 && sizeof(QnLogRecord::tag) == 16);
static_assert(offsetof(QnLogRecord, file) == 20 && sizeof(QnLogRecord::file) == 20);
static_assert(offsetof(QnLogRecord, func) == 40 && sizeof(QnLogRecord::func) == 32);
static_assert(offsetof(QnLogRecord, line) == 72);
static_assert(offsetof(QnLogRecord, msg) == 76 && sizeof(QnLogRecord::msg) == 256);
static_assert(sizeof(QnLogRecord) == 332);
