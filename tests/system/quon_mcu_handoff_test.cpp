// "quon-mcu handoff": a connected socket from the daemon, and what goes over it.
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstring>
#include <thread>

#include "client_process.h"
#include "hand_off_peers.h"
#include "system_test.h"

namespace quon::test {
namespace {

class TheHandoffCommand : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        start();
        ASSERT_TRUE(wait_until([] { return file_exists(kHandOffPath); }));
    }
    static std::string local(std::uint16_t port) { return "127.0.0.1:" + std::to_string(port); }
};

std::unique_ptr<ChildProcess> start_client(const std::vector<std::string>& arguments,
                                           const std::string& input = {}) {
    return std::make_unique<ChildProcess>(
        ChildProcess::Options{.command = client_command(arguments),
                              .environment = {},
                              .output = ChildProcess::Output::kPipe,
                              .separate_errors = true,
                              .input = input});
}

void send_all(const Descriptor& to, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t sent = send(to.get(), text.data() + done, text.size() - done, MSG_NOSIGNAL);
        ASSERT_GT(sent, 0);
        done += static_cast<std::size_t>(sent);
    }
}

std::string read_to_end(const Descriptor& from) {
    std::string all;
    for (std::string piece = read_text(from.get()); !piece.empty(); piece = read_text(from.get())) {
        all += piece;
    }
    return all;
}

TEST_F(TheHandoffCommand, RelaysBothWaysUntilTheServerCloses) {
    const RemoteServer server;
    const auto client = start_client({"handoff", local(server.port())}, "from the client");
    Descriptor connection = server.accept_one();
    ASSERT_GE(connection.get(), 0);
    // The end of standard input arrives as the end of the stream; the other way stays open.
    EXPECT_EQ(read_to_end(connection), "from the client");
    send_all(connection, "from the server");
    connection = Descriptor();
    ASSERT_EQ(client->wait_exit(), exited_with(0)) << client->errors();
    EXPECT_EQ(client->output(), "from the server");
    EXPECT_EQ(client->errors(), "quon-mcu: connected to " + local(server.port()) + "\n");
}

TEST_F(TheHandoffCommand, LosesNothingOfALongStream) {
    std::string text;
    for (int line = 0; line < 20000; ++line) {
        text += "line " + std::to_string(line) + "\n";
    }
    const RemoteServer server;
    const auto client = start_client({"handoff", local(server.port())}, text);
    Descriptor connection = server.accept_one();
    ASSERT_GE(connection.get(), 0);
    std::thread sender([&] { send_all(connection, text); });
    const std::string received = read_to_end(connection);
    sender.join();
    connection = Descriptor();
    ASSERT_EQ(client->wait_exit(), exited_with(0)) << client->errors();
    EXPECT_TRUE(received == text);
    EXPECT_TRUE(client->output() == text);
}

// A server that reads nothing until all that it sends has been read, with more both ways than the
// sockets hold.
TEST_F(TheHandoffCommand, ReadsWhileTheServerDoesNot) {
    const std::string text(8UL * 1024 * 1024, 'x');
    const RemoteServer server;
    const auto client = start_client({"handoff", local(server.port())}, text);
    Descriptor connection = server.accept_one();
    ASSERT_GE(connection.get(), 0);
    send_all(connection, text);
    EXPECT_EQ(read_to_end(connection).size(), text.size());
    connection = Descriptor();
    ASSERT_EQ(client->wait_exit(), exited_with(0)) << client->errors();
    EXPECT_EQ(client->output().size(), text.size());
}

TEST_F(TheHandoffCommand, CanOnlyShowThePeer) {
    const RemoteServer server;
    const Result people = run_client({"handoff", local(server.port()), "--no-relay"});
    EXPECT_EQ(people.status, exited_with(0));
    EXPECT_EQ(people.out, "connected to " + local(server.port()) + "\n");
    EXPECT_EQ(people.err, "");
    const Result json = run_client({"--json", "handoff", local(server.port()), "--no-relay"});
    EXPECT_EQ(json.out, "{\"peer\":\"" + local(server.port()) + "\"}\n");
}

