#include "shared/files.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "shared/failure.h"

namespace quon {
namespace {

void drop_carriage_return(std::string& line) {
    if (line.ends_with('\r')) {
        line.pop_back();
    }
}

}  // namespace

std::string content_of(const std::string& file) {
    errno = 0;
    std::ifstream in(file, std::ios::binary);
    std::string text;
    if (in) {
        text.resize(kLongestFile + 1);
        in.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(in.gcount()));
    }
    if (!in.is_open() || in.bad()) {
        throw failure(exit_status::usage, "cannot read '" + file + "': " + std::strerror(errno));
    }
    if (text.size() > kLongestFile) {
        throw failure(exit_status::usage,
                      "'" + file + "' has more than " + std::to_string(kLongestFile) + " bytes");
    }
    return text;
}

void write_file(const std::string& file, const std::string& text) {
    std::ofstream out(file);
    out << text;
    out.close();
    if (!out) {
        throw failure(exit_status::failure, "cannot write '" + file + "': " + std::strerror(errno));
    }
}

bool read_line(std::istream& in, std::string& line) {
    line.clear();
    constexpr int kEnd = std::istream::traits_type::eof();
    for (int next = in.get(); next != '\n'; next = in.get()) {
        if (next == kEnd) {
            const bool found = !line.empty();
            if (found && !in.bad()) {
                in.clear(std::ios::eofbit);  // like std::getline: the last line may lack its end
            }
            drop_carriage_return(line);
            return found;
        }
        if (line.size() == kLongestLine) {
            throw failure(exit_status::usage,
                          "a line has more than " + std::to_string(kLongestLine) + " bytes");
        }
        line += static_cast<char>(next);
    }
    drop_carriage_return(line);
    return true;
}

}  // namespace quon
