// As much of an ELF shared object as the tests look at: a 64-bit file in this machine's byte order,
// read through its section headers. Throws on anything else.
#pragma once

#include <elf.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace vorl::test {

class elf_file {
  public:
    struct symbol {
        std::string name;
        unsigned char type;    ///< STT_...
        unsigned char binding; ///< STB_...
        std::uint16_t section; ///< SHN_UNDEF: not defined here
        std::uint64_t value;
    };

    explicit elf_file(const std::string &path)
    {
        std::ifstream file(path, std::ios::binary);
        bytes_.assign(std::istreambuf_iterator<char>(file), {});
        if (bytes_.size() < sizeof(Elf64_Ehdr) || std::memcmp(bytes_.data(), ELFMAG, SELFMAG) != 0)
            throw std::runtime_error(path + " is not an ELF file");
        const auto header = at<Elf64_Ehdr>(0);
        machine_ = header.e_machine;
        for (std::size_t i = 0; i < header.e_phnum; ++i)
            segments_.push_back(at<Elf64_Phdr>(header.e_phoff + i * header.e_phentsize));
        for (std::size_t i = 0; i < header.e_shnum; ++i)
            sections_.push_back(at<Elf64_Shdr>(header.e_shoff + i * header.e_shentsize));
        names_ = header.e_shstrndx;
    }

    std::uint16_t machine() const { return machine_; } ///< EM_...
    const std::vector<Elf64_Phdr> &segments() const { return segments_; }

    Elf64_Shdr section(const std::string &name) const
    {
        for (const Elf64_Shdr &section : sections_) {
            if (text(sections_.at(names_), section.sh_name) == name)
                return section;
        }
        throw std::runtime_error("there is no section " + name);
    }

    std::vector<std::uint32_t> words(const Elf64_Shdr &section) const
    {
        return entries<std::uint32_t>(section);
    }

    /// Symbols of .dynsym (SHT_DYNSYM) or .symtab (SHT_SYMTAB).
    std::vector<symbol> symbols(std::uint32_t table) const
    {
        std::vector<symbol> found;
        for (const Elf64_Shdr &section : sections_) {
            if (section.sh_type != table)
                continue;
            for (const auto &s : entries<Elf64_Sym>(section)) {
                if (s.st_name != 0)
                    found.push_back({text(sections_.at(section.sh_link), s.st_name),
                                     static_cast<unsigned char>(ELF64_ST_TYPE(s.st_info)),
                                     static_cast<unsigned char>(ELF64_ST_BIND(s.st_info)),
                                     s.st_shndx, s.st_value});
            }
        }
        return found;
    }

    /// The values of the dynamic entries with that tag: DT_FLAGS.
    std::vector<std::uint64_t> dynamic_values(std::int64_t tag) const
    {
        std::vector<std::uint64_t> found;
        for (const Elf64_Shdr &section : sections_) {
            if (section.sh_type != SHT_DYNAMIC)
                continue;
            for (const auto &entry : entries<Elf64_Dyn>(section)) {
                if (entry.d_tag == tag)
                    found.push_back(entry.d_un.d_val);
            }
        }
        return found;
    }

    /// The texts of the dynamic entries with that tag: DT_NEEDED, DT_SONAME.
    std::vector<std::string> dynamic_texts(std::int64_t tag) const
    {
        std::vector<std::string> found;
        for (const Elf64_Shdr &section : sections_) {
            if (section.sh_type != SHT_DYNAMIC)
                continue;
            for (const auto &entry : entries<Elf64_Dyn>(section)) {
                if (entry.d_tag == tag)
                    found.push_back(text(sections_.at(section.sh_link), entry.d_un.d_val));
            }
        }
        return found;
    }

    /// The addresses that the dynamic linker calls when it loads the library: .init_array, filled
    /// by relative relocations.
    std::set<std::uint64_t> constructors() const
    {
        std::set<std::uint64_t> found;
        for (const Elf64_Shdr &array : sections_) {
            if (array.sh_type != SHT_INIT_ARRAY)
                continue;
            for (const Elf64_Shdr &section : sections_) {
                if (section.sh_type != SHT_RELA)
                    continue;
                for (const auto &r : entries<Elf64_Rela>(section)) {
                    if (r.r_offset >= array.sh_addr && r.r_offset < array.sh_addr + array.sh_size)
                        found.insert(static_cast<std::uint64_t>(r.r_addend));
                }
            }
        }
        return found;
    }

  private:
    template <class T>
    T at(std::uint64_t offset) const
    {
        if (offset > bytes_.size() || sizeof(T) > bytes_.size() - offset)
            throw std::runtime_error("the ELF file is cut short");
        T value;
        std::memcpy(&value, bytes_.data() + offset, sizeof value);
        return value;
    }

    template <class T>
    std::vector<T> entries(const Elf64_Shdr &section) const
    {
        std::vector<T> all;
        for (std::uint64_t i = 0; i < section.sh_size / sizeof(T); ++i)
            all.push_back(at<T>(section.sh_offset + i * sizeof(T)));
        return all;
    }

    std::string text(const Elf64_Shdr &strings, std::uint64_t offset) const
    {
        return bytes_.data() + strings.sh_offset + offset;
    }

    std::vector<char> bytes_;
    std::vector<Elf64_Phdr> segments_;
    std::vector<Elf64_Shdr> sections_;
    std::uint16_t machine_ = EM_NONE;
    std::size_t names_ = 0; ///< the section of the sections' names
};

} // namespace vorl::test
