#include "learned.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "catalog/log_decoder.h"
#include "chip_fixture.h"
#include "text_values.h"

namespace quon::sim {
namespace {

using std::chrono::milliseconds;
using clock = event_loop::clock;

struct chip_that_learned : test_chip {
    explicit chip_that_learned(const std::string& text) {
        std::istringstream in(text);
        learned_chip learned;
        learned.read(in);
        sim.replay(std::move(learned));
    }
    // The answer to one question, waited for; its frame's hex digits.
    std::string question(uint8_t type) {
        link.sent.clear();
        link.deliver(make_frame(type, {}));
        EXPECT_TRUE(run_until([this] { return !link.sent.empty(); })) << show_type(type);
        return link.sent.empty() ? "" : hex(link.sent[0]);
    }
    [[nodiscard]] bool noted(const std::string& text) const {
        return std::ranges::any_of(log.lines(), [&text](const std::string& line) {
            return line.ends_with(" note " + text);
        });
    }
};

TEST(ALearnedChip, GivesTheAnswersOfAJournalInTheirOrder) {
    chip_that_learned chip(
        "2026-02-03T04:05:06.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "2026-02-03T04:05:06.000 chip->host 0x95 get_wdg_state len 1 state=7\n"
        "2026-02-03T04:05:06.000 host->chip 0x89 get_pir_info len 0 empty\n"
        "2026-02-03T04:05:06.000 chip->host 0x89 get_pir_info len 2 0a0b\n"
        "2026-02-03T04:05:07.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "2026-02-03T04:05:07.000 chip->host 0x95 get_wdg_state len 1 state=8\n");
    EXPECT_TRUE(chip.noted("3 answers and 0 events learned"));
    EXPECT_EQ(chip.question(0x95), "950100000007");
    EXPECT_EQ(chip.question(0x95), "950100000008");
    EXPECT_EQ(chip.question(0x89), "89020000000a0b");
}

TEST(ALearnedChip, AnswersWhatTheLogDoesNotHoldFromTheStateAndSaysSo) {
    chip_that_learned chip(
        "04:05:06.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "04:05:06.000 chip->host 0x95 get_wdg_state len 1 state=7\n");
    EXPECT_EQ(chip.question(0x95), "950100000007");
    EXPECT_EQ(chip.question(0x95), "950100000007") << "what it said last";
    EXPECT_TRUE(
        chip.noted("0x95 get_wdg_state is not in the learned log, answered from the state"));
    chip.ask(0x94, "05");
    EXPECT_EQ(chip.question(0x95), "950100000005") << "commands act";
    EXPECT_EQ(chip.question(0x86).substr(0, 10), "8605000000");
    EXPECT_TRUE(
        chip.noted("0x86 get_battery_status is not in the learned log, answered from the state"));
}

TEST(ALearnedChip, TakesAsLongAsTheChipDid) {
    chip_that_learned chip(
        "04:05:06.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "04:05:06.150 chip->host 0x95 get_wdg_state len 1 state=7\n");
    const auto start = clock::now();
    EXPECT_EQ(chip.question(0x95), "950100000007");
    EXPECT_GE(clock::now() - start, milliseconds(150));
}

TEST(ALearnedChip, IsSilentWhereTheChipWas) {
    chip_that_learned chip(
        "04:05:06.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "04:05:07.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "04:05:07.000 chip->host 0x95 get_wdg_state len 1 state=7\n");
    EXPECT_TRUE(chip.ask(0x95).empty());
    EXPECT_TRUE(chip.noted("0x95 get_wdg_state had no answer in the learned log"));
    EXPECT_EQ(chip.question(0x95), "950100000007");
}

TEST(ALearnedChip, RaisesEventsAsLongAfterTheSameQuestion) {
    chip_that_learned chip(
        "04:05:06.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "04:05:06.000 chip->host 0x95 get_wdg_state len 1 state=7\n"
        "04:05:07.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "04:05:07.000 chip->host 0x95 get_wdg_state len 1 state=8\n"
        "04:05:07.120 chip->host 0x04 event_4 len 2 0708\n");
    chip.question(0x95);
    const auto start = clock::now();
    chip.link.sent.clear();
    chip.link.deliver(make_frame(0x95, {}));
    ASSERT_TRUE(chip.run_until([&chip] { return chip.link.sent.size() == 2; }));
    EXPECT_GE(clock::now() - start, milliseconds(120));
    EXPECT_EQ(hex(chip.link.sent[1]), "04020000000708");
}

TEST(ALearnedChip, RaisesAnEventThatNoQuestionCameBeforeAfterTheFirst) {
    chip_that_learned chip("04:05:06.000 chip->host 0x04 event_4 len 1 07\n");
    chip.link.deliver(make_frame(0x81, {}));
    ASSERT_TRUE(chip.run_until([&chip] { return chip.link.sent.size() == 2; }));
    EXPECT_EQ(hex(chip.link.sent[1]), "040100000007");
}

TEST(ALearnedChip, KnowsTheDumpsOfADaemonAndItsFailures) {
    chip_that_learned chip(
        "D/HEX recv msg: 0000-000F: 95 01 00 00 00 07                               ......\n"
        "E/HI3861L  [02-03 04:05:07.100] (hi3861l_api_get_wdg_state:24) "
        "[hi3861l_send_msg_sync failed] failed\n"
        "D/HEX recv msg: 0000-000F: 95 01 00 00 00 08                               ......\n"
        "D/HEX recv msg: 0000-000F: 04 01 00 00 00 09                               ......\n");
    EXPECT_EQ(chip.question(0x95), "950100000007");
    EXPECT_TRUE(chip.ask(0x95).empty());
    chip.link.sent.clear();
    chip.link.deliver(make_frame(0x95, {}));
    ASSERT_TRUE(chip.run_until([&chip] { return chip.link.sent.size() == 2; }));
    EXPECT_EQ(hex(chip.link.sent[0]), "950100000008");
    EXPECT_EQ(hex(chip.link.sent[1]), "040100000009");
}

TEST(ALearnedChip, SetsItsClockByTheTimeThatItAnswers) {
    chip_that_learned chip(
        "04:05:06.000 host->chip 0x84 get_time len 0 empty\n"
        "04:05:06.000 chip->host 0x84 get_time len 10 year=31 month=2 day=3 hour=4 minute=5 "
        "second=6 rest_6=00000000\n");
    EXPECT_EQ(chip.question(0x84), "840a0000001f020304050600000000");
    EXPECT_EQ(chip.question(0x84).substr(0, 20), "840a0000001f02030405");
}

TEST(ALearnedChip, CountsWhatItDoesNotUnderstand) {
    chip_that_learned chip(
        "04:05:06.000 chip->host malformed, 2 bytes 84zz\n"
        "04:05:06.000 chip->host 0x84 get_time len 3 malformed, 1 payload bytes\n"
        "04:05:06.000 chip->host 0x84 get_time len 3 hours=2\n"
        "04:05:06.000 chip->host 0x95 get_wdg_state len 1 state=7\n");
    EXPECT_TRUE(chip.noted("1 answer and 0 events learned, 3 frames not understood"));
}

// The frames that come after one question, waited for.
std::vector<std::string> frames_after(chip_that_learned& chip, uint8_t type, size_t count) {
    chip.link.sent.clear();
    chip.link.deliver(make_frame(type, {}));
    EXPECT_TRUE(chip.run_until([&] { return chip.link.sent.size() >= count; }));
    std::vector<std::string> found;
    for (const byte_list& each : chip.link.sent) {
        found.push_back(hex(each));
    }
    return found;
}

using frames = std::vector<std::string>;

TEST(ALearnedChip, AnswersLateWhereTheChipDid) {
    chip_that_learned chip(
        "04:05:06.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "04:05:07.000 host->chip 0x89 get_pir_info len 0 empty\n"
        "04:05:07.120 chip->host 0x95 get_wdg_state len 1 state=7\n"
        "04:05:07.200 chip->host 0x89 get_pir_info len 1 0a\n");
    EXPECT_TRUE(chip.noted("2 answers and 0 events learned, 1 frame out of turn"));
    EXPECT_TRUE(chip.ask(0x95).empty());
    const auto start = clock::now();
    EXPECT_EQ(frames_after(chip, 0x89, 2), (frames{"950100000007", "89010000000a"}));
    EXPECT_GE(clock::now() - start, milliseconds(200));
}

TEST(ALearnedChip, AnswersTwiceWhereTheChipDid) {
    chip_that_learned chip(
        "04:05:06.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "04:05:06.000 chip->host 0x95 get_wdg_state len 1 state=7\n"
        "04:05:06.010 chip->host 0x95 get_wdg_state len 1 state=8\n");
    EXPECT_EQ(frames_after(chip, 0x95, 2), (frames{"950100000007", "950100000008"}));
}

TEST(ALearnedChip, SendsWhatNobodyAskedForAndWhatNobodyKnows) {
    chip_that_learned chip(
        "04:05:06.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "04:05:06.010 chip->host 0x89 get_pir_info len 1 0a\n"
        "04:05:06.020 chip->host 0x09 unknown len 2 0102\n"
        "04:05:06.030 chip->host 0x95 get_wdg_state len 1 state=7\n");
    EXPECT_EQ(frames_after(chip, 0x95, 3),
              (frames{"89010000000a", "09020000000102", "950100000007"}));
}

TEST(ALearnedChip, SendsACutFrameInsteadOfItsAnswer) {
    chip_that_learned chip(
        "04:05:06.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "04:05:06.010 chip->host malformed, 2 bytes 9500 (raw)\n"
        "04:05:07.000 host->chip 0x95 get_wdg_state len 0 empty\n"
        "04:05:07.010 chip->host 0x95 get_wdg_state len 3 malformed, 1 payload bytes 07\n");
    EXPECT_TRUE(chip.noted("2 answers and 0 events learned, 2 frames out of turn"));
    EXPECT_EQ(frames_after(chip, 0x95, 1), frames{"9500"});
    EXPECT_EQ(frames_after(chip, 0x95, 1), frames{"950300000007"});
    EXPECT_FALSE(
        chip.noted("0x95 get_wdg_state is not in the learned log, answered from the state"));
}

TEST(ALearnedChip, SendsTheCutFrameOfADaemonsDump) {
    chip_that_learned chip(
        "D/HEX recv msg: 0000-000F: 95 03 00 00 00 07                               ......\n"
        "E/HI3861L  [02-03 04:05:07.100] (hi3861l_api_get_wdg_state:24) "
        "[hi3861l_send_msg_sync failed] failed\n"
        "D/HEX recv msg: 0000-000F: 95 01 00 00 00 08                               ......\n");
    EXPECT_EQ(frames_after(chip, 0x95, 1), frames{"950300000007"});
    EXPECT_EQ(frames_after(chip, 0x95, 1), frames{"950100000008"});
}

TEST(ALogWithoutQuestions, IsLearnedWithANote) {
    const std::string note = "the log has no questions: answers come at once";
    EXPECT_TRUE(chip_that_learned("04:05:06.000 chip->host 0x95 get_wdg_state len 1 state=7\n")
                    .noted(note));
    EXPECT_FALSE(chip_that_learned("04:05:06.000 host->chip 0x95 get_wdg_state len 0 empty\n"
                                   "04:05:06.000 chip->host 0x95 get_wdg_state len 1 state=7\n")
                     .noted(note));
}

// What one chip's journal has, another one learns.
TEST(ALearnedChip, IsLikeTheOneWhoseJournalItLearned) {
    test_chip first;
    first.control("set battery 33");
    first.control("set firmware-version V2.1.7");
    first.ask(0x9c);
    std::vector<byte_list> said;
    for (const uint8_t type :
         byte_list{0x80, 0x81, 0x82, 0x86, 0x8c, 0x93, 0x9e, 0xa3, 0xa7, 0xac}) {
        said.push_back(first.ask(type).at(0));
    }
    std::string journal;
    for (const std::string& line : first.log.lines()) {
        journal += line + "\n";
    }
    chip_that_learned second(journal);
    for (const byte_list& frame : said) {
        EXPECT_EQ(second.question(frame[0]), hex(frame));
    }
}

TEST(ALogToLearnFrom, ThatCannotBeUsedIsNamed) {
    const std::string path = testing::TempDir() + "learned." + std::to_string(getpid());
    std::ofstream(path) << "nothing\n";
    const std::pair<std::string, std::string> rows[] = {
        {"/nonexistent", "cannot read '/nonexistent': No such file or directory"},
        {path, "'" + path +
                   "' has nothing to learn from: no frame of a journal, and no dump of a daemon at "
                   "log level debug"},
    };
    for (const auto& [file, expected] : rows) {
        try {
            learn_log(file);
            ADD_FAILURE() << file;
        } catch (const bad_value& problem) {
            EXPECT_EQ(problem.what(), expected);
        }
    }
    std::filesystem::remove(path);
}

TEST(TheWordsOfAJournal, TellAFrame) {
    using catalog::direction;
    const std::pair<const char*, const char*> rows[] = {
        {"0x84 get_time len 0 empty", "8400000000"},
        {"0x95 get_wdg_state len 1 state=255", "9501000000ff"},
        {"0x84 get_time len 6 year=-1 month=2 day=3 hour=4 minute=5 second=6",
         "8406000000ff0203040506"},
        {"0x80 get_version len 8 version=A b\\x0a=c", "80080000004120620a3d630000"},
        {"0x89 get_pir_info len 2 0a0b (fault delay)", "89020000000a0b"},
    };
    for (const auto& [words, expected] : rows) {
        const auto frame = catalog::frame_of_words(direction::from_chip, words);
        ASSERT_TRUE(frame.has_value()) << words;
        EXPECT_EQ(hex(*frame), expected) << words;
    }
}

TEST(TheWordsOfAJournal, ThatTellNoFrameAreRefused) {
    using catalog::direction;
    for (const char* words :
         {"", "0x84", "0x84 get_time len 1 empty", "0x184 get_time len 0 empty",
          "0x84 get_time len x empty", "0x84 get_time len 10 malformed, 2 payload bytes 0102",
          "0x84 get_time len 2 second=6", "0x84 get_time len 10 hours=6",
          "0x84 get_time len 10 words year=6", "0x84 get_time len 10 year=x",
          "0x89 get_pir_info len 3 0a0b", "0x89 get_pir_info len 1 0",
          "0x84 get_time len 99999999 year=1", "0x9e get_err_report len 2 count=1 entry[300]=00",
          "0x9e get_err_report len 2 count=1 entry[1", "0x84 get_time len 10 rest_9=0001"}) {
        EXPECT_FALSE(catalog::frame_of_words(direction::from_chip, words).has_value()) << words;
    }
}

}  // namespace
}  // namespace quon::sim
