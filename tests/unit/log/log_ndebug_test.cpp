#include "assertion_cases.h"

namespace {

TEST(AnAppendBuiltWithNdebug, AbortsWithoutADestination) {
    quon::test::expect_append_to_null_aborts();
}

TEST(AnAppendBuiltWithNdebug, AbortsWithoutASource) {
    quon::test::expect_append_of_null_aborts();
}

TEST(AnAppendBuiltWithNdebug, AbortsWithoutASourceAlsoWhenTheLineIsFull) {
    quon::test::expect_append_of_null_to_a_full_line_aborts();
}

}  // namespace
