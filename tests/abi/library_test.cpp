// What libvorl_srv6.so gives to and asks of the process that loads it.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>

#include "tests/abi/readelf.h"
#include "tests/facts/counts.h"
#include "tests/support/exports.h"

namespace vorl::test {
namespace {

using names = std::vector<std::string>;

/// Names of undefined symbols, those of one binding.
std::set<std::string> undefined(const std::string &binding)
{
    std::set<std::string> found;
    for (const symbol &s : symbols("--dyn-syms")) {
        if (s.section == "UND" && s.binding == binding)
            found.insert(s.name);
    }
    return found;
}

/// The symbols that the library gives. The name of the version that all of them carry is none.
std::vector<symbol> defined()
{
    std::vector<symbol> found = symbols("--dyn-syms");
    std::erase_if(found, [](const symbol &s) { return s.section == "UND" || s.section == "ABS"; });
    return found;
}

TEST(library, exports_what_the_committed_list_names_and_nothing_else)
{
    const names listed = listed_exports(EXPORTS_FILE);
    EXPECT_EQ(listed.size(), counts::exports);
    const auto unsorted = std::adjacent_find(listed.begin(), listed.end(), std::greater_equal<>());
    if (unsorted != listed.end())
        ADD_FAILURE() << "tests/abi/exports.txt has " << *std::next(unsorted) << " behind "
                      << *unsorted << "; " << sort_exports;

    std::set<std::string> exported;
    for (const symbol &s : defined()) {
        EXPECT_EQ(s.type, "FUNC") << s.name;
        EXPECT_EQ(s.binding, "GLOBAL") << s.name;
        exported.insert(s.name);
    }
    EXPECT_EQ(exported.size(), counts::exports);
    expect_listed(listed, exported);
}

TEST(library, gives_every_function_an_address_of_its_own)
{
    std::map<std::uint64_t, std::string> at;
    for (const symbol &s : defined()) {
        const auto [other, is_new] = at.emplace(s.value, s.name);
        EXPECT_TRUE(is_new) << s.name << " and " << other->second;
    }
}

TEST(library, needs_the_bus_and_the_system_library_alone)
{
    names needed = dynamic_values("NEEDED");
    std::sort(needed.begin(), needed.end());
    EXPECT_EQ(needed, (names{"Shared library: [libc.so.6]", "Shared library: [libkavrovorl.so]"}));
    EXPECT_EQ(dynamic_values("SONAME"), names{"Library soname: [libvorl_srv6.so.1]"});
}

TEST(library, asks_for_the_four_functions_of_the_bus)
{
    std::set<std::string> of_bus;
    for (const std::string &name : undefined("GLOBAL")) {
        if (name.starts_with("VORL_"))
            of_bus.insert(name);
    }
    EXPECT_EQ(of_bus,
              (std::set<std::string>{"VORL_RegIDLFuncHook", "VORL_RegIDLResorceCleanFuncHook",
                                     "VORL_SendMsg", "VORL_SendToMsg"}));
}

TEST(library, asks_for_little_of_the_system_library)
{
    const std::set<std::string> known = {"dlsym",
                                         "malloc",
                                         "free",
                                         "memcpy",
                                         "__memcpy_chk", // of _FORTIFY_SOURCE
                                         "memset",
                                         "pthread_mutex_lock",
                                         "pthread_mutex_unlock"};
    for (const std::string &name : undefined("GLOBAL")) {
        if (!name.starts_with("VORL_")) {
            EXPECT_EQ(known.count(name), 1u) << name;
        }
    }
}

TEST(library, takes_bounded_copies_where_the_process_has_them)
{
    const std::set<std::string> weak = undefined("WEAK");
    EXPECT_EQ(weak.count("memset_s"), 1u);
    EXPECT_EQ(weak.count("memcpy_s"), 1u);
    EXPECT_EQ(undefined("GLOBAL").count("memset_s"), 0u);
    EXPECT_EQ(undefined("GLOBAL").count("memcpy_s"), 0u);
}

TEST(library, is_not_linked_to_the_services)
{
    for (const symbol &s : symbols("--dyn-syms"))
        EXPECT_FALSE(s.name.starts_with("ZDT_")) << s.name;
}

TEST(library, clears_six_flags_as_it_is_loaded)
{
    const std::set<std::uint64_t> called = constructors();
    std::set<std::uint64_t> clearing;
    for (const symbol &s : symbols("--syms")) {
        if (s.name.find("clear_byte_swap_flag") == std::string::npos)
            continue;
        EXPECT_EQ(called.count(s.value), 1u) << s.name;
        clearing.insert(s.value);
    }
    EXPECT_EQ(clearing.size(), 6u);
}

// As packages strip it, and with all that could be taken away beside.
TEST(library, says_its_version_when_it_is_stripped)
{
    const scratch_directory room;
    const fs::path stripped = room.path() / "renamed.so";
    for (const std::string options :
         {"--strip-unneeded --remove-section=.comment --remove-section=.note", "--strip-all"}) {
        SCOPED_TRACE(options);
        const outcome stripping = run(room.path(), "'" STRIP "' " + options + " -o '" +
                                                       stripped.string() + "' '" LIBRARY_FILE "'");
        ASSERT_EQ(stripping.status, 0) << stripping.err;
        const std::string file = content(stripped);
        ASSERT_LT(file.size(), fs::file_size(LIBRARY_FILE));
        const std::string name = "libvorl_srv6 ";
        const std::size_t at = file.find(name);
        ASSERT_NE(at, std::string::npos);
        EXPECT_EQ(file.find(name, at + 1), std::string::npos) << "it is there twice";
        const std::string text = file.substr(at, file.find('\0', at) - at);
        EXPECT_TRUE(std::regex_match(text, std::regex(R"(libvorl_srv6 1\.\d+\.\d+)"))) << text;
        EXPECT_EQ(text, "libvorl_srv6 " VERSION);
        // A text of its own: what strings prints is a line.
        EXPECT_EQ(file[at - 1], '\0');
    }
}

} // namespace
} // namespace vorl::test
