// A program that does one socket call for each line it reads and prints what came of it, so that a
// test can watch the chip link from both sides. Built twice: for the preload library, and static
// with the link inside. Not instrumented by sanitizers, like the programs that the link is for.
//
//   usage: chip_link_probe FIFO
#include <fcntl.h>
#include <linux/netlink.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using words = std::vector<std::string>;

std::string outcome(long result) {
    return result >= 0 ? std::to_string(result) : strerrorname_np(errno);
}

int number(const words& in, size_t at) {
    return at < in.size() ? std::stoi(in[at], nullptr, 0) : 0;
}

bool has(const words& in, const std::string& word) {
    for (const std::string& each : in) {
        if (each == word) {
            return true;
        }
    }
    return false;
}

sockaddr_nl netlink_address(unsigned port, sa_family_t family = AF_NETLINK) {
    sockaddr_nl address{};
    address.nl_family = family;
    address.nl_pid = port;
    return address;
}

const sockaddr* generic(const sockaddr_nl& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

std::string bytes_from_hex(const std::string& text) {
    std::string data;
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        data += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    }
    return data;
}

std::string hex_of(const char* data, size_t size) {
    std::string text;
    for (size_t i = 0; i < size; i++) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned char>(data[i]));
        text += digits.data();
    }
    return text;
}

std::string do_socket(const words& in) {
    return outcome(socket(number(in, 1), number(in, 2), number(in, 3)));
}

// bind FD PORT [FAMILY [LENGTH]]
std::string do_bind(const words& in) {
    const int family = in.size() > 3 ? number(in, 3) : AF_NETLINK;
    const sockaddr_nl address =
        netlink_address(static_cast<unsigned>(number(in, 2)), static_cast<sa_family_t>(family));
    const int length = in.size() > 4 ? number(in, 4) : static_cast<int>(sizeof address);
    return outcome(bind(number(in, 1), generic(address), static_cast<socklen_t>(length)));
}

