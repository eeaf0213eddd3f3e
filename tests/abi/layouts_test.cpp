// What programs are compiled with, and what peers were built with, does not change by accident.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <stdexcept>

#include "tests/abi/layouts.h"
#include "tests/facts/counts.h"
#include "tests/support/run.h"

namespace vorl::test {
namespace {

const char *const what_to_do =
    "\nIs the change meant? Then:\n"
    "  1. 'idlc compat OLD.idl NEW.idl' says whether it breaks deployed peers (docs/idl.md); a\n"
    "     message in use keeps its slots, new ones are appended.\n"
    "  2. A record that changed needs a new SONAME: raise the major version in CMakeLists.txt.\n"
    "  3. './dev regen' writes the committed layouts and the ABI; commit them with the "
    "change.\n"
    "Otherwise undo it.";

std::vector<layout> committed()
{
    std::vector<layout> all;
    for (const std::string &line : lines_of(content(LAYOUTS_FILE))) {
        if (!line.starts_with(' '))
            all.push_back({line.substr(0, line.find(' ')), line, {}});
        else if (!all.empty())
            all.back().slots.push_back(line);
        else
            throw std::runtime_error("a slot without a message opens " LAYOUTS_FILE);
    }
    return all;
}

/// The member that a slot's line is about.
std::string member(const std::string &line) { return line.substr(2, line.find(' ', 2) - 2); }

TEST(layouts, are_those_committed)
{
    std::map<std::string, layout> now;
    for (const layout &l : all_layouts())
        now.emplace(l.name, l);
    for (const layout &was : committed()) {
        const auto found = now.find(was.name);
        if (found == now.end()) {
            ADD_FAILURE() << was.name << " is gone" << what_to_do;
            continue;
        }
        const layout &is = found->second;
        EXPECT_EQ(is.head, was.head) << was.name << " changed" << what_to_do;
        for (std::size_t i = 0; i < std::max(was.slots.size(), is.slots.size()); ++i) {
            const std::string old_line = i < was.slots.size() ? was.slots[i] : "";
            const std::string new_line = i < is.slots.size() ? is.slots[i] : "";
            EXPECT_EQ(new_line, old_line)
                << was.name << "." << member(new_line.empty() ? old_line : new_line) << " changed"
                << what_to_do;
        }
        now.erase(found);
    }
    for (const auto &[name, l] : now)
        ADD_FAILURE() << name
                      << " is new; './dev regen' writes the committed layouts and the ABI";
}

TEST(layouts, are_committed_in_the_order_of_registration)
{
    std::vector<std::string> was;
    for (const layout &l : committed())
        was.push_back(l.name);
    std::vector<std::string> is;
    for (const layout &l : all_layouts())
        is.push_back(l.name);
    EXPECT_EQ(was.size(), counts::messages);
    for (std::size_t i = 0; i < std::min(was.size(), is.size()); ++i)
        ASSERT_EQ(is[i], was[i]) << "at place " << i << what_to_do;
}

// The file is edited by programs alone: one that was mended by hand would show here.
TEST(layouts, are_committed_with_the_digest_of_their_slots)
{
    for (const layout &was : committed()) {
        const std::string digest = hexadecimal(digest_of(was.slots));
        EXPECT_TRUE(was.head.ends_with(" digest " + digest)) << was.head << ": " << digest;
    }
}

// The algorithm's own example, and three messages by hand.
TEST(layouts, are_written_as_documented)
{
    EXPECT_EQ(fnv1a(""), 0x811C9DC5U);
    EXPECT_EQ(fnv1a("foobar"), 0xBF9CF968U);
    const auto lines = [](const char *name) {
        const layout l = layout_of(*catalogue::find_message(name));
        std::vector<std::string> all = {l.head.substr(0, l.head.find(" digest "))};
        all.insert(all.end(), l.slots.begin(), l.slots.end());
        return all;
    };
    EXPECT_EQ(lines("srv6_common_fwd_key"),
              (std::vector<std::string>{"srv6_common_fwd_key id 0xBAAF9029 record 4 frame 24",
                                        "  f0 uint32 record 0 frame 4"}));
    EXPECT_EQ(
        lines("srv6_class_item"),
        (std::vector<std::string>{"srv6_class_item id 0x178C617C record 12 frame 32",
                                  "  f0 uint32 record 0 frame 4", "  f1 uint32 record 4 frame 8",
                                  "  f2 uint8 record 8 frame 12"}));
    EXPECT_EQ(
        lines("srv6_common_fwd_update"),
        (std::vector<std::string>{"srv6_common_fwd_update id 0x7919FA9B record 16 frame 0",
                                  "  f0 uint32 record 0 frame 0",
                                  "  f1 vector<table srv6_common_fwd> record 8 count 4 frame 0"}));
}

} // namespace
} // namespace vorl::test
