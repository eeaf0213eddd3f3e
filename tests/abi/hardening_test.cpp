// How libvorl_srv6.so is protected, read from the file as shipped.
#include <gtest/gtest.h>

#include <map>

#include "tests/abi/readelf.h"

namespace vorl::test {
namespace {

using texts = std::vector<std::string>;

TEST(hardening, makes_relocated_data_read_only_and_binds_at_load_time)
{
    EXPECT_EQ(dynamic_values("FLAGS"), texts{"BIND_NOW"});
    EXPECT_EQ(dynamic_values("FLAGS_1"), texts{"Flags: NOW NODELETE"});

    // With both, what the dynamic linker fills in lies in the part that becomes read-only.
    const std::vector<segment> read_only = segments("GNU_RELRO");
    ASSERT_EQ(read_only.size(), 1U);
    for (const std::string name : {".got", ".init_array", ".dynamic"})
        EXPECT_TRUE(read_only[0].memory.contains(section(name))) << name;
}

TEST(hardening, has_no_executable_stack)
{
    ASSERT_EQ(segments("GNU_STACK").size(), 1U);
    EXPECT_EQ(segments("GNU_STACK")[0].flags, "RW");
}

TEST(hardening, has_no_memory_both_writable_and_executable)
{
    const std::vector<segment> loaded = segments("LOAD");
    EXPECT_GE(loaded.size(), 2U);
    for (const segment &part : loaded)
        EXPECT_FALSE(part.flags.find('W') != std::string::npos &&
                     part.flags.find('E') != std::string::npos)
            << part.flags;
}

TEST(hardening, relocates_no_code)
{
    EXPECT_EQ(dynamic_values("TEXTREL"), texts{});
    for (const std::string &flags : dynamic_values("FLAGS"))
        EXPECT_EQ(flags.find("TEXTREL"), std::string::npos) << flags;
}

TEST(hardening, runs_the_six_flag_constructors_and_nothing_else_at_load_and_unload)
{
    EXPECT_EQ(dynamic_values("INIT_ARRAYSZ"), texts{"48 (bytes)"});
    EXPECT_EQ(constructors().size(), 6U);
    for (const char *tag : {"INIT", "FINI", "FINI_ARRAY", "PREINIT_ARRAY"})
        EXPECT_EQ(dynamic_values(tag), texts{}) << tag;
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
    // Three packages, three sources of api/, five of serial/plain/, two of runtime/.
    ASSERT_EQ(commands.size(), 3U + 3 + 5 + 2);
    for (const auto &[source, command] : commands)
        EXPECT_NE(command.find(" -D_FORTIFY_SOURCE=2 "), std::string::npos) << command;
    EXPECT_NE(commands["serial_ctx.cpp\","].find(" -fstack-protector-strong "), std::string::npos);
}

TEST(hardening, branches_are_protected_where_the_machine_can)
{
    if (machine() == "AArch64") {
        const auto properties = readelf("--notes", R"(.*\sProperties: AArch64 feature: (.*))");
        ASSERT_EQ(properties.size(), 1U);
        EXPECT_EQ(properties[0], texts{"BTI, PAC"});
    } else {
        EXPECT_EQ(machine(), "Advanced Micro Devices X86-64");
    }
}

} // namespace
} // namespace vorl::test
