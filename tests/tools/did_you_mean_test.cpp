// The word that somebody meant.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "inspect/did_you_mean.h"

using namespace vorl;

TEST(did_you_mean, counts_edits)
{
    EXPECT_EQ(edit_distance("", ""), 0u);
    EXPECT_EQ(edit_distance("form", "form"), 0u);
    EXPECT_EQ(edit_distance("form", ""), 4u);
    EXPECT_EQ(edit_distance("", "form"), 4u);
    EXPECT_EQ(edit_distance("from", "form"), 1u); // neighbours exchanged
    EXPECT_EQ(edit_distance("forms", "form"), 1u);
    EXPECT_EQ(edit_distance("fom", "form"), 1u);
    EXPECT_EQ(edit_distance("fork", "form"), 1u);
    EXPECT_EQ(edit_distance("kitten", "sitting"), 3u);
}

TEST(did_you_mean, takes_the_first_of_the_nearest_and_nothing_far)
{
    const std::vector<std::string_view> words = {"decode", "encode", "describe", "hex"};
    EXPECT_EQ(did_you_mean("decoed", words), "decode");
    EXPECT_EQ(did_you_mean("ncode", words), "encode");
    EXPECT_EQ(did_you_mean("code", words), "");
    EXPECT_EQ(did_you_mean("he", words), "hex");
    EXPECT_EQ(did_you_mean("h", words), "");
    const std::vector<std::string_view> longer = {"fwd_key", "fwd_update", "fwd_delete",
                                                  "fwd_deleted"};
    EXPECT_EQ(did_you_mean("fwd_upd", longer), "fwd_update"); // fwd_key is nearer
    EXPECT_EQ(did_you_mean("fwd_del", longer), "fwd_key");    // two begin so
    EXPECT_EQ(did_you_mean("", words), "");
    EXPECT_EQ(did_you_mean(std::string(65, 'h'), words), "");
    EXPECT_EQ(did_you_mean_or("decoed", words, "look it up"), "did you mean decode?");
    EXPECT_EQ(did_you_mean_or("x", words, "look it up"), "look it up");
}
