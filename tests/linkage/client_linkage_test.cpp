// A short command of the client must not spend its time on being loaded.
#include <elf.h>
#include <gtest/gtest.h>

#include "elf_file.h"

namespace {

TEST(TheClient, NeedsNoLoaderAndIsPositionIndependent) {
    const auto file = quon::linkage::read_elf(QUON_CLIENT);
    EXPECT_FALSE(file.segments.contains(PT_INTERP));
    EXPECT_EQ(file.needed, std::vector<std::string>());
    EXPECT_EQ(file.type, ET_DYN);
}

}  // namespace
