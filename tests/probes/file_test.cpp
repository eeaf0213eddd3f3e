// The static probes in the library's file, as the package has it.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "tests/abi/readelf.h"
#include "tests/probes/sites.h"

namespace vorl::test {
namespace {

/// The bytes of the file that are at an address when it is loaded.
std::string bytes_at(std::uint64_t address, std::size_t count)
{
    for (const auto &line :
         readelf("--segments",
                 R"(\s+LOAD\s+0x([0-9a-f]+) 0x([0-9a-f]+) 0x[0-9a-f]+ 0x([0-9a-f]+) .*)")) {
        const std::uint64_t begin = hexadecimal_number(line[1]);
        if (memory_range{begin, begin + hexadecimal_number(line[2])}.contains(
                {address, address + count}))
            return content(LIBRARY_FILE)
                .substr(hexadecimal_number(line[0]) + address - begin, count);
    }
    throw std::runtime_error("no segment has the address");
}

TEST(probes_of_file, are_the_four_and_no_other)
{
    std::map<std::string, std::set<std::size_t>> counts;
    for (const probe_site &site : probe_sites(READELF, LIBRARY_FILE))
        counts[site.provider + ":" + site.name].insert(site.arguments.size());
    EXPECT_EQ(counts, (std::map<std::string, std::set<std::size_t>>{
                          {"vorl_srv6:bus_error", {5}},
                          {"vorl_srv6:field_refused", {5}},
                          {"vorl_srv6:no_memory", {4}},
                          {"vorl_srv6:table_refused", {5}},
                      }));
}

TEST(probes_of_file, are_each_an_instruction_that_does_nothing)
{
    const std::string nop =
        machine() == "AArch64" ? std::string("\x1F\x20\x03\xD5", 4) : std::string("\x90", 1);
    for (const probe_site &site : probe_sites(READELF, LIBRARY_FILE))
        EXPECT_EQ(bytes_at(site.location, nop.size()), nop) << site.name;
}

// A semaphore is a counter that tracers write to: memory of the process, and a symbol.
TEST(probes_of_file, have_no_semaphore)
{
    for (const probe_site &site : probe_sites(READELF, LIBRARY_FILE))
        EXPECT_EQ(site.semaphore, 0U) << site.name;
    EXPECT_THROW(section(".probes"), std::runtime_error);
    EXPECT_NO_THROW(section(".text"));
}

TEST(probes_of_file, give_and_ask_for_no_symbol)
{
    for (const symbol &s : symbols("--dyn-syms")) {
        EXPECT_EQ(s.name.find("sdt"), std::string::npos) << s.name;
        EXPECT_EQ(s.name.find("probe"), std::string::npos) << s.name;
    }
}

TEST(probes_of_file, have_arguments_in_registers_and_constants)
{
    const std::regex form(machine() == "AArch64" ? R"([48]@[wx]?\d+)"
                                                 : R"([48]@%[a-z0-9]+|[48]@\$\d+)");
    for (const probe_site &site : probe_sites(READELF, LIBRARY_FILE)) {
        for (const std::string &argument : site.arguments)
            EXPECT_TRUE(std::regex_match(argument, form)) << site.name << " " << argument;
    }
}

} // namespace
} // namespace vorl::test
