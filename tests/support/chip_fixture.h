// A simulated chip in the test's own process: frames go in and out by function calls, control
// commands likewise.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "control_commands.h"
#include "hex.h"
#include "simulator.h"

namespace quon::sim {

class fake_link : public transport {
  public:
    delivery send(byte_view message) override {
        if (next == delivery::sent) {
            sent.emplace_back(message.begin(), message.end());
        }
        return next;
    }
    [[nodiscard]] bool host_present() const override { return present; }
    [[nodiscard]] std::string where() const override { return "nowhere"; }

    // A datagram from the host, its netlink header in front of the frame.
    void deliver(byte_view frame) {
        byte_list datagram = with_header(frame);
        put_le(datagram, 12, 4, 1100);
        take(datagram);
    }
    void deliver_datagram(byte_view datagram) { take(datagram); }
    void host_changes(bool now) {
        present = now;
        note(now ? "host connected" : "host gone");
    }

    std::vector<byte_list> sent;
    delivery next = delivery::sent;
    bool present = true;
};

// The answer to a control command.
struct control_answer : responder {
    void line(const std::string& text) override { lines.push_back(text); }
    void ok() override { endings.emplace_back("ok"); }
    void error(const std::string& text) override { endings.push_back("error: " + text); }
    [[nodiscard]] bool gone() const override { return left; }

    // The one line that ends the answer; empty while there is none.
    [[nodiscard]] std::string ending() const { return endings.size() == 1 ? endings[0] : ""; }

    std::vector<std::string> lines;
    std::vector<std::string> endings;
    bool left = false;
};

struct test_chip {
    // The answers, of frames that the chip sends at once, to one frame from the host.
    std::vector<byte_list> ask(byte_view frame) {
        link.sent.clear();
        link.deliver(frame);
        return link.sent;
    }
    std::vector<byte_list> ask(uint8_t type, const std::string& payload_hex = "") {
        return ask(make_frame(type, test::from_hex(payload_hex)));
    }
    // The one answer's payload; empty when there is not exactly one answer of this type.
    byte_list answer_to(uint8_t type, const std::string& payload_hex = "") {
        const std::vector<byte_list> frames = ask(type, payload_hex);
        if (frames.size() != 1 || frames[0].size() < 5 || frames[0][0] != type ||
            get_le(frames[0], 1, 4) != frames[0].size() - 5) {
            return {};
        }
        return {frames[0].begin() + 5, frames[0].end()};
    }
    std::shared_ptr<control_answer> control(std::string_view line) {
        const auto answer = std::make_shared<control_answer>();
        run_command(sim, line, answer);
        return answer;
    }
    std::string get(const std::string& name) {
        const auto answer = control("get " + name);
        return answer->ending() == "ok" && answer->lines.size() == 1 ? answer->lines[0]
                                                                     : answer->ending();
    }
    // Runs the chip's timers until `enough` holds, at most 20 seconds.
    bool run_until(const std::function<bool()>& enough) {
        bool late = false;
        const auto limit = loop.after(std::chrono::seconds(20), [&] { late = true; });
        std::function<void()> check = [&] {
            if (enough() || late) {
                loop.stop();
            } else {
                loop.after(std::chrono::milliseconds(1), check);
            }
        };
        check();
        loop.run();
        loop.cancel(limit);
        return !late;
    }

    event_loop loop;
    fake_link link;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> sink{std::fopen("/dev/null", "we"),
                                                         std::fclose};
    journal log{sink.get()};
    simulator sim{loop, link, log};
};

// Hex digits without blanks.
inline std::string hex(byte_view data) {
    std::string text = test::to_hex(data);
    std::erase(text, ' ');
    return text;
}

// A payload of `size` bytes, each different from its neighbours.
inline std::string pattern(size_t size, uint8_t first = 1) {
    test::Bytes data(size);
    for (size_t i = 0; i < size; i++) {
        data[i] = static_cast<uint8_t>(first + i * 7);
    }
    return hex(data);
}

}  // namespace quon::sim
