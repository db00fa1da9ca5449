#include <gtest/gtest.h>

#include <iostream>

#include "private_world.h"

namespace {

// Standard output is often captured: what fails is told on standard error too.
class TellsFailures : public testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult& part) override {
        if (part.failed()) {
            std::cerr << part << '\n';
        }
    }
};

}  // namespace

// The bus sockets lie in /tmp: each run has a /tmp of its own.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!GTEST_FLAG_GET(list_tests)) {
        quon::test::enter_private_world();
    }
    testing::UnitTest::GetInstance()->listeners().Append(new TellsFailures);
    return RUN_ALL_TESTS();
}
