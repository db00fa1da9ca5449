#include "shared/output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "failure_of.h"
#include "shared/json_text.h"
#include "shared/owned_descriptor.h"

namespace quon {
namespace {

using test::failure_of;

std::string content(const owned_descriptor& file) {
    char text[4096];
    const ssize_t size = pread(file.get(), text, sizeof text, 0);
    return size < 0 ? "unreadable" : std::string(text, static_cast<size_t>(size));
}

owned_descriptor memory_file() {
    return owned_descriptor(memfd_create("output", MFD_CLOEXEC));
}

TEST(AnOutput, KeepsResultsAndNotesApart) {
    const owned_descriptor results = memory_file();
    const owned_descriptor notes = memory_file();
    output out("a-tool", results.get(), notes.get());
    out.line("one");
    out.note("something is wrong");
    out.write(byte_list{0x00, 0xff});
    EXPECT_EQ(content(results), std::string("one\n\0\xff", 6));
    EXPECT_EQ(content(notes), "a-tool: something is wrong\n");
}

TEST(AnOutput, ThatCannotBeWrittenIsAFailure) {
    const owned_descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    ASSERT_GE(full.get(), 0);
    const auto refused = failure_of([&full] { output("a-tool", full.get(), -1).line("one"); });
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.text, "cannot write the results: No space left on device");
}

TEST(AnOutput, IgnoresThatNotesCannotBeWritten) {
    EXPECT_EQ(failure_of([] { output("a-tool", -1, -1).note("one"); }).status, -1);
}

TEST(AnOutput, IsNotColouredInAFile) {
    const owned_descriptor results = memory_file();
    EXPECT_EQ(output("a-tool", results.get(), -1).coloured("31", "text"), "text");
}

TEST(Rows, HaveAlignedColumnsAndNoBlanksAtTheirEnd) {
    EXPECT_EQ(aligned({{"a", "long cell", "x"}, {"longer", "b", ""}}),
              "a       long cell  x\nlonger  b\n");
    EXPECT_EQ(aligned({{"alone"}, {"a", "b"}}), "alone\na  b\n");
    EXPECT_EQ(aligned({}), "");
}

TEST(Json, IsOneLineInTheOrderOfItsMembers) {
    EXPECT_EQ(dump({{"b", 1}, {"a", "two\nlines"}, {"none", nullptr}}),
              R"({"b":1,"a":"two\nlines","none":null})");
}

TEST(Json, ReplacesBytesThatAreNoText) {
    EXPECT_EQ(dump("a\xffz"), "\"a\xef\xbf\xbdz\"");
}

TEST(TheExitStatuses, AreTheSameNumbersInAllTools) {
    EXPECT_EQ(to_int(exit_status::done), 0);
    EXPECT_EQ(to_int(exit_status::failure), 1);
    EXPECT_EQ(to_int(exit_status::usage), 2);
    EXPECT_EQ(to_int(exit_status::unreachable), 3);
    EXPECT_EQ(to_int(exit_status::timed_out), 4);
    EXPECT_EQ(to_int(exit_status::malformed), 5);
}

}  // namespace
}  // namespace quon
