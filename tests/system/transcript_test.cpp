// Runs the transcripts: the client against the real daemon and the simulated chip.
#include "transcript.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "launch.h"
#include "simulated_chip.h"
#include "system_test.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

constexpr char kPrograms[] = "/tmp/transcript-bin";
constexpr char kFolder[] = "/tmp/transcript";

// The transcripts name the program alone, however this build's is started.
void make_wrapper() {
    fs::create_directories(kPrograms);
    const std::string wrapper = std::string(kPrograms) + "/quon-mcu";
    std::ofstream script(wrapper);
    script << "#!/bin/sh\nexec";
    for (const std::string& word : client_launch()) {
        script << " '" << word << "'";
    }
    script << " \"$@\"\n";
    script.close();
    chmod(wrapper.c_str(), 0755);
}

std::vector<std::string> transcripts() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(QUON_TRANSCRIPTS)) {
        if (entry.path().extension() == ".txt") {
            names.push_back(entry.path().stem().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

class Transcript : public SystemTest, public ::testing::WithParamInterface<std::string> {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        fs::remove_all(kFolder);
        fs::create_directories(kFolder);
        make_wrapper();
    }
    void TearDown() override {
        SystemTest::TearDown();
        if (simulator_) {
            EXPECT_EQ(simulator_->process().terminate(), (ExitStatus{.exited = true, .code = 0}));
        }
        if (HasFailure() && simulator_) {
            std::cerr << "---- the chip's journal\n" << simulator_->journal() << "----\n";
        }
    }

    void perform(const TranscriptStep& step) {
        switch (step.kind) {
            case TranscriptStep::Kind::kChip:
                simulator_ = std::make_unique<SimulatedChip>(quoted_words_of(step.words));
                break;
            case TranscriptStep::Kind::kDaemon:
                start_with_snapshot();
                break;
            case TranscriptStep::Kind::kControl:
                simulator_->command(step.words);
                break;
            case TranscriptStep::Kind::kFrame:
                expect_frame(words_of(step.words));
                break;
            case TranscriptStep::Kind::kLog:
                EXPECT_TRUE(daemon().process().wait_for_text(step.words, mark_)) << step.words;
                mark_ = daemon().mark();
                break;
            case TranscriptStep::Kind::kCommand:
                expect_session(step);
                break;
        }
    }

  private:
    void start_with_snapshot() {
        start_daemon();
        ASSERT_TRUE(simulator_->wait_for(0x80)) << daemon().output();
        // The version is the last that the snapshot asks for.
        ASSERT_TRUE(wait_until([this] {
            return peer().call("method.quon.mcu.get.allwakeup.info").payload().at(364) != 0;
        }));
    }

    void expect_frame(const std::vector<std::string>& words) {
        const auto type = static_cast<std::uint8_t>(std::stoi(words.at(0), nullptr, 16));
        const Bytes payload = words.size() > 1 ? from_hex(words[1]) : Bytes{};
        ASSERT_TRUE(simulator_->wait_for(type)) << words[0];
        EXPECT_TRUE(wait_until([&] {
            return simulator_->last_frame(type) == chip_frame(type, payload);
        })) << words[0]
            << ": " << to_hex(simulator_->last_frame(type));
    }

    static void expect_session(const TranscriptStep& step) {
        const std::string setup = "cd " + std::string(kFolder) + "; PATH=" + kPrograms + ":$PATH; ";
        ChildProcess command({.command = {"/bin/sh", "-c", setup + step.words},
                              .environment = {{"LC_ALL", "C"}, {"TZ", "UTC"}},
                              .output = ChildProcess::Output::kPipe,
                              .separate_errors = true,
                              .input = {}});
        const auto status = command.wait_exit(2 * kLongEnough);
        ASSERT_TRUE(status.has_value()) << "has not ended: " << step.words;
        EXPECT_EQ(*status, (ExitStatus{.exited = true, .code = step.status})) << step.words;
        const std::string out = difference(step.out, command.output());
        const std::string err = difference(step.err, command.errors());
        EXPECT_TRUE(out.empty()) << step.words << "\nstandard output, " << out;
        EXPECT_TRUE(err.empty()) << step.words << "\nstandard error, " << err;
    }

    std::unique_ptr<SimulatedChip> simulator_;
    std::size_t mark_ = 0;  // what the daemon printed up to here has been seen
};

TEST_P(Transcript, IsHowItGoes) {
    const std::string path = std::string(QUON_TRANSCRIPTS) + "/" + GetParam() + ".txt";
    const std::vector<TranscriptStep> steps = read_transcript(path);
    ASSERT_FALSE(steps.empty());
    for (const TranscriptStep& step : steps) {
        SCOPED_TRACE(path + ":" + std::to_string(step.line));
        perform(step);
        if (HasFatalFailure()) {
            return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, Transcript, ::testing::ValuesIn(transcripts()),
                         [](const auto& name) { return name.param; });

// The runner itself must see a difference.
TEST(TheTranscriptRunner, SeesEveryDifference) {
    EXPECT_EQ(difference({"a", "", "b"}, "a\n\nb\n"), "");
    EXPECT_EQ(difference({}, ""), "");
    EXPECT_EQ(difference({"up <n> ms"}, "up 15 ms\n"), "");
    EXPECT_EQ(difference({"<hex>..."}, "00ff...\n"), "");
    EXPECT_EQ(difference({"at <any>: x"}, "at : x\n"), "");
    EXPECT_NE(difference({"up <n> ms"}, "up  ms\n"), "");
    EXPECT_NE(difference({"up <n> ms"}, "up 1x ms\n"), "");
    EXPECT_NE(difference({"a"}, "a\na\n"), "");
    EXPECT_NE(difference({"a", "b"}, "a\n"), "");
    EXPECT_NE(difference({"a"}, "A\n"), "");
    EXPECT_NE(difference({}, "a\n"), "");
    EXPECT_NE(difference({"a"}, ""), "");
}

}  // namespace
}  // namespace quon::test
