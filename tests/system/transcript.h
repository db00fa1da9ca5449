// A transcript: a session at the camera's shell, written to be read.
//
//   # words for the reader
//   chip OPTIONS          the simulated chip is started with these options
//   daemon                the daemon is started; goes on when its start-up snapshot is complete
//   control COMMAND       a command for the simulated chip's control socket
//   frame TYPE [HEX]      the chip has received, or soon receives, a frame of this type, and the
//                         last one has this payload
//   log TEXT              the daemon prints this, sooner or later, after what stood before
//   $ COMMAND             run by the shell in an empty folder
//     text                what it prints on standard output, each line after two blanks; "~" alone
//                         is an empty line
//   ! text                what it prints on standard error
//   ? N                   its exit status, where it is not 0
//
// In expected lines <n> stands for any decimal number, <hex> for hexadecimal digits, <any> for
// anything at all.
#pragma once

#include <string>
#include <vector>

namespace quon::test {

struct TranscriptStep {
    enum class Kind { kChip, kDaemon, kControl, kFrame, kLog, kCommand };
    Kind kind;
    std::string words;  // what follows the keyword
    int line;           // in its file
    std::vector<std::string> out;
    std::vector<std::string> err;
    int status = 0;
};

// Throws std::runtime_error with the line that is none of the above.
std::vector<TranscriptStep> read_transcript(const std::string& path);

// The words of a line; quotation marks keep blanks.
std::vector<std::string> quoted_words_of(const std::string& text);

// Empty when the lines of `text` are as expected, otherwise both, one below the other.
std::string difference(const std::vector<std::string>& expected, const std::string& text);

}  // namespace quon::test
