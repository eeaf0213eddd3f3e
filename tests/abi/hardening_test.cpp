// How libvorl_srv6.so is protected, read from the file as shipped.
#include <gtest/gtest.h>

#include <map>

#include "tests/abi/elf_file.h"

namespace vorl::test {
namespace {

const elf_file &library()
{
    static const elf_file file(LIBRARY_FILE);
    return file;
}

std::vector<Elf64_Phdr> segments(std::uint32_t type)
{
    std::vector<Elf64_Phdr> found;
    for (const Elf64_Phdr &segment : library().segments()) {
        if (segment.p_type == type)
            found.push_back(segment);
    }
    return found;
}

TEST(hardening, makes_relocated_data_read_only_and_binds_at_load_time)
{
    ASSERT_EQ(segments(PT_GNU_RELRO).size(), 1U);
    const std::vector<std::uint64_t> flags = library().dynamic_values(DT_FLAGS);
    ASSERT_EQ(flags.size(), 1U);
    EXPECT_EQ(flags[0] & DF_BIND_NOW, std::uint64_t{DF_BIND_NOW});
    const std::vector<std::uint64_t> flags_1 = library().dynamic_values(DT_FLAGS_1);
    ASSERT_EQ(flags_1.size(), 1U);
    EXPECT_EQ(flags_1[0] & DF_1_NOW, std::uint64_t{DF_1_NOW});

    // With both, what the dynamic linker fills in lies in the part that becomes read-only.
    const Elf64_Phdr read_only = segments(PT_GNU_RELRO)[0];
    for (const std::string name : {".got", ".init_array", ".dynamic"}) {
        const Elf64_Shdr section = library().section(name);
        EXPECT_GE(section.sh_addr, read_only.p_vaddr) << name;
        EXPECT_LE(section.sh_addr + section.sh_size, read_only.p_vaddr + read_only.p_memsz) << name;
    }
}

TEST(hardening, has_no_executable_stack)
{
    ASSERT_EQ(segments(PT_GNU_STACK).size(), 1U);
    EXPECT_EQ(segments(PT_GNU_STACK)[0].p_flags, std::uint32_t{PF_R | PF_W});
}

TEST(hardening, has_no_memory_both_writable_and_executable)
{
    const std::vector<Elf64_Phdr> loaded = segments(PT_LOAD);
    EXPECT_GE(loaded.size(), 2U);
    for (const Elf64_Phdr &segment : loaded)
        EXPECT_NE(segment.p_flags & (PF_W | PF_X), std::uint32_t{PF_W | PF_X});
}

TEST(hardening, relocates_no_code)
{
    EXPECT_TRUE(library().dynamic_values(DT_TEXTREL).empty());
    for (const std::uint64_t flags : library().dynamic_values(DT_FLAGS))
        EXPECT_EQ(flags & DF_TEXTREL, 0U);
}

TEST(hardening, runs_the_six_flag_constructors_and_nothing_else_at_load_and_unload)
{
    EXPECT_EQ(library().dynamic_values(DT_INIT_ARRAYSZ), std::vector<std::uint64_t>{48});
    EXPECT_EQ(library().constructors().size(), 6U);
    for (const std::int64_t tag : {DT_INIT, DT_FINI, DT_FINI_ARRAY, DT_PREINIT_ARRAY})
        EXPECT_TRUE(library().dynamic_values(tag).empty()) << tag;
}

// The runtime is compiled with a stack protector; serial/ and api/ are not, where it would cost
// every send six instructions. What else both are compiled with leaves no trace where it
// finds nothing to check, so it is read from the compiler's calls.
TEST(hardening, is_compiled_with_checks)
{
    std::ifstream file(COMMANDS_FILE);
    std::map<std::string, std::string> commands;
    for (std::string line; std::getline(file, line);) {
        const bool of_library = line.find("vorl_objects.dir") != std::string::npos ||
                                line.find("vorl_api.dir") != std::string::npos ||
                                line.find("vorl_runtime.dir") != std::string::npos;
        if (of_library && line.find("\"command\"") != std::string::npos)
            commands[line.substr(line.rfind('/') + 1)] = line;
    }
    // Three packages, three sources of api/, five of serial/plain/, the runtime.
    ASSERT_EQ(commands.size(), 3U + 3 + 5 + 1);
    for (const auto &[source, command] : commands)
        EXPECT_NE(command.find(" -D_FORTIFY_SOURCE=2 "), std::string::npos) << command;
    EXPECT_NE(commands["serial_ctx.cpp\","].find(" -fstack-protector-strong "), std::string::npos);
}

TEST(hardening, branches_are_protected_where_the_machine_can)
{
    const std::string mark = ".note.gnu.property";
    if (library().machine() != EM_AARCH64) {
        EXPECT_EQ(library().machine(), EM_X86_64);
        return;
    }
    // Owner's name, then one property: its type, its size, and the bits for BTI and PAC.
    const std::vector<std::uint32_t> words = library().words(library().section(mark));
    ASSERT_GE(words.size(), 7U);
    EXPECT_EQ(words[2], std::uint32_t{NT_GNU_PROPERTY_TYPE_0});
    EXPECT_EQ(words[4], 0xC0000000U);
    EXPECT_EQ(words[5], 4U);
    EXPECT_EQ(words[6] & 3, 3U);
}

} // namespace
} // namespace vorl::test
