// idlc compat: one line a difference, with its place, whether it breaks a deployed peer, and its
// aspect; exit status 1 if any does.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/run.h"

namespace {

using namespace vorl::test;

const std::string idlc = "'" IDLC_PROGRAM "'";

struct version_pair {
    std::string name;
    std::string before; ///< the messages of package t, one a line from line 2 on
    std::string after;
    std::string said; ///< lines; "new" and "old" stand for the files
    int status;
};

void PrintTo(const version_pair &pair, std::ostream *out) { *out << pair.name; }

class compat : public testing::TestWithParam<version_pair> {};

TEST_P(compat, says_what_changed)
{
    const scratch_directory scratch;
    write(scratch.path() / "old.idl", "package t;\n" + GetParam().before);
    write(scratch.path() / "new.idl", "package t;\n" + GetParam().after);
    const outcome o = run(scratch.path(), idlc + " compat old.idl new.idl");
    EXPECT_EQ(o.out, GetParam().said);
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(o.status, GetParam().status);
}

// The identifiers are the FNV-1a hashes of t.a, t.b, t.u_a and t_u.a.
const std::string compiled_anew = "; programs must be compiled anew\n";
const std::string follow = "; readers follow its offsets\n";

const version_pair pairs[] = {
    {"nothing", "message t_a { uint32 f0; }\n", "message t_a { uint32 f0; }\n", "", 0},
    {"comments_and_log_texts",
     "message t_a { uint32 f0; }\nmessage t_b { vector<table t_a> f0; }\n",
     "message t_a { uint32 f0; ///< now with a comment\n}\n"
     "message t_b { vector<table t_a> f0 [malloc_text = \"none of %u\"]; }\n",
     "", 0},

    {"slot_of_another_width", "message t_a { uint32 f0; }\n", "message t_a { uint16 f0; }\n",
     "new.idl:2:15: breaks: wire: slot f0 of 't_a' is uint16, was uint32; append a slot of the new "
     "type instead\n"
     "new.idl:2:9: keeps: record: the record of 't_a' has 2 bytes, had 4 bytes" +
         compiled_anew,
     1},
    {"slot_of_another_count", "message t_a { array<uint8, 4> f0; }\n",
     "message t_a { array<uint8, 8> f0; }\n",
     "new.idl:2:15: breaks: wire: slot f0 of 't_a' is array<uint8, 8>, was array<uint8, 4>; append "
     "a slot of the new type instead\n"
     "new.idl:2:9: keeps: record: the record of 't_a' has 8 bytes, had 4 bytes" +
         compiled_anew,
     1},
    {"slot_of_another_kind_in_the_same_bytes", "message t_a { array<uint32, 1> f0; }\n",
     "message t_a { uint32 f0; }\n",
     "new.idl:2:15: breaks: wire: slot f0 of 't_a' is uint32, was array<uint32, 1>; append a slot "
     "of the new type instead\n"
     "new.idl:2:15: keeps: record: member f0 of 't_a' is uint32 at byte 0, was array<uint32, 1> at "
     "byte 0" +
         compiled_anew +
         "new.idl:2:9: keeps: frame: the frame of 't_a' has 24 bytes, had 32 bytes" + follow,
     1},

    {"slot_appended", "message t_a { uint32 f0; }\n", "message t_a { uint32 f0; uint64 f1; }\n",
     "new.idl:2:26: keeps: wire: slot f1 of 't_a' is appended, uint64; deployed peers pass over "
     "it, and what they send reads as zero\n"
     "new.idl:2:9: keeps: record: the record of 't_a' has 16 bytes, had 4 bytes" +
         compiled_anew +
         "new.idl:2:9: keeps: frame: the frame of 't_a' has 32 bytes, had 24 bytes" + follow,
     0},
    {"slot_appended_of_the_same_type", "message t_a { uint32 f0; }\n",
     "message t_a { uint32 f0; uint32 f1; }\n",
     "new.idl:2:26: keeps: wire: slot f1 of 't_a' is appended, uint32; deployed peers pass over "
     "it, and what they send reads as zero\n"
     "new.idl:2:9: keeps: record: the record of 't_a' has 8 bytes, had 4 bytes" +
         compiled_anew,
     0},
    {"slot_appended_into_padding", "message t_a { uint64 f0; uint8 f1; uint8 f2; }\n",
     "message t_a { uint64 f0; uint8 f1; uint8 f2; uint8 f3; }\n",
     "new.idl:2:46: keeps: wire: slot f3 of 't_a' is appended, uint8; deployed peers pass over "
     "it, and what they send reads as zero\n"
     "new.idl:2:9: keeps: record: the record of 't_a' has other members in the same 16 bytes" +
         compiled_anew,
     0},
    {"vector_appended", "message t_a { uint32 f0; }\n",
     "message t_a { uint32 f0; vector<uint8> f1; }\n",
     "new.idl:2:26: keeps: wire: slot f1 of 't_a' is appended, vector<uint8>; deployed peers pass "
     "over it, and what they send reads as zero\n"
     "new.idl:2:9: keeps: record: the record of 't_a' has 16 bytes, had 4 bytes" +
         compiled_anew +
         "new.idl:2:9: keeps: frame: 't_a' is no longer of fixed size: sent packed, where its "
         "frame "
         "had 24 bytes\n",
     0},
    {"vector_made_an_array", "message t_a { vector<uint8> f0; }\n",
     "message t_a { array<uint8, 16> f0; }\n",
     "new.idl:2:15: breaks: wire: slot f0 of 't_a' is array<uint8, 16>, was vector<uint8>; append "
     "a slot of the new type instead\n"
     "new.idl:2:15: keeps: record: member f0 of 't_a' is array<uint8, 16> at byte 0, was "
     "vector<uint8> at byte 8" +
         compiled_anew +
         "new.idl:2:9: keeps: frame: 't_a' is of fixed size now: sent as a frame of 40 bytes, was "
         "sent packed\n",
     1},
    {"slot_inserted", "message t_a { uint32 f0; uint8 f1; }\n",
     "message t_a { uint32 f0; uint64 f1; uint8 f2; }\n",
     "new.idl:2:26: breaks: wire: 1 slot inserted as f1 of 't_a': deployed peers read those behind "
     "by their old numbers; append instead\n"
     "new.idl:2:9: keeps: record: the record of 't_a' has 24 bytes, had 8 bytes" +
         compiled_anew +
         "new.idl:2:9: keeps: frame: the frame of 't_a' has 40 bytes, had 24 bytes" + follow,
     1},
    {"slots_removed_from_within", "message t_a { uint32 f0; uint8 f1; uint8 f2; uint64 f3; }\n",
     "message t_a { uint32 f0; uint64 f1; }\n",
     "old.idl:2:26: breaks: wire: 2 slots removed from f1 of 't_a': deployed peers read those "
     "behind by their old numbers; leave the slot\n"
     "new.idl:2:26: keeps: record: member f1 of 't_a' is uint64 at byte 8, was uint8 at byte 4" +
         compiled_anew +
         "new.idl:2:9: keeps: frame: the frame of 't_a' has 32 bytes, had 40 bytes" + follow,
     1},
    {"slot_removed_at_the_end", "message t_a { uint32 f0; uint8 f1; }\n",
     "message t_a { uint32 f0; }\n",
     "old.idl:2:26: breaks: wire: slot f1 of 't_a' is removed, uint8; deployed peers read it as "
     "zero; leave the slot\n"
     "new.idl:2:9: keeps: record: the record of 't_a' has 4 bytes, had 8 bytes" +
         compiled_anew,
     1},
    {"slots_swapped", "message t_a { uint32 f0; uint8 f1; }\n",
     "message t_a { uint8 f0; uint32 f1; }\n",
     "new.idl:2:15: breaks: wire: slot f0 of 't_a' is uint8, was uint32; append a slot of the new "
     "type instead\n"
     "new.idl:2:25: breaks: wire: slot f1 of 't_a' is uint32, was uint8; append a slot of the new "
     "type instead\n"
     "new.idl:2:15: keeps: record: member f0 of 't_a' is uint8 at byte 0, was uint32 at byte 0" +
         compiled_anew +
         "new.idl:2:25: keeps: frame: slot f1 of 't_a' lies at byte 5 of its table in the frame, "
         "lay at 8" +
         follow,
     1},
    // Who holds the message says what becomes of its own record and frame.
    {"slot_appended_to_what_another_holds",
     "message t_a { uint8 f0; }\nmessage t_b { table t_a f0; uint8 f1; }\n",
     "message t_a { uint8 f0; uint64 f1; }\nmessage t_b { table t_a f0; uint8 f1; }\n",
     "new.idl:2:25: keeps: wire: slot f1 of 't_a' is appended, uint64; deployed peers pass over "
     "it, and what they send reads as zero\n"
     "new.idl:2:9: keeps: record: the record of 't_a' has 16 bytes, had 1 byte" +
         compiled_anew +
         "new.idl:2:9: keeps: frame: the frame of 't_a' has 32 bytes, had 24 bytes" + follow +
         "new.idl:3:9: keeps: record: the record of 't_b' has 24 bytes, had 2 bytes" +
         compiled_anew +
         "new.idl:3:9: keeps: frame: the frame of 't_b' has 56 bytes, had 48 bytes" + follow,
     0},

    {"message_renamed", "message t_a { uint32 f0; uint8 f1; }\nmessage t_c { table t_a f0; }\n",
     "message t_b { uint32 f0; uint8 f1; }\nmessage t_c { table t_b f0; }\n",
     "new.idl:2:9: breaks: identifier: message 't_a' is renamed to 't_b': 0xBB73D822 becomes "
     "0xBA73D68F, which deployed peers refuse\n",
     1},
    {"message_removed", "message t_a { uint32 f0; }\nmessage t_b { uint8 f0; }\n",
     "message t_a { uint32 f0; }\n",
     "old.idl:3:9: breaks: identifier: message 't_b' is removed: 0xBA73D68F, which deployed peers "
     "still send\n",
     1},
    {"message_added_at_the_end", "message t_a { uint32 f0; }\n",
     "message t_a { uint32 f0; }\nmessage t_b { uint8 f0; }\n",
     "new.idl:3:9: keeps: identifier: message 't_b' is new, 0xBA73D68F; deployed peers do not know "
     "it\n",
     0},
    {"message_added_before_others", "message t_a { uint32 f0; }\n",
     "message t_b { uint8 f0; }\nmessage t_a { uint32 f0; }\n",
     "new.idl:2:9: keeps: identifier: message 't_b' is new, 0xBA73D68F; deployed peers do not know "
     "it\n"
     "new.idl:2:9: keeps: order: message 't_b' is registered before 't_a'; new messages stand at "
     "the end\n",
     0},
    {"messages_in_another_order",
     "message t_a { uint32 f0; }\nmessage t_b { uint8 f0; }\nmessage t_c { uint16 f0; }\n",
     "message t_a { uint32 f0; }\nmessage t_c { uint16 f0; }\nmessage t_b { uint8 f0; }\n",
     "new.idl:3:9: keeps: order: message 't_c' is registered before 't_b', was after it; the bus "
     "goes by identifier\n",
     0},
};

INSTANTIATE_TEST_SUITE_P(all, compat, testing::ValuesIn(pairs),
                         [](const auto &tested) { return tested.param.name; });

TEST(compat_call, takes_directories_with_descriptions_at_any_depth)
{
    const scratch_directory scratch;
    for (const std::string version : {"was", "is"}) {
        fs::create_directories(scratch.path() / version / "t");
        fs::create_directories(scratch.path() / version / "deep" / "u");
        write(scratch.path() / version / "t" / "t.idl", "package t;\nmessage t_a { uint8 f0; }\n");
        write(scratch.path() / version / "t" / "t.h", "not a description");
    }
    write(scratch.path() / "was/deep/u/u.idl", "package u;\nmessage u_a { uint8 f0; }\n");
    write(scratch.path() / "is/deep/u/u.idl", "package u;\nmessage u_a { uint64 f0; }\n");
    const outcome o = run(scratch.path(), idlc + " compat was is");
    EXPECT_EQ(lines_of(o.out).size(), 2U) << o.out;
    EXPECT_EQ(o.out.rfind("is/deep/u/u.idl:2:15: breaks: wire: slot f0 of 'u_a' ", 0), 0U) << o.out;
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(run(scratch.path(), idlc + " compat was was").status, 0);
}

// The name is the same, the hashed one is not: "t.u_a" and "t_u.a".
TEST(compat_call, sees_a_message_move_to_another_package)
{
    const scratch_directory scratch;
    for (const std::string version : {"was", "is"})
        fs::create_directory(scratch.path() / version);
    write(scratch.path() / "was/t.idl", "package t;\nmessage t_u_a { uint8 f0; }\n");
    write(scratch.path() / "is/t_u.idl", "package t_u;\nmessage t_u_a { uint8 f0; }\n");
    const outcome o = run(scratch.path(), idlc + " compat was is");
    EXPECT_EQ(o.out, "is/t_u.idl:2:9: breaks: identifier: message 't_u_a' moves to package 't_u': "
                     "0xDB8EEF6E becomes 0xB9801DD2, which deployed peers refuse\n");
    EXPECT_EQ(o.status, 1);
}

TEST(compat_call, compares_the_committed_descriptions_with_themselves)
{
    const std::string descriptions = "'" PROJECT_ROOT "/idl'";
    const outcome o = run(PROJECT_ROOT, idlc + " compat " + descriptions + " " + descriptions);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(o.status, 0);
}

TEST(compat_call, of_wrong_arguments_is_refused)
{
    const scratch_directory scratch;
    for (const std::string arguments : {"", " a.idl", " a.idl b.idl c.idl"}) {
        const outcome o = run(scratch.path(), idlc + " compat" + arguments);
        EXPECT_EQ(o.status, 2) << arguments;
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err,
                  "idlc compat: two versions are compared; name the old one and the new one\n"
                  "'idlc compat --help' tells how it is called\n");
    }
}

TEST(compat_call, of_what_cannot_be_compared_says_why)
{
    const scratch_directory scratch;
    write(scratch.path() / "good.idl", "package t;\nmessage t_a { uint8 f0; }\n");
    write(scratch.path() / "faulty.idl", "package t;\nmessage t_a { uint9 f0; }\n");
    fs::create_directory(scratch.path() / "empty");
    const auto refused = [&scratch](const std::string &arguments, const std::string &said) {
        const outcome o = run(scratch.path(), idlc + " compat " + arguments);
        EXPECT_EQ(o.status, 2) << arguments;
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err.rfind(said, 0), 0U) << o.err;
    };
    refused("good.idl faulty.idl", "faulty.idl:2:15: error: unknown type 'uint9'");
    refused("faulty.idl good.idl", "faulty.idl:2:15: error: unknown type 'uint9'");
    refused("good.idl gone.idl", "gone.idl: error: cannot be read, No such file or directory; ");
    refused("empty good.idl", "empty: error: holds no description; ");
}

} // namespace
