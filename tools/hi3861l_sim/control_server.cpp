#include "control_server.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>
#include <utility>

namespace quon::sim {

constexpr size_t kLongestLine = 256 * 1024;
// The next commands of a client with more unread bytes than this have to wait.
constexpr size_t kMostUnread = 256 * 1024;

// One connection. A waiting command delays only the later lines of its own client.
class control_client : public std::enable_shared_from_this<control_client> {
  public:
    control_client(simulator& sim, owned_descriptor fd, std::function<void()> ended)
        : sim_(sim), fd_(std::move(fd)), ended_(std::move(ended)) {}
    ~control_client() { sim_.loop().unwatch(fd_.get()); }
    control_client(const control_client&) = delete;
    control_client& operator=(const control_client&) = delete;

    void start() { watch(); }
    [[nodiscard]] bool gone() const { return gone_; }

    void write(const std::string& text) { out_ += text; }
    void answered() {
        busy_ = false;
        advance();
    }

  private:
    void watch() {
        const bool room = in_.size() <= kLongestLine && !no_more_;
        const int events = (room ? POLLIN : 0) | (out_.empty() ? 0 : POLLOUT);
        sim_.loop().watch(fd_.get(), static_cast<short>(events),
                          [this](short ready) { serve(ready); });
    }

    void serve(short ready) {
        const auto keep = shared_from_this();
        if ((ready & (POLLHUP | POLLERR)) != 0 && (ready & POLLIN) == 0) {
            end();
            return;
        }
        if ((ready & POLLIN) != 0) {
            read_some();
        }
        advance();
    }

    void read_some() {
        std::array<char, 4096> buffer{};
        const ssize_t size = recv(fd_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (size > 0) {
            in_.append(buffer.data(), static_cast<size_t>(size));
        } else if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
            no_more_ = true;
        }
    }

    // Runs pending commands and writes pending answers as far as possible.
    void advance() {
        if (gone_ || std::exchange(advancing_, true)) {
            return;
        }
        bool held_up = false;
        do {
            while (!busy_ && out_.size() <= kMostUnread && next_line()) {
            }
            held_up = out_.size() > kMostUnread;
            flush();
        } while (held_up && out_.size() <= kMostUnread);
        advancing_ = false;
        if (no_more_ && !busy_ && out_.empty()) {
            end();
        } else if (!gone_) {
            watch();
        }
    }

    bool next_line() {
        const size_t end = in_.find('\n');
        if (end == std::string::npos && in_.size() > kLongestLine) {
            out_ += "error: line too long\n";
            in_.clear();
            no_more_ = true;
            return false;
        }
        const bool last = end == std::string::npos;
        if (last && (!no_more_ || in_.empty())) {
            return false;
        }
        const std::string line = in_.substr(0, end);
        in_.erase(0, last ? in_.size() : end + 1);
        run(line);
        return true;
    }

    void run(const std::string& line);

    void flush() {
        const ssize_t size = send(fd_.get(), out_.data(), out_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (size > 0) {
            out_.erase(0, static_cast<size_t>(size));
        } else if (size < 0 && errno != EAGAIN && errno != EINTR) {
            out_.clear();
            no_more_ = true;
        }
    }

    void end() {
        if (!std::exchange(gone_, true)) {
            sim_.loop().unwatch(fd_.get());
            ended_();
        }
    }

    simulator& sim_;
    owned_descriptor fd_;
    std::function<void()> ended_;
    std::string in_;
    std::string out_;
    bool busy_ = false;
    bool no_more_ = false;
    bool advancing_ = false;
    bool gone_ = false;
};

namespace {

class client_responder : public responder {
  public:
    explicit client_responder(std::weak_ptr<control_client> client) : client_(std::move(client)) {}

    void line(const std::string& text) override { write(text + "\n"); }
    void ok() override { finish("ok\n"); }
    void error(const std::string& text) override { finish("error: " + text + "\n"); }
    [[nodiscard]] bool gone() const override {
        const auto client = client_.lock();
        return client == nullptr || client->gone();
    }

  private:
    void write(const std::string& text) {
        if (const auto client = client_.lock()) {
            client->write(text);
        }
    }
    void finish(const std::string& text) {
        if (const auto client = client_.lock()) {
            client->write(text);
            client->answered();
        }
    }

    std::weak_ptr<control_client> client_;
};

}  // namespace

void control_client::run(const std::string& line) {
    busy_ = true;
    run_command(sim_, line, std::make_shared<client_responder>(weak_from_this()));
}

control_server::control_server(simulator& sim, const std::string& path)
    : sim_(sim), listener_(sim.loop(), path, SOCK_STREAM, [this](owned_descriptor fd) {
          accept_client(std::move(fd));
      }) {}

control_server::~control_server() = default;

void control_server::accept_client(owned_descriptor fd) {
    const auto place = clients_.emplace(clients_.end());
    *place = std::make_shared<control_client>(sim_, std::move(fd),
                                              [this, place] { clients_.erase(place); });
    (*place)->start();
}

}  // namespace quon::sim