// The daemon acts on the last request again when its peer closes.
TEST_F(TheHandoffCommand, LeavesSoThatTheDaemonDoesNotConnectAgain) {
    const RemoteServer server;
    const std::size_t mark = daemon().mark();
    EXPECT_EQ(run_client({"handoff", local(server.port()), "--no-relay"}).status, exited_with(0));
    EXPECT_TRUE(daemon().process().wait_for_text("ws ls recv[1] ----> len:0", mark));
    const std::string output = daemon().output().substr(mark);
    const std::string asked = "ws ls recv websocketip";
    EXPECT_EQ(output.find(asked), output.rfind(asked)) << output;
}

TEST_F(TheHandoffCommand, SaysThatTheServerRefused) {
    std::uint16_t port = 0;
    {
        const RemoteServer server;
        port = server.port();
    }
    const Result got = run_client({"handoff", local(port)});
    EXPECT_EQ(got.status, exited_with(1));
    EXPECT_EQ(got.out, "");
    EXPECT_EQ(got.err, "quon-mcu: no connection to " + local(port) +
                           ": the socket handed over is not connected\n");
}

TEST_F(TheHandoffCommand, RunsIntoItsTimeOutWhenTheServerDoesNotAnswer) {
    RemoteServer server(0);
    server.stop_answering();
    const Result got = run_client({"--timeout", "500", "handoff", local(server.port())});
    EXPECT_EQ(got.status, exited_with(4));
    EXPECT_EQ(got.err, "quon-mcu: no connection within 500 ms\n");
}

TEST_F(TheHandoffCommand, CanHaveTheDaemonDropItsConnection) {
    const RemoteServer server;
    // A program that asks and then leaves without its connection.
    LocalProgram program;
    program.ask({127, 0, 0, 1}, server.port());
    const Descriptor handed_over = program.receive();
    const Descriptor connection = server.accept_one();
    expect_connected(handed_over, connection);
    const std::size_t mark = daemon().mark();
    const Result got = run_client({"handoff", "--drop"});
    EXPECT_EQ(got.status, exited_with(0)) << got.err;
    EXPECT_EQ(got.out + got.err, "");
    EXPECT_TRUE(daemon().process().wait_for_text("ws ls recv[1] ----> len:7", mark));
}

// --- a daemon that hands over nonsense

class WrongHandOff {
  public:
    static constexpr char kPath[] = "/tmp/wrong-hand-off";

    explicit WrongHandOff(std::string answer)
        : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::ranges::copy(kPath, address.sun_path);
        unlink(kPath);
        EXPECT_EQ(bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        EXPECT_EQ(listen(listener_.get(), 1), 0);
        thread_ = std::thread([this, answer = std::move(answer)] {
            const Descriptor peer(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
            request_ = read_text(peer.get());
            send(peer.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
        });
    }
    ~WrongHandOff() { join(); }
    WrongHandOff(const WrongHandOff&) = delete;
    WrongHandOff& operator=(const WrongHandOff&) = delete;

    std::string request() {
        join();
        return request_;
    }

  private:
    void join() {
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    Descriptor listener_;
    std::string request_;
    std::thread thread_;
};

TEST_F(TheHandoffCommand, SendsSevenBytesOfCommandAddressAndPort) {
    WrongHandOff other("");
    run_client({"handoff", "1.2.3.4:258", "--socket", WrongHandOff::kPath});
    EXPECT_EQ(other.request(), std::string("\0\x01\x02\x03\x04\x02\x01", 7));
}

TEST_F(TheHandoffCommand, EndsWith5AtAMalformedHandOver) {
    for (const std::string& answer : {std::string("\x01\0\0\0\0\0\0\0", 8), std::string("\x01")}) {
        const WrongHandOff other(answer);
        const Result got = run_client({"handoff", "127.0.0.1:80", "--socket", WrongHandOff::kPath});
        EXPECT_EQ(got.status, exited_with(5));
        EXPECT_EQ(got.err, "quon-mcu: malformed hand-over message\n");
    }
}

TEST_F(TheHandoffCommand, EndsWith3WhenTheDaemonCloses) {
    const WrongHandOff other("");
    const Result got = run_client({"handoff", "127.0.0.1:80", "--socket", WrongHandOff::kPath});
    EXPECT_EQ(got.status, exited_with(3));
    EXPECT_EQ(got.err, "quon-mcu: the daemon closed the hand-off socket\n");
}

}  // namespace
}  // namespace quon::test
