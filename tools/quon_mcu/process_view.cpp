#include "quon_mcu/process_view.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

#include "shared/owned_descriptor.h"

namespace quon::client {
namespace {

using inode = unsigned long;
constexpr std::string_view kSocket = "socket:[";

std::string folder_of(pid_t process) {
    return "/proc/" + std::to_string(process);
}

std::vector<int> numbers_in(const std::string& folder) {
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(folder.c_str()), closedir);
    std::vector<int> numbers;
    for (const dirent* each = nullptr;
         entries != nullptr && (each = readdir(entries.get())) != nullptr;) {
        const std::string name = each->d_name;
        if (name.find_first_not_of("0123456789") == std::string::npos) {
            numbers.push_back(std::stoi(name));
        }
    }
    std::ranges::sort(numbers);
    return numbers;
}

std::string target_of(const std::string& link) {
    std::array<char, 4096> text{};
    const ssize_t size = readlink(link.c_str(), text.data(), text.size());
    return size < 0 ? "" : std::string(text.data(), static_cast<size_t>(size));
}

std::string first_line(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}

std::string field_of(const std::string& path, const std::string& name) {
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with(name + ":")) {
            const size_t value = line.find_first_not_of(" \t", name.size() + 1);
            return value == std::string::npos ? "" : line.substr(value);
        }
    }
    return "";
}

std::optional<inode> inode_of(const std::string& what) {
    if (!what.starts_with(kSocket)) {
        return std::nullopt;
    }
    return std::stoul(what.substr(kSocket.size()));
}

// The programs that hold each of the machine's sockets, as far as this user may see them.
std::map<inode, std::string> holders() {
    std::map<inode, std::string> found;
    for (const int process : numbers_in("/proc")) {
        for (const descriptor_view& each : descriptors_of(process)) {
            if (const auto number = inode_of(each.what)) {
                found.emplace(*number, first_line(folder_of(process) + "/comm") + " (process " +
                                           std::to_string(process) + ")");
            }
        }
    }
    return found;
}

struct socket_view {
    std::string kind;
    std::string address;
    std::string unread;
    std::string untaken;
    std::string peer;
};

// ---- Unix sockets, by the kernel's socket monitor

struct unix_socket {
    std::string path;
    inode peer = 0;
    std::optional<uint32_t> unread;
    std::optional<uint32_t> untaken;
    bool listens = false;
};

struct unix_request {
    nlmsghdr header;
    unix_diag_req what;
};

bool ask_for_unix_sockets(int fd) {
    unix_request request{};
    request.header.nlmsg_len = sizeof(request);
    request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.what.sdiag_family = AF_UNIX;
    request.what.udiag_states = UINT32_MAX;
    request.what.udiag_show = UDIAG_SHOW_NAME | UDIAG_SHOW_PEER | UDIAG_SHOW_RQLEN;
    return send(fd, &request, sizeof(request), 0) == static_cast<ssize_t>(sizeof(request));
}

void take_attribute(unix_socket& one, uint16_t type, byte_view value) {
    if (type == UNIX_DIAG_NAME) {
        const auto size = value.size() - (!value.empty() && value.back() == 0 ? 1 : 0);
        one.path.assign(value.begin(), value.begin() + static_cast<std::ptrdiff_t>(size));
        std::ranges::replace(one.path, '\0', '@');
    } else if (type == UNIX_DIAG_PEER && value.size() >= 4) {
        uint32_t peer = 0;
        std::memcpy(&peer, value.data(), sizeof(peer));
        one.peer = peer;
    } else if (type == UNIX_DIAG_RQLEN && value.size() >= sizeof(unix_diag_rqlen)) {
        unix_diag_rqlen queues{};
        std::memcpy(&queues, value.data(), sizeof(queues));
        one.unread = queues.udiag_rqueue;
        one.untaken = queues.udiag_wqueue;
    }
}

// Each attribute: length including its 4-byte header, type, value, padded to a multiple of 4.
void take_attributes(unix_socket& one, byte_view rest) {
    constexpr size_t kHead = 4;
    while (rest.size() >= kHead) {
        uint16_t length = 0;
        uint16_t type = 0;
        std::memcpy(&length, rest.data(), sizeof(length));
        std::memcpy(&type, rest.data() + 2, sizeof(type));
        if (length < kHead || length > rest.size()) {
            return;
        }
        take_attribute(one, type, rest.subspan(kHead, length - kHead));
        rest = rest.subspan(std::min<size_t>(rest.size(), (length + 3U) & ~size_t{3}));
    }
}

// False at the end of the dump.
bool take_messages(byte_view rest, std::map<inode, unix_socket>& found) {
    constexpr uint8_t kListening = 10;  // TCP_LISTEN, used for Unix sockets too
    while (rest.size() >= sizeof(nlmsghdr)) {
        nlmsghdr header{};
        std::memcpy(&header, rest.data(), sizeof(header));
        if (header.nlmsg_type != SOCK_DIAG_BY_FAMILY || header.nlmsg_len > rest.size() ||
            header.nlmsg_len < sizeof(header) + sizeof(unix_diag_msg)) {
            return false;
        }
        unix_diag_msg message{};
        std::memcpy(&message, rest.data() + sizeof(header), sizeof(message));
        unix_socket one;
        one.listens = message.udiag_state == kListening;
        const size_t head = sizeof(header) + sizeof(message);
        take_attributes(one, rest.subspan(head, header.nlmsg_len - head));
        found.emplace(message.udiag_ino, one);
        rest = rest.subspan(std::min<size_t>(rest.size(), NLMSG_ALIGN(header.nlmsg_len)));
    }
    return true;
}

