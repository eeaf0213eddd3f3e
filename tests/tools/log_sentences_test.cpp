// What is said of a line of the log, with its own numbers.
#include <gtest/gtest.h>

#include "inspect/log_explain.h"
#include "tools/vorl/log_format.h"

using namespace vorl;
using inspect::explain_log_line;
using inspect::log_finding;

namespace {

/// What stands behind the text's tag and beside the numbers, joined.
std::string tells(const std::string &line)
{
    std::string all;
    for (const log_finding &finding : explain_log_line(line)) {
        for (const std::string &fact : finding.facts)
            all += (all.empty() ? "" : " ") + fact;
    }
    return all;
}

TEST(log_sentences, which_table_as_far_as_it_is_certain)
{
    const std::pair<const char *, const char *> lines[] = {
        // Only the first four bytes lead to 4, and to what is before.
        {"[ZELKO]:Vtable offset(4) is out of range(4 - 64)",
         "<message>_unpack, line 11, or <message>_unpack_non_root, line 21: the root table, for no "
         "other can be at 4."},
        {"srv6_localsid_fwd_unpack_non_root [ZELKO]:Table offset(3) is out of range(4 - 64)",
         "srv6_localsid_fwd_unpack_non_root, line 20: the root table of srv6_localsid_fwd, for no "
         "other can be at 3."},
        {"[ZELKO]:Vtable offset(5) is out of range(4 - 64)",
         "<message>_unpack, line 11, or <message>_unpack_non_root, line 21: a table; without the "
         "function's name, the line does not tell which."},
        // The length of a vtable is no position.
        {"[ZELKO]:Vtable Len(5) is out of range(0 - 4)",
         "<message>_unpack, line 12, or <message>_unpack_non_root, line 22: a table; without the "
         "function's name, the line does not tell which."},
        {"srv6_common_fwd_update_unpack [ZELKO]:Table offset(65) is out of range(4 - 68)",
         "srv6_common_fwd_update_unpack, line 10: the root table of srv6_common_fwd_update."},
        {"srv6_localsid_fwd_unpack_non_root [ZELKO]:Table offset(65) is out of range(4 - 68)",
         "srv6_localsid_fwd_unpack_non_root, line 20: a table of srv6_localsid_fwd: the root "
         "table, "
         "or an element or a nested table of srv6_localsid_fwd_update."},
        // No message holds it.
        {"srv6_cfg_trastat_rst_unpack_non_root [ZELKO]:Table offset(65) is out of range(4 - 68)",
         "srv6_cfg_trastat_rst_unpack_non_root, line 20: the root table of srv6_cfg_trastat_rst, "
         "for no message holds a table of it."},
        // Its root is checked by another function.
        {"srv6_cfg_query_comm_rec_unpack_non_root [ZELKO]:Table offset(65) is out of range(4 - 68)",
         "srv6_cfg_query_comm_rec_unpack_non_root, line 20: a nested table or an element, a table "
         "of srv6_cfg_query_comm_rec. It is not the root table, which "
         "srv6_cfg_query_comm_rec_unpack checks."},
        {"srv6_new_unpack_non_root [ZELKO]:Table offset(65) is out of range(4 - 68)",
         "srv6_new_unpack_non_root, line 20: any other table: the root table of every other "
         "message, "
         "a nested table, an element. This version has no such message."},
    };
    for (const auto &[line, where] : lines) {
        const auto found = explain_log_line(line);
        ASSERT_EQ(found.size(), 1U) << line;
        EXPECT_EQ(found[0].where, where);
    }
}

TEST(log_sentences, numbers_tell_what_they_can)
{
    const std::pair<const char *, const char *> lines[] = {
        {"[ZELKO]:Param invalid(nonNull, -1, nonNull)",
         "A `len` of -1 is a length of 4294967295 bytes, taken for a number with a sign: "
         "`__unpack` "
         "takes 2147483647 bytes at the most."},
        {"[ZELKO]:Param invalid(nonNull, 0, nonNull)",
         "A `len` of 0 has no room for the root offset, 4 bytes, with which every message begins."},
        {"[ZELKO]:Table offset(2) is out of range(4 - 99)",
         "The message begins with the number 2, which no message does: the first four bytes are no "
         "root offset."},
        {"[ZELKO]:Table offset(99) is out of range(4 - 99)",
         "If the position is right, the message lacks at least 4 of its bytes at the end."},
        {"[ZELKO]:Table offset(100) is out of range(4 - 99)", ""},
        {"srv6_localsid_fwd_unpack_non_root [ZELKO]:Vtable offset(34) is out of range(4 - 64)",
         "34 is where __pack puts the root table of srv6_localsid_fwd, behind the vtable of its 13 "
         "slots."},
        {"srv6_class_item_unpack_non_root [ZELKO]:Vtable offset(4) is out of range(4 - 20)",
         "The table is at 4, as in a frame. There the vtable lies behind the table, so a frame "
         "that "
         "was cut short gives this line. The root table of srv6_class_item is at 4 in a frame, of "
         "32 "
         "bytes, and at 14 in packed bytes. This begins like a frame, and lacks 8 of its bytes at "
         "the end."},
        {"srv6_common_fwd_update_unpack [ZELKO]:Table offset(67) is out of range(4 - 60)",
         "The root table of srv6_common_fwd_update is at 12."},
        {"srv6_localsid_fwd_unpack_non_root [ZELKO]:Vtable Len(30) is out of range(0 - 20)",
         "30 bytes are the vtable of 13 slots: 4 + 2 * 13. srv6_localsid_fwd has 13 slots, so the "
         "length is right, and the message lacks at least 10 of its bytes at the end."},
        {"srv6_localsid_fwd_unpack_non_root [ZELKO]:Vtable Len(517) is out of range(0 - 20)",
         "517 is the vtable length of no message, which is 4 + 2n for n slots, 1 to 256: what was "
         "read is no vtable. srv6_localsid_fwd has 13 slots: this version writes a vtable of 30 "
         "bytes."},
        {"srv6_common_fwd_update_unpack [ZELKO]:Malloc unpack data unsuccess, size(56)",
         "An element takes 56 bytes: 56 are 1 element."},
        {"srv6_common_fwd_update_unpack [ZELKO]:Malloc unpack data unsuccess, size(57)",
         "An element takes 56 bytes, of which 57 is no multiple: it is the lower 32 bits of a "
         "larger "
         "number."},
        {"srv6_cfg_query_comm_param_unpack [ZELKO]:Malloc unpack data unsuccess, size(57)",
         "An element takes 1 byte: 57 are 57 elements."},
    };
    for (const auto &[line, expected] : lines)
        EXPECT_EQ(tells(line), expected) << line;
}

TEST(log_sentences, some_numbers_are_the_cause)
{
    const log_finding first =
        explain_log_line("[ZELKO]:Table offset(0) is out of range(4 - 4)").at(0);
    EXPECT_EQ(first.cause, "This is the first call that the header advises before threads, plugins "
                           "and fork: four bytes of zero.");
    EXPECT_EQ(
        first.next,
        "Nothing is wrong, unless no such call was made: then somebody sent four bytes of zero.");
    const log_finding reversed =
        explain_log_line("[ZELKO]:Table offset(67108864) is out of range(4 - 48)").at(0);
    EXPECT_EQ(reversed.cause, "67108864 is 4 with its four bytes reversed, and 4 is in range: the "
                              "sender writes numbers in the other byte order.");
    // 0x2C000000 is 44 reversed, the last position of a table in 48 bytes; 45 is not one.
    EXPECT_EQ(explain_log_line("[ZELKO]:Table offset(738197504) is out of range(4 - 48)")[0].cause,
              "738197504 is 44 with its four bytes reversed, and 44 is in range: the sender writes "
              "numbers in the other byte order.");
    EXPECT_EQ(explain_log_line("[ZELKO]:Table offset(754974720) is out of range(4 - 48)")[0].cause,
              "Bytes that are no such message: of another message, cut short, or behind a header "
              "that was not taken off.");
}

TEST(log_sentences, a_table_position_in_full)
{
    EXPECT_EQ(
        to_lines(explain_log_line("srv6_common_fwd_update_unpack:10 [ZELKO]:Table "
                                  "offset(67108864) is out of range(4 - 68)")
                     .at(0),
                 false),
        R"(    | where       srv6_common_fwd_update_unpack, line 10: the root table of srv6_common_fwd_update.
    | 67108864    the position of the table, in bytes from the first byte of the message; this is
    |             what is out of range
    | 68          the length of the message. A table begins 4 bytes before that at the latest: at 64
    | checked     A table begins at 4 at the earliest, and at 64 at the latest. This one would begin
    |             at 67108864.
    | this tells  The root table of srv6_common_fwd_update is at 12.
    | then        `__unpack` ends and returns the size of the record. The record is untouched.
    | cause       67108864 is 4 with its four bytes reversed, and 4 is in range: the sender writes
    |             numbers in the other byte order.
    | next        Find out who sent this: a process of a machine with the other byte order, or one
    |             whose library is set to reverse bytes. The library reads and writes the least
    |             significant byte first (docs/format.md).)");
}

TEST(log_sentences, an_argument_in_full)
{
    EXPECT_EQ(
        to_lines(explain_log_line("srv6_class_item_unpack [ZELKO]:Param invalid(nonNull, 3, null)")
                     .at(0),
                 false),
        R"(    | where       srv6_class_item_unpack, line 2: the arguments.
    | nonNull     `buf` is not null
    | 3           `len`, in bytes, with its sign
    | null        `out` is null
    | checked     Neither `buf` nor `out` may be null, and `len` has to be 4 or more.
    | this tells  A `len` of 3 has no room for the root offset, 4 bytes, with which every message
    |             begins.
    | then        `__unpack` returns the size of the record, which is untouched.
    | cause       The caller. The bytes were not looked at, so nothing is known about them.
    | next        Look at who called: your own code, or the bus, which calls the function that
    |             `_recv_init` registered.)");
}

TEST(log_sentences, a_vtable_position_in_full)
{
    EXPECT_EQ(
        to_lines(explain_log_line("srv6_localsid_fwd_unpack_non_root:21 [ZELKO]:Vtable "
                                  "offset(24) is out of range(4 - 64)")
                     .at(0),
                 false),
        R"(    | where       srv6_localsid_fwd_unpack_non_root, line 21: a table of srv6_localsid_fwd: the root
    |             table, or an element or a nested table of srv6_localsid_fwd_update.
    | 24          the position of the *table*, which is in range. The position of its vtable, which
    |             is not, is not logged
    | 64          the last position where a vtable can be: the length of the message less 4. So the
    |             message is 68 bytes long
    | checked     The position of a table's vtable has to be from 4 to 64. That of the table at 24
    |             is not.
    | then        `__unpack` ends and returns the size of the record. Members that were read before
    |             keep their values, all others are zero, and every vector is released: its pointer
    |             is null, its count may stay. Where the table was the root, the record is all zero.
    | cause       The four bytes at the table's position are no soffset: the position leads to
    |             something else, or the bytes were damaged or cut short.
    | next        `vorl explain --message NAME FRAME` shows the bytes and what they should be. By
    |             hand: read the four bytes at 24 as a number, least significant first, and subtract
    |             it from 24, in 32 bits: that is where the vtable should be. 68 bytes were
    |             received; for a fixed-size message, compare that with the frame's length in
    |             srv6.h, srv6_cfg.h or srv6_sync.h. A root table is at 4 in a frame, and at 8 + 2n
    |             in packed bytes of n slots; any other number is no root that this library writes.)");
}

} // namespace
