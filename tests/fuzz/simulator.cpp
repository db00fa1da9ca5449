// The simulated chip: frames of the host and lines of control text, in any order.
#include <cstdio>

#include "chip_fixture.h"
#include "harness.h"

namespace quon::fuzz {

namespace {

constexpr std::string_view kOutcomes[] = {
    "a frame was answered", "a frame was not answered",  "a datagram had no header",
    "a command was done",   "a command was refused",     "a command waits",
    "an image is complete", "a fault changed an answer",
};

constexpr std::size_t kMostTogether = 64;

void note_answers(sim::test_chip& chip, std::uint8_t type) {
    saw(chip.link.sent.empty() ? "a frame was not answered" : "a frame was answered");
    for (const byte_list& answer : chip.link.sent) {
        if (answer.size() < 5 || answer[0] != type ||
            quon::get_le(answer, 1, 4) != answer.size() - 5) {
            saw("a fault changed an answer");
        }
    }
}

void host_sends(sim::test_chip& chip, Input& input) {
    const std::uint8_t type = input.byte();
    const Bytes payload = input.piece();
    chip.ask(sim::make_frame(type, payload));
    note_answers(chip, type);
    if (type == HI3861L_UPG_FINISH && chip.sim.chip().image.state() == "finished") {
        saw("an image is complete");
    }
}

void host_sends_anything(sim::test_chip& chip, Input& input) {
    const Bytes datagram = input.piece();
    if (datagram.size() < 16) {
        saw("a datagram had no header");
    }
    chip.link.deliver_datagram(datagram);
}

void control(sim::test_chip& chip, Input& input) {
    const auto answer = chip.control(input.text());
    require(answer->endings.size() <= 1, "a command is answered once");
    if (answer->endings.empty()) {
        saw("a command waits");
        answer->left = true;
    } else {
        saw(answer->ending() == "ok" ? "a command was done" : "a command was refused");
    }
}

}  // namespace

std::span<const std::string_view> outcomes() {
    return kOutcomes;
}

void run_input(Input& input) {
    sim::test_chip chip;
    for (std::size_t i = 0; i < kMostTogether && !input.empty(); i++) {
        switch (input.byte() % 4) {
            case 0:
                host_sends(chip, input);
                break;
            case 1:
                host_sends_anything(chip, input);
                break;
            default:
                control(chip, input);
                break;
        }
        chip.link.sent.clear();
    }
}

}  // namespace quon::fuzz