// Empty if the kernel has no such monitor.
std::map<inode, unix_socket> unix_sockets() {
    std::map<inode, unix_socket> found;
    const owned_descriptor fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    if (fd.get() < 0 || !ask_for_unix_sockets(fd.get())) {
        return found;
    }
    byte_list buffer(65536);
    for (bool more = true; more;) {
        const ssize_t got = recv(fd.get(), buffer.data(), buffer.size(), 0);
        more = got > 0 && take_messages(byte_view(buffer).first(static_cast<size_t>(got)), found);
    }
    return found;
}

std::string number_or_dash(const std::optional<uint32_t>& number) {
    return number ? std::to_string(*number) : "-";
}

socket_view view_of(const unix_socket& one, const std::map<inode, std::string>& programs) {
    if (one.listens) {
        return {"Unix, listens", one.path, number_or_dash(one.unread) + " peers", "-", "-"};
    }
    const auto program = programs.find(one.peer);
    return {"Unix", one.path.empty() ? "-" : one.path, number_or_dash(one.unread),
            number_or_dash(one.untaken),
            one.peer == 0               ? "-"
            : program == programs.end() ? "unknown"
                                        : program->second};
}

// ---- TCP sockets

// "0100007F:2328" as "127.0.0.1:9000".
std::string address_of(const std::string& text) {
    in_addr address{};
    address.s_addr = static_cast<in_addr_t>(std::stoul(text.substr(0, 8), nullptr, 16));
    std::array<char, INET_ADDRSTRLEN> shown{};
    inet_ntop(AF_INET, &address, shown.data(), shown.size());
    return std::string(shown.data()) + ":" +
           std::to_string(std::stoul(text.substr(9), nullptr, 16));
}

std::map<inode, socket_view> tcp_sockets(pid_t process) {
    std::map<inode, socket_view> found;
    std::ifstream table(folder_of(process) + "/net/tcp");
    std::string line;
    std::getline(table, line);
    while (std::getline(table, line)) {
        std::istringstream words(line);
        std::string number;
        std::string local;
        std::string remote;
        std::string state;
        std::string queues;
        std::string skipped;
        inode id = 0;
        words >> number >> local >> remote >> state >> queues >> skipped >> skipped >> skipped >>
            skipped >> id;
        if (words && queues.size() == 17 && local.size() > 9 && remote.size() > 9) {
            found[id] = {
                "TCP", address_of(local), std::to_string(std::stoul(queues.substr(9), nullptr, 16)),
                std::to_string(std::stoul(queues.substr(0, 8), nullptr, 16)), address_of(remote)};
        }
    }
    return found;
}

}  // namespace

std::string program_of(pid_t process) {
    return target_of(folder_of(process) + "/exe");
}

std::string status_line(pid_t process, const std::string& name) {
    return field_of(folder_of(process) + "/status", name);
}

std::string limit_of_descriptors(pid_t process) {
    std::ifstream in(folder_of(process) + "/limits");
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        std::string max;
        std::string open;
        std::string files;
        std::string soft;
        if (words >> max >> open >> files >> soft && open == "open" && files == "files") {
            return soft;
        }
    }
    return "";
}

std::vector<thread_view> threads_of(pid_t process) {
    std::vector<thread_view> threads;
    const std::string folder = folder_of(process) + "/task";
    for (const int each : numbers_in(folder)) {
        const std::string thread = folder + "/" + std::to_string(each);
        threads.push_back(
            {each, first_line(thread + "/comm"), field_of(thread + "/status", "State")});
    }
    return threads;
}

std::vector<descriptor_view> descriptors_of(pid_t process) {
    std::vector<descriptor_view> all;
    const std::string folder = folder_of(process) + "/fd";
    for (const int each : numbers_in(folder)) {
        all.push_back({each, target_of(folder + "/" + std::to_string(each))});
    }
    return all;
}

row_list sockets_of(pid_t process) {
    row_list rows = {{"fd", "kind", "address", "unread", "untaken", "other end"}};
    const auto local = unix_sockets();
    const auto remote = tcp_sockets(process);
    const auto programs = holders();
    for (const descriptor_view& each : descriptors_of(process)) {
        const auto number = inode_of(each.what);
        if (!number) {
            continue;
        }
        socket_view shown = {"other", "-", "-", "-", "-"};
        if (const auto found = local.find(*number); found != local.end()) {
            shown = view_of(found->second, programs);
        } else if (const auto tcp = remote.find(*number); tcp != remote.end()) {
            shown = tcp->second;
        }
        rows.push_back({std::to_string(each.number), shown.kind, shown.address, shown.unread,
                        shown.untaken, shown.peer});
    }
    return rows;
}

}  // namespace quon::client
