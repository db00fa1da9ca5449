// The driver for a harness without libFuzzer: runs the given files and those in the given folders,
// and reports the outcomes.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "harness.h"

extern "C" {
int LLVMFuzzerInitialize(int* argc, char*** argv);
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
}

namespace {

namespace fs = std::filesystem;
using quon::fuzz::Bytes;

std::vector<fs::path> files_of(const fs::path& place) {
    std::vector<fs::path> files;
    if (fs::is_directory(place)) {
        for (const auto& entry : fs::directory_iterator(place)) {
            files.push_back(entry.path());
        }
        std::ranges::sort(files);
    } else {
        files.push_back(place);
    }
    return files;
}

int digit_of(char letter) {
    const std::string digits = "0123456789abcdef";
    const std::size_t value = digits.find(letter);
    if (value == std::string::npos) {
        throw std::runtime_error(std::string("no hexadecimal digit: ") + letter);
    }
    return static_cast<int>(value);
}

// An input kept as text: pairs of digits, anything after '#' on a line for the reader.
Bytes from_hex(std::istream& text) {
    std::string digits;
    for (std::string line; std::getline(text, line);) {
        line.erase(std::min(line.find('#'), line.size()));
        std::erase_if(line, [](char letter) { return letter == ' '; });
        digits += line;
    }
    Bytes bytes;
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
        bytes.push_back(
            static_cast<std::uint8_t>(digit_of(digits[at]) * 16 + digit_of(digits[at + 1])));
    }
    return bytes;
}

Bytes content_of(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + file.string());
    }
    if (file.extension() == ".hex") {
        return from_hex(in);
    }
    return {std::istreambuf_iterator<char>(in), {}};
}

std::size_t replay(const std::vector<fs::path>& files) {
    for (const fs::path& file : files) {
        Bytes bytes = content_of(file);
        bytes.shrink_to_fit();
        (void)std::fprintf(stderr, "%s: %zu bytes\n", file.c_str(), bytes.size());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    return files.size();
}

// Returns how many were never seen.
int show_outcomes() {
    int missing = 0;
    const auto seen = quon::fuzz::sightings();
    for (std::size_t i = 0; i < seen.size(); i++) {
        (void)std::fprintf(stderr, "%8lu %s\n", seen[i],
                           std::string(quon::fuzz::outcomes()[i]).c_str());
        missing += seen[i] == 0 ? 1 : 0;
    }
    return missing;
}

int run(std::vector<std::string> words) {
    const bool demanding = !words.empty() && words[0] == "--all-outcomes";
    std::size_t files = 0;
    for (auto word = words.begin() + (demanding ? 1 : 0); word != words.end(); ++word) {
        files += replay(files_of(*word));
    }
    const int missing = show_outcomes();
    if (files == 0) {
        throw std::runtime_error("no input to replay");
    }
    if (demanding && missing != 0) {
        throw std::runtime_error(std::to_string(missing) + " outcomes were never seen");
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return LLVMFuzzerInitialize(&argc, &argv) != 0 ? 1 : run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        (void)std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
