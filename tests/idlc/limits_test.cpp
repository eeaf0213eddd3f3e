// How many slots a message may have, and how deep messages may nest.
#include <gtest/gtest.h>

#include <string>

#include "tests/idlc/refusal.h"

namespace {

using namespace vorl::test;

std::string with_slots(std::size_t count, const std::string &type)
{
    std::string text = "package srv6;\nmessage srv6_a {\n";
    for (std::size_t i = 0; i < count; ++i)
        text += type + " f" + std::to_string(i) + ";\n";
    return text + "}\n";
}

TEST(idlc_refuses, more_slots_than_compilers_take)
{
    expect_refusal_of(with_slots(257, "uint8"), {"259:1: 'srv6_a' has more than 256 slots; nest"});
    expect_refusal_of(with_slots(40000, "uint8"), {"259:1: 'srv6_a' has more than 256 slots"});
    // Slot 16383 lies at 4 + 4 * 16383, which is 65536.
    expect_refusal_of(
        with_slots(16384, "uint32"),
        {"16386:1: slot 'f16383' of 'srv6_a' would lie at offset 65536, past the 16"});
    // The same where a vector makes the message one of variable size: 8 bytes a slot.
    expect_refusal_of(with_slots(8193, "vector<uint8>"),
                      {"8195:1: slot 'f8192' of 'srv6_a' would lie at offset 65540, past the 16"});
}

enum class links { to_next, to_previous };

// `count` messages, each of which holds the next, or the one before.
std::string chain(std::size_t count, links to, const std::string &innermost)
{
    std::string text = "package srv6;\n";
    for (std::size_t i = 0; i < count; ++i) {
        const bool is_last = to == links::to_next ? i + 1 == count : i == 0;
        const std::size_t held = to == links::to_next ? i + 1 : i - 1;
        text += "message srv6_m" + std::to_string(i) + " { " +
                (is_last ? innermost : "table srv6_m" + std::to_string(held)) + " f0; }\n";
    }
    return text;
}

TEST(idlc_refuses, nesting_without_end)
{
    const std::string said = "messages nest deeper than 32 levels here; hold fewer";
    for (const std::size_t count : {33U, 100000U}) {
        for (const char *innermost : {"uint8", "vector<uint8>"}) {
            expect_refusal_of(chain(count, links::to_next, innermost), {"33:26: " + said});
            expect_refusal_of(chain(count, links::to_previous, innermost), {"34:26: " + said});
        }
    }
    // A cycle longer than the limit is first of all too deep.
    expect_refusal_of(chain(100000, links::to_next, "table srv6_m0"), {"33:26: " + said});
    expect_refusal_of(chain(32, links::to_next, "table srv6_m0"),
                      {"33:26: forward cycle: srv6_m0 -> srv6_m1 -> "});
}

TEST(idlc_accepts, the_most_slots_and_the_deepest_nesting)
{
    for (const std::string &text :
         {with_slots(256, "uint8"), with_slots(200, "array<uint8, 100>"),
          chain(32, links::to_next, "vector<uint8>"),
          chain(32, links::to_previous, "vector<uint8>"), chain(32, links::to_next, "uint8")}) {
        const scratch_directory scratch;
        write(scratch.path() / "srv6.idl", text);
        const outcome o = run(scratch.path(), idlc + " srv6.idl");
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_EQ(o.err, "");
        for (const std::string compiler : {COMPILERS_CXX}) {
            const outcome c =
                run(scratch.path(), compiler + " -std=c++20 " ARCHITECTURE_FLAGS
                                               " -fsyntax-only -I '" PROJECT_ROOT "' srv6.cpp");
            EXPECT_EQ(c.status, 0) << compiler << ": " << c.err.substr(0, 2000);
        }
    }
}

} // namespace
