// The shell services, open to every peer of the bus as intended.
#include <sys/stat.h>

#include <set>

#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kSystem[] = "method.quon.mcu.get.system";
constexpr char kPopen[] = "method.quon.mcu.get.popen";

class TheShellServices : public SystemTest {};

TEST_F(TheShellServices, ReplyWithTheRawWaitStatusAsText) {
    start();
    struct Row {
        const char* command;
        const char* text;
    };
    for (const Row& row :
         {Row{"true", "0"}, Row{"exit 1", "256"}, Row{"exit 3", "768"}, Row{"exit 255", "65280"},
          Row{"/no/such/program 2>/dev/null", "32512"}, Row{"kill -9 $$", "9"}, Row{"", "0"}}) {
        SCOPED_TRACE(row.command);
        const BusRecord result = peer().call(kSystem, bytes_of(row.command));
        EXPECT_EQ(text_of(result.payload()), row.text);
        EXPECT_EQ(result.result, static_cast<std::int32_t>(std::string(row.text).size()));
    }
}

TEST_F(TheShellServices, RunTheCommandForItsEffect) {
    start();
    peer().call(kSystem, bytes_of("echo made > /tmp/made"));
    EXPECT_EQ(content_of("/tmp/made"), "made\n");
}

TEST_F(TheShellServices, ReplyWithWhatTheCommandPrinted) {
    start();
    const BusRecord result = peer().call(kPopen, bytes_of("echo one; echo two"));
    EXPECT_EQ(text_of(result.payload()), "one\ntwo\n");
    EXPECT_EQ(result.result, 8);
    EXPECT_EQ(to_hex(result.data), to_hex(padded(bytes_of("one\ntwo\n"), kDataSize)));
}

TEST_F(TheShellServices, ReplyWithNothingForACommandThatPrintsNothing) {
    start();
    for (const char* command : {"true", "exit 3", "echo lost >&2", ""}) {
        SCOPED_TRACE(command);
        const BusRecord result = peer().call(kPopen, bytes_of(command));
        EXPECT_EQ(result.result, 0);
        EXPECT_EQ(result.data_len, 0U);
    }
}

TEST_F(TheShellServices, ReplyWithAtMostOnePayloadOfOutput) {
    start();
    struct Row {
        const char* command;
        std::int32_t length;
    };
    for (const Row& row : {Row{"head -c 4355 /dev/zero | tr '\\0' x", 4355},
                           Row{"head -c 4356 /dev/zero | tr '\\0' x", 4356},
                           Row{"head -c 10000 /dev/zero | tr '\\0' x", 4356}}) {
        SCOPED_TRACE(row.command);
        const BusRecord result = peer().call(kPopen, bytes_of(row.command));
        EXPECT_EQ(result.result, row.length);
        EXPECT_EQ(result.payload(), Bytes(static_cast<std::size_t>(row.length), 'x'));
    }
}

TEST_F(TheShellServices, GatherOutputThatComesInPieces) {
    start();
    const BusRecord result =
        peer().call(kPopen, bytes_of("for i in 1 2 3 4 5; do echo $i; sleep 0.02; done"));
    EXPECT_EQ(text_of(result.payload()), "1\n2\n3\n4\n5\n");
}

TEST_F(TheShellServices, TakeTheTextUpToItsZeroWhateverTheLengthSays) {
    start();
    // The length says "echo a", the text goes on beyond it.
    BusRecord request = method_request(kPopen, bytes_of("echo abc"));
    request.data_len = 6;
    peer().send(request);
    EXPECT_EQ(text_of(peer().receive().value().payload()), "abc\n");
    request =
        method_request(kPopen, joined(bytes_of("echo one"), bytes_of(std::string("\0two", 4))));
    peer().send(request);
    EXPECT_EQ(text_of(peer().receive().value().payload()), "one\n");
    request.data_len = 0xFFFFFFFF;
    peer().send(request);
    EXPECT_EQ(text_of(peer().receive().value().payload()), "one\n");
}

TEST_F(TheShellServices, RunATextThatFillsThePayloadWithoutAZero) {
    start();
    const std::string front = "printf %s ";
    const std::string text = front + std::string(kDataSize - front.size(), 'y');
    const BusRecord printed = peer().call(kPopen, bytes_of(text));
    EXPECT_EQ(printed.result, static_cast<std::int32_t>(kDataSize - front.size()));
    EXPECT_EQ(printed.payload(), Bytes(kDataSize - front.size(), 'y'));
    const std::string quiet = "exit 2 #";
    const BusRecord status =
        peer().call(kSystem, bytes_of(quiet + std::string(kDataSize - quiet.size(), 'y')));
    EXPECT_EQ(text_of(status.payload()), "512");
}

TEST_F(TheShellServices, LogTheCommandAtLevelThree) {
    start();
    print_every_level();
    peer().call(kSystem, bytes_of("exit 4"));
    EXPECT_TRUE(wait_for_log({'I', kDaemonTag, "system_call", "exec: exit 4\n"}));
    peer().call(kPopen, bytes_of("echo seen"));
    EXPECT_TRUE(wait_for_log({'I', kDaemonTag, "popen_call", "exec: echo seen\n"}));
}

TEST_F(TheShellServices, AskNothingOfTheChip) {
    start();
    const std::size_t frames = chip().received().size();
    peer().call(kSystem, bytes_of("true"));
    peer().call(kPopen, bytes_of("true"));
    EXPECT_EQ(chip().received().size(), frames);
}

TEST_F(TheShellServices, HoldUpNobodyElseWhileACommandRuns) {
    start();
    ASSERT_EQ(mkfifo("/tmp/hold", 0600), 0);
    peer().send(method_request(kPopen, bytes_of("cat /tmp/hold"), 1));
    peer().send(method_request(kSystem, bytes_of("read x < /tmp/hold"), 2));
    ASSERT_TRUE(daemon().wait_for_thread("n.mcu.get.popen"));
    peer().send(method_request("method.quon.mcu.get.time", {}, 3));
    EXPECT_EQ(peer().receive().value().id, 3U);  // on the same connection
    expect_still_serving();                      // on another
    EXPECT_FALSE(peer().receive(0ms));
    std::multiset<std::uint32_t> finished;
    wait_until([&] {
        feed_fifo("/tmp/hold", "line\n");
        while (const std::optional<BusRecord> result = peer().receive(10ms)) {
            finished.insert(result->id);
        }
        return finished.size() == 2;
    });
    EXPECT_EQ(finished, (std::multiset<std::uint32_t>{1, 2}));
}

TEST_F(TheShellServices, GiveTheirCommandsNoDescriptorOfTheDaemon) {
    start();
    EXPECT_EQ(text_of(peer().call(kPopen, bytes_of("ls /proc/self/fd")).payload()),
              "0\n1\n2\n3\n");  // the last is the listing's own
    peer().call(kSystem, bytes_of("ls /proc/self/fd > /tmp/descriptors"));
    EXPECT_EQ(content_of("/tmp/descriptors"), "0\n1\n2\n3\n");
}

TEST_F(TheShellServices, LeaveNoProcessBehind) {
    start();
    peer().call(kSystem, bytes_of("true"));
    peer().call(kPopen, bytes_of("echo x"));
    EXPECT_TRUE(wait_until([&] { return children_of(daemon().pid()).empty(); }));
}

}  // namespace
}  // namespace quon::test
