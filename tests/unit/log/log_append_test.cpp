// The bounded append that builds a line.
#include <gtest/gtest.h>

#include <array>
#include <ostream>
#include <string>

#include "assertion_cases.h"
#include "quon_log.h"

namespace {

constexpr char kOld = '#';
constexpr size_t kSpare = 8;  // bytes beyond the line, which nothing may touch

struct Row {
    const char* what;
    int used;
    int copied;
    const char* source;
    const char* after;  // the bytes from `used` on, as far as copied
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.what;
}

class AnAppend : public testing::TestWithParam<Row> {};

constexpr Row kRows[] = {
    {"ToAnEmptyLine", 0, 3, "abc", "abc"},
    {"BehindOtherPieces", 100, 3, "abc", "abc"},
    {"OfAnEmptyPiece", 100, 0, "", ""},
    {"ThatFillsTheLine", 508, 4, "\x1b[0m", "\x1b[0m"},
    {"ThatIsCutAtTheEndOfTheLine", 510, 2, "\x1b[0m", "\x1b["},
    {"WithRoomForOne", 511, 1, "abc", "a"},
    {"ToAFullLine", 512, 0, "\x1b[0m", ""},
    {"BehindTheEndOfTheLine", 513, 0, "abc", ""},
};

TEST_P(AnAppend, CopiesWhatTheLineHasRoomForWithoutATerminator) {
    const Row& row = GetParam();
    std::array<char, QN_LOG_LINE_SIZE + kSpare> line;
    line.fill(kOld);
    std::string expected(line.begin(), line.end());
    const std::string after = row.after;
    expected.replace(static_cast<size_t>(row.used), after.size(), after);

    EXPECT_EQ(qn_log_strcpy(row.used, line.data() + row.used, row.source), row.copied);
    EXPECT_EQ(std::string(line.begin(), line.end()), expected);
}

INSTANTIATE_TEST_SUITE_P(Of, AnAppend, testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.what); });

TEST(AnAppendOfALongPiece, CopiesNoMoreThan512Characters) {
    const std::string piece(600, 'p');
    std::array<char, QN_LOG_LINE_SIZE + kSpare> line;
    line.fill(kOld);
    EXPECT_EQ(qn_log_strcpy(0, line.data(), piece.c_str()), 512);
    EXPECT_EQ(std::string(line.begin(), line.end()),
              std::string(512, 'p') + std::string(kSpare, kOld));
}

// The longest pieces of QnLogPrint make 374 bytes, so a line that is full before its colour reset
// can only be built by hand.
TEST(ALineOfMoreThan512Bytes, IsCutThereAndLosesItsColourReset) {
    std::array<char, QN_LOG_LINE_SIZE> line = {};
    const std::string message(600, 'm');
    int used = 0;
    for (const char* piece : {"\x1b[", "31;1m", message.c_str(), "\x1b[0m"}) {
        used += qn_log_strcpy(used, line.data() + used, piece);
    }
    EXPECT_EQ(used, 512);
    EXPECT_EQ(std::string(line.begin(), line.end()), "\x1b[31;1m" + std::string(505, 'm'));
}

TEST(AnAppendWithoutADestination, Aborts) {
    quon::test::expect_append_to_null_aborts();
}

TEST(AnAppendWithoutASource, Aborts) {
    quon::test::expect_append_of_null_aborts();
}

TEST(AnAppendWithoutASource, AbortsAlsoWhenTheLineIsFull) {
    quon::test::expect_append_of_null_to_a_full_line_aborts();
}

}  // namespace
