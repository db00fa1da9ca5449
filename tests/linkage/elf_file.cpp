#include "elf_file.h"

#include <elf.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>

namespace quon::linkage {

namespace {

struct Elf32 {
    using Header = Elf32_Ehdr;
    using Segment = Elf32_Phdr;
    using Section = Elf32_Shdr;
    using Dynamic = Elf32_Dyn;
    using Symbol = Elf32_Sym;
};

struct Elf64 {
    using Header = Elf64_Ehdr;
    using Segment = Elf64_Phdr;
    using Section = Elf64_Shdr;
    using Dynamic = Elf64_Dyn;
    using Symbol = Elf64_Sym;
};

template <typename Class>
class Reader {
  public:
    explicit Reader(std::string bytes) : bytes_(std::move(bytes)), header_(at<Header>(0)) {}

    ElfFile read() {
        file_.type = header_.e_type;
        for (size_t i = 0; i < header_.e_phnum; i++) {
            read_segment(at<Segment>(header_.e_phoff + i * header_.e_phentsize));
        }
        for (size_t i = 0; i < header_.e_shnum; i++) {
            read_section(section(i));
        }
        return file_;
    }

  private:
    using Header = typename Class::Header;
    using Segment = typename Class::Segment;
    using Section = typename Class::Section;
    using Dynamic = typename Class::Dynamic;
    using Symbol = typename Class::Symbol;

    template <typename T>
    T at(uint64_t offset) const {
        if (offset > bytes_.size() || bytes_.size() - offset < sizeof(T)) {
            throw std::runtime_error("the ELF file ends early");
        }
        T value;
        std::memcpy(&value, bytes_.data() + static_cast<size_t>(offset), sizeof(T));
        return value;
    }

    Section section(size_t index) const {
        return at<Section>(header_.e_shoff + index * header_.e_shentsize);
    }

    std::string text(const Section& strings, uint64_t index) const {
        const auto start = static_cast<size_t>(strings.sh_offset + index);
        const size_t end = bytes_.find('\0', start);
        if (end == std::string::npos) {
            throw std::runtime_error("a name in the ELF file has no end");
        }
        return bytes_.substr(start, end - start);
    }

    void read_segment(const Segment& segment) {
        file_.segments.insert(segment.p_type);
        if (segment.p_type == PT_GNU_STACK) {
            file_.executable_stack = (segment.p_flags & PF_X) != 0;
        }
    }

    void read_section(const Section& wanted) {
        if (wanted.sh_type == SHT_DYNAMIC) {
            const Section strings = section(wanted.sh_link);
            for (uint64_t done = 0; done < wanted.sh_size; done += sizeof(Dynamic)) {
                read_dynamic(at<Dynamic>(wanted.sh_offset + done), strings);
            }
        } else if (wanted.sh_type == SHT_DYNSYM) {
            const Section strings = section(wanted.sh_link);
            for (uint64_t done = 0; done < wanted.sh_size; done += sizeof(Symbol)) {
                const auto symbol = at<Symbol>(wanted.sh_offset + done);
                if (symbol.st_shndx == SHN_UNDEF && symbol.st_name != 0) {
                    file_.imports.insert(text(strings, symbol.st_name));
                }
            }
        }
    }

    void read_dynamic(const Dynamic& entry, const Section& strings) {
        const auto value = entry.d_un.d_val;
        if (entry.d_tag == DT_NEEDED) {
            file_.needed.push_back(text(strings, value));
        } else if (entry.d_tag == DT_FLAGS) {
            file_.binds_now |= (value & DF_BIND_NOW) != 0;
        } else if (entry.d_tag == DT_FLAGS_1) {
            file_.binds_now |= (value & DF_1_NOW) != 0;
            file_.is_pie = (value & DF_1_PIE) != 0;
        }
    }

    std::string bytes_;
    Header header_;
    ElfFile file_;
};

}  // namespace

ElfFile read_elf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    if (bytes.size() < EI_NIDENT || std::memcmp(bytes.data(), ELFMAG, SELFMAG) != 0 ||
        bytes[EI_DATA] != ELFDATA2LSB) {
        throw std::runtime_error("no little-endian ELF file: " + path);
    }
    return bytes[EI_CLASS] == ELFCLASS32 ? Reader<Elf32>(std::move(bytes)).read()
                                         : Reader<Elf64>(std::move(bytes)).read();
}

}  // namespace quon::linkage
