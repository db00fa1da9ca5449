// The file of the layouts that this chip invents names every byte that the chip itself puts into a
// record or reads in one.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "answers.h"
#include "catalog/definitions.h"
#include "chip_state.h"

namespace quon::sim {
namespace {

constexpr uint8_t kFill = 'A';

// These hold what was sent, which the chip itself never reads.
constexpr std::string_view kSendersRecords[] = {"soc_poweron_time_info", "soc_time_cur",
                                                "soc_time_list"};

bool is_senders(std::string_view record) {
    return std::ranges::count(kSendersRecords, record) != 0;
}

// Bytes other than zero that have no name.
std::string unnamed(std::string_view record, byte_view bytes) {
    std::string found;
    for (const catalog::decoded_field& each :
         catalog::decode(*catalog::find_record(record), bytes)) {
        const bool nameless = each.name == "bytes" || each.name.find("rest_") == 0 ||
                              each.name.find(".rest_") != std::string::npos ||
                              each.name.ends_with("]");
        if (nameless && each.value.find_first_not_of('0') != std::string::npos) {
            found += std::string(record) + "." + each.name + "=" + each.value + " ";
        }
    }
    return found;
}

class TheFileOfOwnLayouts : public testing::Test {
  protected:
    void SetUp() override { catalog::load_definitions(HI3861L_SIM_RECORDS); }
    void TearDown() override { catalog::forget_definitions(); }

    static byte_list payload_of(const catalog::message& message) {
        const size_t size = message.request != nullptr ? message.request->size : 0;
        return byte_list(size, kFill);
    }

    static chip_state after(const catalog::message& message, byte_view payload) {
        chip_state chip;
        const chip_clock::time_point now{};
        chip.clock.set(byte_list(kMcuTimeSize), now);
        (void)answer_message(chip, message.type, payload, now);
        return chip;
    }

    // The record that holds the payload as it is; empty if none does.
    static std::string_view kept_whole(const chip_state& chip, byte_view payload) {
        for (const auto& [name, bytes] : chip.records.all()) {
            if (!payload.empty() && std::ranges::equal(bytes, payload)) {
                return name;
            }
        }
        return "";
    }

    // Whether all records but one are the same.
    static bool same_beside(std::string_view one, const chip_state& left, const chip_state& right) {
        return std::ranges::all_of(left.records.all(), [&](const auto& each) {
            return each.first == one || each.second == right.records.at(each.first);
        });
    }
};

TEST_F(TheFileOfOwnLayouts, NamesWhatAFreshChipHolds) {
    const chip_state chip;
    for (const auto& [name, bytes] : chip.records.all()) {
        if (catalog::find_record(name) != nullptr) {
            EXPECT_EQ(unnamed(name, bytes), "");
        } else {
            EXPECT_EQ(std::ranges::count(bytes, 0), std::ssize(bytes)) << name;
        }
    }
}

TEST_F(TheFileOfOwnLayouts, NamesWhatEachMessagePutsIntoARecord) {
    const chip_state fresh;
    size_t changes = 0;
    for (const catalog::message& message : catalog::messages()) {
        const byte_list payload = payload_of(message);
        const chip_state chip = after(message, payload);
        for (const auto& [name, bytes] : chip.records.all()) {
            const bool senders = is_senders(name) || std::ranges::equal(bytes, payload);
            if (!senders && bytes != fresh.records.at(name)) {
                EXPECT_EQ(unnamed(name, bytes), "") << message.name;
                changes++;
            }
        }
    }
    EXPECT_GT(changes, 15U);
}

TEST_F(TheFileOfOwnLayouts, NamesWhatIsReadInARecordThatIsKept) {
    size_t read = 0;
    for (const catalog::message& message : catalog::messages()) {
        byte_list payload = payload_of(message);
        const chip_state before = after(message, payload);
        const std::string_view record = kept_whole(before, payload);
        for (size_t i = 0; !record.empty() && i < payload.size(); i++) {
            payload[i] = kFill + 1;
            const bool is_read = !same_beside(record, before, after(message, payload));
            payload[i] = kFill;
            byte_list alone(payload.size());
            alone[i] = kFill;
            if (is_read && !is_senders(record)) {
                EXPECT_EQ(unnamed(record, alone), "") << message.name << " byte " << i;
                read++;
            }
        }
    }
    EXPECT_EQ(read, 32U);  // the name of the network
}

}  // namespace
}  // namespace quon::sim