std::string do_name(const words& in) {
    sockaddr_nl address{};
    socklen_t length = sizeof address;
    if (getsockname(number(in, 1), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return outcome(-1);
    }
    return std::to_string(address.nl_family) + " " + std::to_string(address.nl_pid) + " " +
           std::to_string(length);
}

// send FD HEX [PORT [FAMILY]], or send FD HEX nowhere: without an address
std::string do_send(const words& in) {
    const std::string data = bytes_from_hex(in.at(2));
    if (has(in, "nowhere")) {
        return outcome(sendto(number(in, 1), data.data(), data.size(), 0, nullptr, 0));
    }
    const int family = in.size() > 4 ? number(in, 4) : AF_NETLINK;
    const sockaddr_nl to =
        netlink_address(static_cast<unsigned>(number(in, 3)), static_cast<sa_family_t>(family));
    return outcome(sendto(number(in, 1), data.data(), data.size(), 0, generic(to), sizeof to));
}

std::string receive(int fd, size_t size, int flags) {
    std::vector<char> buffer(65536);
    sockaddr_nl from = netlink_address(77, 77);
    socklen_t length = sizeof from;
    const ssize_t got =
        recvfrom(fd, buffer.data(), size, flags, reinterpret_cast<sockaddr*>(&from), &length);
    if (got < 0) {
        return outcome(-1);
    }
    const size_t shown = std::min(size, static_cast<size_t>(got));
    return std::to_string(got) + " " + hex_of(buffer.data(), shown) + " from " +
           std::to_string(from.nl_family) + " " + std::to_string(from.nl_pid) + " " +
           std::to_string(length);
}

int flags_of(const words& in) {
    return (has(in, "nowait") ? MSG_DONTWAIT : 0) | (has(in, "trunc") ? MSG_TRUNC : 0) |
           (has(in, "all") ? MSG_WAITALL : 0) | (has(in, "peek") ? MSG_PEEK : 0);
}

// recv FD SIZE [nowait] [trunc] [all] [peek]
std::string do_recv(const words& in) {
    return receive(number(in, 1), static_cast<size_t>(number(in, 2)), flags_of(in));
}

// The size of the buffer is known here and the length is not, so the call is the fortified one.
std::string do_fortified_recv(const words& in) {
    std::array<char, 64> buffer{};
    const ssize_t got = recvfrom(number(in, 1), buffer.data(), static_cast<size_t>(number(in, 2)),
                                 MSG_DONTWAIT, nullptr, nullptr);
    return got < 0 ? outcome(-1) : std::to_string(got);
}

// How many messages wait; takes them.
std::string do_drain(const words& in) {
    int count = 0;
    std::string last;
    for (;;) {
        const std::string one = receive(number(in, 1), 384, MSG_DONTWAIT);
        if (one == "EAGAIN") {
            return std::to_string(count) + " " + last;
        }
        count++;
        last = one.substr(0, one.find(" from"));
    }
}

pthread_t receiver;
int receiver_socket = -1;
std::string received;

void* receive_in_thread(void*) {
    received = receive(receiver_socket, 384, MSG_WAITALL);
    return nullptr;
}

std::string do_start(const words& in) {
    receiver_socket = number(in, 1);
    return outcome(pthread_create(&receiver, nullptr, receive_in_thread, nullptr));
}

std::string join_receiver() {
    void* result = nullptr;
    pthread_join(receiver, &result);
    return result == PTHREAD_CANCELED ? "cancelled" : received;
}

std::string do_cancel(const words&) {
    pthread_cancel(receiver);
    return join_receiver();
}

std::string do_join(const words&) {
    return join_receiver();
}

struct sender {
    int fd;
    int count;
    std::string message;
    std::atomic<int>* failed;
};

void* send_in_thread(void* argument) {
    const sender* task = static_cast<sender*>(argument);
    const sockaddr_nl to = netlink_address(0);
    for (int i = 0; i < task->count; i++) {
        const ssize_t sent =
            sendto(task->fd, task->message.data(), task->message.size(), 0, generic(to), sizeof to);
        *task->failed += sent < 0 ? 1 : 0;
    }
    return nullptr;
}

// storm FD THREADS COUNT HEX: each thread sends the message so often; prints the failures
std::string do_storm(const words& in) {
    std::atomic<int> failed{0};
    sender task{number(in, 1), number(in, 3), bytes_from_hex(in.at(4)), &failed};
    std::vector<pthread_t> threads(static_cast<size_t>(number(in, 2)));
    for (pthread_t& each : threads) {
        pthread_create(&each, nullptr, send_in_thread, &task);
    }
    for (const pthread_t each : threads) {
        pthread_join(each, nullptr);
    }
    return std::to_string(failed);
}

// option FD LEVEL NAME VALUE [SIZE]
std::string do_option(const words& in) {
    const int value = number(in, 4);
    const int size = in.size() > 5 ? number(in, 5) : static_cast<int>(sizeof value);
    return outcome(setsockopt(number(in, 1), number(in, 2), number(in, 3), &value,
                              static_cast<socklen_t>(size)));
}

// timeout FD MS: how long a receive waits
std::string do_timeout(const words& in) {
    const timeval limit = {0, number(in, 2) * 1000};
    return outcome(setsockopt(number(in, 1), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit));
}

std::string do_flags(const words& in) {
    const bool close_on_exec = (fcntl(number(in, 1), F_GETFD) & FD_CLOEXEC) != 0;
    const bool non_blocking = (fcntl(number(in, 1), F_GETFL) & O_NONBLOCK) != 0;
    return std::string(close_on_exec ? "cloexec" : "-") + (non_blocking ? " nonblock" : " -");
}

std::string do_poll(const words& in) {
    pollfd one{number(in, 1), POLLIN, 0};
    return outcome(poll(&one, 1, number(in, 2)));
}

std::string do_close(const words& in) {
    return outcome(close(number(in, 1)));
}

// Of the whole process, in milliseconds.
std::string do_cpu(const words&) {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return std::to_string(used.tv_sec * 1000 + used.tv_nsec / 1000000);
}

std::string do_variable(const words& in) {
    const char* value = std::getenv(in.at(1).c_str());
    return value == nullptr ? "unset" : value;
}

// child WORD...: the first line that a shell command prints
std::string do_child(const words& in) {
    std::string command;
    for (size_t i = 1; i < in.size(); i++) {
        command += in[i] + " ";
    }
    std::FILE* output = popen(command.c_str(), "re");
    std::array<char, 4096> line{};
    const bool printed =
        output != nullptr && std::fgets(line.data(), line.size(), output) != nullptr;
    if (output != nullptr) {
        pclose(output);
    }
    line[std::strcspn(line.data(), "\n")] = '\0';
    return printed ? line.data() : "(nothing)";
}

std::string do_quit(const words&) {
    std::exit(0);
}

struct command {
    const char* name;
    std::string (*run)(const words&);
};

constexpr command kCommands[] = {
    {"socket", do_socket},   {"bind", do_bind},   {"name", do_name},
    {"send", do_send},       {"recv", do_recv},   {"fortified", do_fortified_recv},
    {"drain", do_drain},     {"start", do_start}, {"cancel", do_cancel},
    {"join", do_join},       {"storm", do_storm}, {"option", do_option},
    {"timeout", do_timeout}, {"flags", do_flags}, {"poll", do_poll},
    {"close", do_close},     {"cpu", do_cpu},     {"variable", do_variable},
    {"child", do_child},     {"quit", do_quit},
};

std::string run_line(const std::string& line) {
    std::istringstream text(line);
    words in;
    for (std::string word; text >> word;) {
        in.push_back(word);
    }
    for (const command& each : kCommands) {
        if (!in.empty() && in[0] == each.name) {
            return each.run(in);
        }
    }
    return "no such command";
}

}  // namespace

int main(int argc, char** argv) {
    std::ifstream input(argc > 1 ? argv[1] : "/dev/null");
    int count = 0;
    for (std::string line; std::getline(input, line);) {
        std::cout << "#" << ++count << " " << run_line(line) << std::endl;
    }
    return 0;
}
