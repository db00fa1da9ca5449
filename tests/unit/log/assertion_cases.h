// The two assertions of the bounded append, for each way of building the library.
#pragma once

#include <gtest/gtest.h>

#include <csignal>

#include "quon_log.h"

namespace quon::test {

inline void expect_append_to_null_aborts() {
    EXPECT_EXIT(qn_log_strcpy(0, nullptr, "x"), testing::KilledBySignal(SIGABRT),
                "common/log/src/quon_log:[0-9]+: qn_log_strcpy: Assertion `dst' failed");
}

inline void expect_append_of_null_aborts() {
    char line[QN_LOG_LINE_SIZE];
    EXPECT_EXIT(qn_log_strcpy(0, line, nullptr), testing::KilledBySignal(SIGABRT),
                "common/log/src/quon_log:[0-9]+: qn_log_strcpy: Assertion `src' failed");
}

inline void expect_append_of_null_to_a_full_line_aborts() {
    char line[QN_LOG_LINE_SIZE];
    EXPECT_EXIT(qn_log_strcpy(QN_LOG_LINE_SIZE, line, nullptr), testing::KilledBySignal(SIGABRT),
                "common/log/src/quon_log:[0-9]+: qn_log_strcpy: Assertion `src' failed");
}

}  // namespace quon::test
