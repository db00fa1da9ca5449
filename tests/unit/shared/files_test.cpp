#include "shared/files.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <vector>

#include "shared/failure.h"

namespace quon {
namespace {

std::vector<std::string> lines_of(std::istream& in) {
    std::vector<std::string> lines;
    for (std::string line; read_line(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string refusal(const std::function<void()>& action) {
    try {
        action();
    } catch (const failure& error) {
        EXPECT_EQ(error.status(), exit_status::usage);
        return error.what();
    }
    return "";
}

TEST(ALine, IsReadAsTheCxxLibraryReadsIt) {
    for (const char* text : {"", "a", "a\n", "\n\na", "a\n\n", "\xff\n"}) {
        std::istringstream in(text);
        std::istringstream same(text);
        std::vector<std::string> expected;
        for (std::string line; std::getline(same, line);) {
            expected.push_back(line);
        }
        EXPECT_EQ(lines_of(in), expected) << text;
        EXPECT_EQ(in.eof(), same.eof());
    }
}

TEST(ALine, MayEndWithACarriageReturn) {
    std::istringstream in("one\r\n\r\ntwo\rthree\r\r\nfour\r");
    EXPECT_EQ(lines_of(in), (std::vector<std::string>{"one", "", "two\rthree\r", "four"}));
}

TEST(ALine, OfMoreThanAMillionBytesIsNone) {
    std::istringstream longest(std::string(1048576, 'x') + "\ny");
    EXPECT_EQ(lines_of(longest).size(), 2U);
    std::ifstream endless("/dev/zero");
    EXPECT_EQ(refusal([&] { lines_of(endless); }), "a line has more than 1048576 bytes");
}

TEST(AWholeFile, IsRefusedWhenItHasNoEndOrCannotBeRead) {
    EXPECT_EQ(refusal([] { content_of("/dev/zero"); }), "'/dev/zero' has more than 1048576 bytes");
    EXPECT_EQ(refusal([] { content_of("/"); }), "cannot read '/': Is a directory");
    EXPECT_EQ(refusal([] { content_of("/nonexistent"); }),
              "cannot read '/nonexistent': No such file or directory");
    EXPECT_EQ(content_of("/dev/null"), "");
}

}  // namespace
}  // namespace quon
