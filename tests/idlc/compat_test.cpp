// idlc compat: of each change its place, whom it breaks, its rule, what both peers see and what to do;
// exit status 1 if one is a break.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "idlc/compat.h"
#include "tests/idlc/changes.h"
#include "tests/support/run.h"

namespace {

using namespace vorl::test;

const std::string idlc = "'" IDLC_PROGRAM "'";

struct version_pair {
    std::string name;
    std::string before; ///< the messages of package t, one a line from line 2 on
    std::string after;
    std::vector<std::string> said; ///< first lines; "new" and "old" stand for the files
    int status;                    ///< by --strict wire
    int status_by_api;
    int status_by_all;
};

void PrintTo(const version_pair &pair, std::ostream *out) { *out << pair.name; }

class compat : public testing::TestWithParam<version_pair> {};

TEST_P(compat, says_what_changed)
{
    const scratch_directory scratch;
    write(scratch.path() / "old.idl", "package t;\n" + GetParam().before);
    write(scratch.path() / "new.idl", "package t;\n" + GetParam().after);
    const outcome o = run(scratch.path(), idlc + " compat old.idl new.idl");
    EXPECT_EQ(changes_of(o.out), GetParam().said);
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(o.status, GetParam().status);
    for (const auto &[strict, status] :
         {std::pair("wire", GetParam().status), std::pair("api", GetParam().status_by_api),
          std::pair("all", GetParam().status_by_all)}) {
        const outcome by =
            run(scratch.path(), idlc + " compat --strict=" + strict + " old.idl new.idl");
        EXPECT_EQ(by.out, o.out);
        EXPECT_EQ(by.status, status) << strict;
    }
}

// The identifiers are the FNV-1a hashes of t.a, t.b, t.u_a and t_u.a.
const version_pair pairs[] = {
    {"nothing", "message t_a { uint32 f0; }\n", "message t_a { uint32 f0; }\n", {}, 0, 0, 0},
    {"comments",
     "message t_a { uint32 f0; }\n",
     "message t_a { uint32 f0; ///< now with one\n}\n",
     {},
     0,
     0,
     0},
    {"log_text",
     "message t_a { uint32 f0; }\nmessage t_b { vector<table t_a> f0; }\n",
     "message t_a { uint32 f0; }\nmessage t_b { vector<table t_a> f0 [malloc_text = \"none of "
     "%u\"]; }\n",
     {"new.idl:3:15: keeps: log-text-changed: slot f0 of 't_b' has another text for the log"},
     0,
     0,
     1},
    {"slot_of_another_width",
     "message t_a { uint32 f0; }\n",
     "message t_a { uint16 f0; }\n",
     {"new.idl:2:15: breaks wire: slot-type-changed: slot f0 of 't_a' is uint16, was uint32",
      "new.idl:2:9: breaks api: record-changed: the record of 't_a' has 2 bytes, had 4"},
     1,
     1,
     1},
    {"slot_of_another_count",
     "message t_a { array<uint8, 4> f0; }\n",
     "message t_a { array<uint8, 8> f0; }\n",
     {"new.idl:2:15: breaks wire: slot-type-changed: slot f0 of 't_a' is array<uint8, 8>, was "
      "array<uint8, 4>",
      "new.idl:2:9: breaks api: record-changed: the record of 't_a' has 8 bytes, had 4"},
     1,
     1,
     1},
    {"slot_of_another_kind_in_the_same_bytes",
     "message t_a { array<uint32, 1> f0; }\n",
     "message t_a { uint32 f0; }\n",
     {"new.idl:2:15: breaks wire: slot-type-changed: slot f0 of 't_a' is uint32, was array<uint32, "
      "1>",
      "new.idl:2:9: breaks api: record-changed: the record of 't_a' has other members in the same "
      "4 bytes",
      "new.idl:2:9: keeps: frame-changed: the frame of 't_a' has 24 bytes, had 32"},
     1,
     1,
     1},
    {"slot_appended",
     "message t_a { uint32 f0; }\n",
     "message t_a { uint32 f0; uint64 f1; }\n",
     {"new.idl:2:26: keeps: slot-appended: slot f1 of 't_a' is appended, uint64",
      "new.idl:2:9: breaks api: record-grown: the record of 't_a' has 16 bytes, had 4",
      "new.idl:2:9: keeps: frame-changed: the frame of 't_a' has 32 bytes, had 24"},
     0,
     1,
     1},
    {"slot_appended_into_padding",
     "message t_a { uint64 f0; uint8 f1; uint8 f2; }\n",
     "message t_a { uint64 f0; uint8 f1; uint8 f2; uint8 f3; }\n",
     {"new.idl:2:46: keeps: slot-appended: slot f3 of 't_a' is appended, uint8",
      "new.idl:2:9: breaks api: record-changed: the record of 't_a' has other members in the same "
      "16 bytes"},
     0,
     1,
     1},
    {"vector_appended",
     "message t_a { uint32 f0; }\n",
     "message t_a { uint32 f0; vector<uint8> f1; }\n",
     {"new.idl:2:26: keeps: slot-appended: slot f1 of 't_a' is appended, vector<uint8>",
      "new.idl:2:9: breaks api: record-grown: the record of 't_a' has 16 bytes, had 4",
      "new.idl:2:9: breaks api: record-owns-memory: an unpacked record of 't_a' owns memory, and "
      "did not",
      "new.idl:2:9: keeps: frame-changed: 't_a' is sent packed, was a frame of 24 bytes"},
     0,
     1,
     1},
    {"vector_made_an_array",
     "message t_a { vector<uint8> f0; }\n",
     "message t_a { array<uint8, 16> f0; }\n",
     {"new.idl:2:15: breaks wire: slot-type-changed: slot f0 of 't_a' is array<uint8, 16>, was "
      "vector<uint8>",
      "new.idl:2:9: breaks api: record-changed: the record of 't_a' has other members in the same "
      "16 bytes",
      "new.idl:2:9: keeps: frame-changed: 't_a' is sent as a frame of 40 bytes, was packed"},
     1,
     1,
     1},
    {"slot_inserted",
     "message t_a { uint32 f0; uint8 f1; }\n",
     "message t_a { uint32 f0; uint64 f1; uint8 f2; }\n",
     {"new.idl:2:26: breaks wire: slot-inserted: 1 slot inserted as f1 of 't_a'",
      "new.idl:2:9: breaks api: record-changed: the record of 't_a' has 24 bytes, had 8",
      "new.idl:2:9: keeps: frame-changed: the frame of 't_a' has 40 bytes, had 24"},
     1,
     1,
     1},
    {"slots_removed_from_within",
     "message t_a { uint32 f0; uint8 f1; uint8 f2; uint64 f3; }\n",
     "message t_a { uint32 f0; uint64 f1; }\n",
     {"old.idl:2:26: breaks wire: slot-removed: 2 slots removed from f1 of 't_a'",
      "new.idl:2:9: breaks api: record-changed: the record of 't_a' has other members in the same "
      "16 bytes",
      "new.idl:2:9: keeps: frame-changed: the frame of 't_a' has 32 bytes, had 40"},
     1,
     1,
     1},
    {"slot_removed_at_the_end",
     "message t_a { uint32 f0; uint8 f1; }\n",
     "message t_a { uint32 f0; }\n",
     {"old.idl:2:26: breaks wire: slot-removed: slot f1 of 't_a' is removed, uint8",
      "new.idl:2:9: breaks api: record-changed: the record of 't_a' has 4 bytes, had 8"},
     1,
     1,
     1},
    {"slots_of_two_types_exchanged",
     "message t_a { uint32 f0; uint8 f1; }\n",
     "message t_a { uint8 f0; uint32 f1; }\n",
     {"new.idl:2:15: breaks wire: slot-type-changed: slot f0 of 't_a' is uint8, was uint32",
      "new.idl:2:25: breaks wire: slot-type-changed: slot f1 of 't_a' is uint32, was uint8",
      "new.idl:2:9: breaks api: record-changed: the record of 't_a' has other members in the same "
      "8 bytes",
      "new.idl:2:9: keeps: frame-changed: fields lie elsewhere in the frame of 't_a'"},
     1,
     1,
     1},
    // Who holds the message says what becomes of its own record and frame.
    {"slot_appended_to_what_another_holds",
     "message t_a { uint8 f0; }\nmessage t_b { table t_a f0; uint8 f1; }\n",
     "message t_a { uint8 f0; uint64 f1; }\nmessage t_b { table t_a f0; uint8 f1; }\n",
     {"new.idl:2:25: keeps: slot-appended: slot f1 of 't_a' is appended, uint64",
      "new.idl:2:9: breaks api: record-grown: the record of 't_a' has 16 bytes, had 1",
      "new.idl:2:9: keeps: frame-changed: the frame of 't_a' has 32 bytes, had 24",
      "new.idl:3:9: breaks api: record-changed: the record of 't_b' has 24 bytes, had 2",
      "new.idl:3:9: keeps: frame-changed: the frame of 't_b' has 56 bytes, had 48"},
     0,
     1,
     1},
    {"message_renamed",
     "message t_a { uint32 f0; uint8 f1; }\nmessage t_c { table t_a f0; }\n",
     "message t_b { uint32 f0; uint8 f1; }\nmessage t_c { table t_b f0; }\n",
     {"new.idl:2:9: breaks wire: message-renamed: message 't_a' is renamed to 't_b': 0xBB73D822 "
      "becomes 0xBA73D68F"},
     1,
     1,
     1},
    {"message_removed",
     "message t_a { uint32 f0; }\nmessage t_b { uint8 f0; }\n",
     "message t_a { uint32 f0; }\n",
     {"old.idl:3:9: breaks wire: message-removed: message 't_b' is removed, 0xBA73D68F"},
     1,
     1,
     1},
    {"message_added_at_the_end",
     "message t_a { uint32 f0; }\n",
     "message t_a { uint32 f0; }\nmessage t_b { uint8 f0; }\n",
     {"new.idl:3:9: keeps: message-added: message 't_b' is new, 0xBA73D68F"},
     0,
     0,
     0},
    {"message_added_before_others",
     "message t_a { uint32 f0; }\n",
     "message t_b { uint8 f0; }\nmessage t_a { uint32 f0; }\n",
     {"new.idl:2:9: keeps: message-added: message 't_b' is new, 0xBA73D68F",
      "new.idl:2:9: keeps: registration-order: message 't_b', new, is registered before 't_a'"},
     0,
     0,
     1},
    {"messages_in_another_order",
     "message t_a { uint32 f0; }\nmessage t_b { uint8 f0; }\nmessage t_c { uint16 f0; }\n",
     "message t_a { uint32 f0; }\nmessage t_c { uint16 f0; }\nmessage t_b { uint8 f0; }\n",
     {"new.idl:3:9: keeps: registration-order: message 't_c' is registered before 't_b', was after "
      "it"},
     0,
     0,
     1},
};

INSTANTIATE_TEST_SUITE_P(all, compat, testing::ValuesIn(pairs),
                         [](const auto &tested) { return tested.param.name; });

// What the page says is what the compiler goes by.
TEST(compat_rules, are_those_of_the_page)
{
    std::vector<std::string> of_page;
    bool is_in_table = false;
    for (const std::string &line : lines_of(content(PROJECT_ROOT "/docs/evolution.md"))) {
        if (line == "| rule | breaks | what changed |")
            is_in_table = true;
        else if (is_in_table && line.rfind("| `", 0) == 0)
            of_page.push_back(line.substr(0, line.find(" | ", line.find(" | ") + 1)));
        else if (line.empty())
            is_in_table = false;
    }
    std::vector<std::string> of_code;
    for (const idlc::rule &r : idlc::all_rules())
        of_code.push_back("| `" + std::string(r.name) + "` | " +
                          (r.breaks == idlc::level::wire  ? "wire"
                           : r.breaks == idlc::level::api ? "api"
                                                          : "nobody"));
    EXPECT_EQ(of_page, of_code);
    EXPECT_EQ(of_code.size(), 21U);
}

TEST(compat_text, says_what_both_peers_see_and_what_to_do)
{
    const scratch_directory scratch;
    write(scratch.path() / "old.idl", "package t;\nmessage t_a { uint16 f0; }\n");
    write(scratch.path() / "new.idl", "package t;\nmessage t_a { uint32 f0; uint8 f1; }\n");
    const outcome o = run(scratch.path(), idlc + " compat old.idl new.idl");
    EXPECT_EQ(
        o.out,
        "new.idl:2:15: breaks wire: slot-type-changed: slot f0 of 't_a' is uint32, was uint16\n"
        "    old peer: the low 16 bits of the number; nothing is logged\n"
        "    new peer: the number in the low 16 bits, and above them bytes of what lies behind it; "
        "where the message ends before, zero in it and in every slot behind; nothing is logged\n"
        "    to do: leave the slot as it is, and append one\n"
        "new.idl:2:26: keeps: slot-appended: slot f1 of 't_a' is appended, uint8\n"
        "    old peer: all that it knows; it passes over the slot\n"
        "    new peer: zero in it\n"
        "    to do: send it to old peers as well; they do without it\n"
        "new.idl:2:9: breaks api: record-changed: the record of 't_a' has 8 bytes, had 2\n"
        "    old peer: the same as before\n"
        "    new peer: the same as before\n"
        "    to do: raise the major version; programs are compiled anew\n");
}

TEST(compat_json, has_the_form_of_the_page)
{
    const scratch_directory scratch;
    write(scratch.path() / "old.idl", "package t;\nmessage t_a { uint16 f0; uint8 f1; }\n");
    write(scratch.path() / "new.idl",
          "package t;\nmessage t_a { uint16 f0; }\nmessage t_b { uint8 f0; }\n");
    const outcome o = run(scratch.path(), idlc + " compat --json --strict=wire old.idl new.idl");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(
        o.out,
        R"({"version":1,"strict":"wire","breaks":true,"wire":1,"api":1,"none":1,"changes":[)"
        "\n"
        R"({"rule":"slot-removed","breaks":"wire","is_break":true,"file":"old.idl","line":2,"column":26,)"
        R"("in":"old","message":"t_a","slot":"f1","text":"slot f1 of 't_a' is removed, uint8",)"
        R"("old_peer":"zero in it","new_peer":"all that it knows; it passes over the slot",)"
        R"("to_do":"leave the slot, and send it as zero or empty"},)"
        "\n"
        R"({"rule":"record-changed","breaks":"api","is_break":false,"file":"new.idl","line":2,"column":9,)"
        R"("in":"new","message":"t_a","slot":"","text":"the record of 't_a' has 2 bytes, had 4",)"
        R"("old_peer":"the same as before","new_peer":"the same as before",)"
        R"("to_do":"raise the major version; programs are compiled anew"},)"
        "\n"
        R"({"rule":"message-added","breaks":"none","is_break":false,"file":"new.idl","line":3,"column":9,)"
        R"("in":"new","message":"t_b","slot":"","text":"message 't_b' is new, 0xBA73D68F",)"
        R"("old_peer":"its bus has nobody who takes it; the library is not called, and logs nothing",)"
        R"("new_peer":"none from old peers","to_do":"send it to peers that have it"})"
        "\n]}\n");
    EXPECT_EQ(
        run(scratch.path(), idlc + " compat --json old.idl old.idl").out,
        R"({"version":1,"strict":"wire","breaks":false,"wire":0,"api":0,"none":0,"changes":[]})"
        "\n");
}

} // namespace
