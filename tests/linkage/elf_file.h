// The few facts of a little-endian ELF file that the tests ask for.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace quon::linkage {

struct ElfFile {
    std::uint16_t type = 0;            // ET_EXEC, ET_DYN
    std::vector<std::string> needed;   // NEEDED entries
    std::set<std::string> imports;     // undefined dynamic symbols, without versions
    std::set<std::uint32_t> segments;  // types of the program headers
    bool executable_stack = false;
    bool binds_now = false;
    bool is_pie = false;
};

// Throws std::runtime_error for a file that cannot be read or is no such file.
ElfFile read_elf(const std::string& path);

}  // namespace quon::linkage
