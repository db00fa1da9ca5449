#include "quon_mcu/log_level.h"

#include <sys/stat.h>

#include <fstream>
#include <iterator>

#include "quon_mcu/process_view.h"

namespace quon::client {
namespace {

constexpr int kStandardOutput = 1;

// What each level logs that the one below it does not. Nothing that is asked here warns.
constexpr char kFrame[] = "D/HEX ";
constexpr char kInformation[] = "mI/";
constexpr char kError[] = "mE/";

std::string target_of(pid_t process) {
    for (const descriptor_view& each : descriptors_of(process)) {
        if (each.number == kStandardOutput) {
            return each.what;
        }
    }
    return "";
}

std::string since(const std::string& file, off_t begin) {
    std::ifstream in(file, std::ios::binary);
    in.seekg(begin);
    return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

log_watch::log_watch(pid_t process)
    : file_("/proc/" + std::to_string(process) + "/fd/" + std::to_string(kStandardOutput)) {
    struct stat now {};
    if (process == 0) {
        trouble_ = "no daemon was found";
    } else if (stat(file_.c_str(), &now) != 0) {
        trouble_ = "no service reads it, and the log cannot be seen by this user";
    } else if (!S_ISREG(now.st_mode)) {
        // Only a file can be read without taking something away from another reader.
        trouble_ = "no service reads it, and the log goes to " + target_of(process);
    } else if (!std::ifstream(file_)) {
        trouble_ = "no service reads it, and this user may not read the log " + target_of(process);
    }
    end_ = now.st_size;
}

std::string log_watch::level(bool chip_answers) const {
    if (!can_tell()) {
        return "not known: " + trouble_;
    }
    const std::string logged = since(file_, end_);
    const auto has = [&logged](const char* words) {
        return logged.find(words) != std::string::npos;
    };
    if (has(kFrame)) {
        return "4 (debug)";
    }
    if (has(kInformation)) {
        return chip_answers ? "3 (information)" : "3 or 4 (the chip sent nothing to log)";
    }
    return has(kError) ? "1 or 2 (errors, perhaps warnings)" : "0 (fatal errors alone)";
}

}  // namespace quon::client
