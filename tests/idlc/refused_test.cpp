// Code that must not compile: each source of refused/ fails with the message that it names in its
// first line, and compiles once VORL_MAKE_IT_GOOD takes the fault away, so that it fails for
// nothing else.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/run.h"

namespace {

using namespace vorl::test;

TEST(refused, by_every_compiler_with_a_clear_message)
{
    std::size_t count = 0;
    for (const auto &entry : fs::directory_iterator(IDLC_REFUSED)) {
        const std::string source = entry.path().string();
        const std::string first = lines_of(content(source)).at(0);
        ASSERT_EQ(first.rfind("// expect: ", 0), 0U) << source;
        const std::string expected = first.substr(sizeof "// expect: " - 1);
        for (const std::string compiler : {COMPILERS_CXX}) {
            const std::string command = compiler +
                                        " " ARCHITECTURE_FLAGS
                                        " -std=c++20 -fsyntax-only -I '" PROJECT_ROOT "' '" +
                                        source + "'";
            const outcome bad = run("/", command);
            EXPECT_NE(bad.status, 0) << source;
            EXPECT_TRUE(bad.err.find(expected) != std::string::npos) << bad.err;
            const outcome good = run("/", command + " -DVORL_MAKE_IT_GOOD");
            EXPECT_EQ(good.status, 0) << good.err;
        }
        ++count;
    }
    EXPECT_EQ(count, 2U);
}

} // namespace
