// The exhaustive comparison's own footing. It holds codecs against each other through one harness,
// so a mistake that they share would not show: here are bytes and what must come of them in
// numbers, for the library's two codecs and the reference alike. And it is shown that the
// comparison sees a difference in each of the things that it compares.
#include <gtest/gtest.h>

#include "tests/codec/exhaustive/inputs.h"
#include "tests/codec/support/fixture.h"

namespace vorl::test::exhaustive {
namespace {

using reference::log_event;
using reference::memory_event;
using reference::outcome;

const subject &subject_named(const char *name)
{
    for (const subject &s : subjects()) {
        if (std::string(name_of(*s.data)) == name)
            return s;
    }
    throw std::logic_error(name);
}

constexpr const char *table_text = "[ZELKO]:Table offset(%u) is out of range(4 - %u)";
constexpr const char *vtable_text = "[ZELKO]:Vtable offset(%u) is out of range(4 - %u)";
constexpr const char *length_text = "[ZELKO]:Vtable Len(%u) is out of range(0 - %u)";

outcome just(const char *record_text)
{
    return {.record = buffer_of(record_text), .logs = {}, .memory = {}, .blocks = {}};
}
outcome logged(const char *record_text, std::uint32_t line, const char *function,
               const char *format, const char *text)
{
    outcome o = just(record_text);
    o.logs = {{22, line, function, format, text}};
    return o;
}

/// `expected` is what all three make of the bytes; `released`, of a release of that.
void expect_outcome(const char *name, const bytes &content, order o, const outcome &expected,
                    const outcome *released = nullptr)
{
    const subject &s = subject_named(name);
    settle(o);
    guarded_buffer memory(content.size());
    const std::uint8_t *at = memory.holding(content);
    const auto length = static_cast<std::int32_t>(content.size());

    outcome by_reference =
        reference::unpack(*s.data, {.buf = at,
                                    .len = length,
                                    .record_before = bytes(s.data->record_size, dirt),
                                    .byte_order = o});
    EXPECT_TRUE(by_reference == expected) << text_of(by_reference) << "expected:\n"
                                          << text_of(expected);
    for (const codec c : {codec::exported, codec::plain}) {
        run library(c);
        library.unpack(s, at, length);
        EXPECT_TRUE(library.agrees_with(expected)) << name_of(c) << '\n'
                                                   << library.text() << "expected:\n"
                                                   << text_of(expected);
        if (released == nullptr)
            continue;
        library.release();
        EXPECT_TRUE(library.agrees_with(*released)) << name_of(c) << '\n'
                                                    << library.text() << "expected:\n"
                                                    << text_of(*released);
    }
    if (released != nullptr) {
        reference::free_unpacked(*s.data, by_reference);
        EXPECT_TRUE(by_reference == *released) << text_of(by_reference);
    }
}

// A frame: root offset at 0, table at 4 with fields at 8, 12 and 16, vtable at 20.
constexpr const char *item = "srv6_class_item";
constexpr const char *item_reader = "srv6_class_item_unpack_non_root";
bytes item_frame(order o = order::little)
{
    return buffer_of("u32 table "
                     "table:  u32 table-vtable  u32 0x01020304  u32 0x05060708  u8 9  zeros 3 "
                     "vtable: u16 10  u16 13  u16 4  u16 8  u16 12  zeros 2",
                     o);
}
bytes item_frame_with(std::size_t at, std::uint64_t value, std::size_t width,
                      order o = order::little)
{
    bytes content = item_frame(o);
    reference::store(&content[at], value, width, o);
    return content;
}
constexpr const char *whole_item = "bytes 04 03 02 01  08 07 06 05  09 00 00 00";
constexpr const char *no_item = "zeros 12";

TEST(exhaustive, a_frame_in_numbers)
{
    for (const order o : both_orders) {
        ASSERT_EQ(item_frame(o).size(), 32u);
        expect_outcome(item, item_frame(o), o, just(whole_item));
        // Twenty-nine bytes do not hold the vtable's ten, thirty do.
        for (const std::size_t length : {29U, 30U}) {
            bytes content = item_frame(o);
            content.resize(length);
            expect_outcome(item, content, o,
                           length == 30 ? just(whole_item)
                                        : logged(no_item, 22, item_reader, length_text,
                                                 "[ZELKO]:Vtable Len(10) is out of range(0 - 9)"));
        }
    }
    const bytes three(3);
    expect_outcome(item, three, order::little,
                   logged("bytes EE EE EE EE  EE EE EE EE  EE EE EE EE", 2,
                          "srv6_class_item_unpack", "[ZELKO]:Param invalid(%s, %d, %s)",
                          "[ZELKO]:Param invalid(nonNull, 3, nonNull)"));
}

TEST(exhaustive, entries_in_numbers)
{
    const auto with_entry = [](std::uint64_t entry) { return item_frame_with(26, entry, 2); };
    // f1 from byte 4 + 24 = 28 on, the last that holds four: 0C 00, f2's entry, and 00 00.
    expect_outcome(item, with_entry(24), order::little,
                   just("bytes 04 03 02 01  0C 00 00 00  09 00 00 00"));
    // One byte further there are three, and what comes after is not read.
    expect_outcome(item, with_entry(25), order::little,
                   just("bytes 04 03 02 01  00 00 00 00  00 00 00 00"));
    expect_outcome(item, with_entry(0xFFFF), order::little,
                   just("bytes 04 03 02 01  00 00 00 00  00 00 00 00"));
    // 0 is absent, and what comes after is read.
    expect_outcome(item, with_entry(0), order::little,
                   just("bytes 04 03 02 01  00 00 00 00  09 00 00 00"));
    // 1 is inside: of the soffset F0 FF FF FF the last three bytes, then the first of f0.
    expect_outcome(item, with_entry(1), order::little,
                   just("bytes 04 03 02 01  FF FF FF 04  09 00 00 00"));
    // Most significant byte first f0 begins with 01, and the soffset ends in F0.
    expect_outcome(item, item_frame_with(26, 1, 2, order::big), order::big,
                   just("bytes 04 03 02 01  01 F0 FF FF  09 00 00 00"));
}

TEST(exhaustive, lengths_of_vtables_in_numbers)
{
    const auto with_length = [](std::uint64_t length) { return item_frame_with(20, length, 2); };
    expect_outcome(item, with_length(12), order::little, just(whole_item));
    expect_outcome(item, with_length(13), order::little,
                   logged(no_item, 22, item_reader, length_text,
                          "[ZELKO]:Vtable Len(13) is out of range(0 - 12)"));
    // f2's entry takes bytes 8 and 9.
    expect_outcome(item, with_length(9), order::little,
                   just("bytes 04 03 02 01  08 07 06 05  00 00 00 00"));
    expect_outcome(item, with_length(0), order::little, just(no_item));
    // The table's length is not looked at.
    expect_outcome(item, item_frame_with(22, 0xFFFF, 2), order::little, just(whole_item));
}

TEST(exhaustive, positions_of_tables_in_numbers)
{
    const auto with_root = [](std::uint64_t root) { return item_frame_with(0, root, 4); };
    for (const auto &[root, text] :
         {std::pair{29u, "[ZELKO]:Table offset(29) is out of range(4 - 32)"},
          std::pair{3u, "[ZELKO]:Table offset(3) is out of range(4 - 32)"},
          std::pair{0xFFFFFFFFu, "[ZELKO]:Table offset(4294967295) is out of range(4 - 32)"}})
        expect_outcome(item, with_root(root), order::little,
                       logged(no_item, 20, item_reader, table_text, text));
    // At 28 the word is 12, so the vtable is at 16: nine bytes, 09 00, of which f0's entry is 10.
    expect_outcome(item, with_root(28), order::little, just(no_item));

    const auto with_soffset = [](std::uint64_t soffset) { return item_frame_with(4, soffset, 4); };
    // The vtable may begin at 4 (4 - 0), and at 28 (4 - -24), and no byte outside that.
    for (const std::uint32_t soffset : {1u, 0xFFFFFFE7u, 0x80000000u})
        expect_outcome(item, with_soffset(soffset), order::little,
                       logged(no_item, 21, item_reader, vtable_text,
                              "[ZELKO]:Vtable offset(4) is out of range(4 - 28)"));
    // At 4 its length is the soffset's own 0, at 28 the twelve that f2's entry is.
    expect_outcome(item, with_soffset(0), order::little, just(no_item));
    expect_outcome(item, with_soffset(0xFFFFFFE8), order::little,
                   logged(no_item, 22, item_reader, length_text,
                          "[ZELKO]:Vtable Len(12) is out of range(0 - 4)"));
}

// A batch: root table at 12, f0 at 16, the vector's word at 20, count at 24, its two offsets at 28
// and 32, and the elements' tables at 42 and 56.
constexpr const char *batch = "srv6_common_fwd_delete";
bytes batch_of_two(order o = order::little)
{
    return buffer_of("u32 table "
                     "vtable: u16 8  u16 24  u16 4  u16 8 "
                     "table:  u32 table-vtable  u32 0x11223344  u32 @list "
                     "list:   u32 2  u32 @one  u32 @two "
                     "one_vtable: u16 6  u16 8  u16 4 "
                     "one:    u32 one-one_vtable  u32 0xA1A2A3A4 "
                     "two_vtable: u16 6  u16 8  u16 4 "
                     "two:    u32 two-two_vtable  u32 0xB1B2B3B4",
                     o);
}
memory_event taken(std::uint32_t size)
{
    return {memory_event::allocate, size, "srv6_common_fwd_delete_unpack", 1};
}
memory_event given_back()
{
    return {memory_event::release, 0, "srv6_common_fwd_delete_free_unpacked", 1};
}

TEST(exhaustive, a_vector_in_numbers)
{
    for (const order o : both_orders) {
        const bytes content = batch_of_two(o);
        ASSERT_EQ(content.size(), 64u);
        // The pointer is the number of the block.
        outcome expected = just("bytes 44 33 22 11  02 00 00 00  01 00 00 00 00 00 00 00");
        expected.memory = {taken(8)};
        expected.blocks = {{0xA4, 0xA3, 0xA2, 0xA1, 0xB4, 0xB3, 0xB2, 0xB1}};
        outcome released = just("bytes 44 33 22 11  02 00 00 00  00 00 00 00 00 00 00 00");
        released.memory = {taken(8), given_back()};
        released.blocks = {{}};
        expect_outcome(batch, content, o, expected, &released);
    }
}

TEST(exhaustive, counts_and_offsets_in_numbers)
{
    const auto with_word = [](std::size_t at, std::uint32_t value) {
        bytes content = batch_of_two();
        reference::store(&content[at], value, 4, order::little);
        return content;
    };
    // A third element: its offset is what lies behind the second's, 06 00 08 00, at 36.
    outcome expected =
        logged("bytes 44 33 22 11  03 00 00 00  00 00 00 00 00 00 00 00", 20,
               "srv6_common_fwd_key_unpack_non_root", table_text,
               "[ZELKO]:Table offset(524330) is out of range(4 - 64)"); // 36 + 0x80006
    expected.memory = {taken(12), given_back()};
    expected.blocks = {{}};
    expect_outcome(batch, with_word(24, 3), order::little, expected);
    // Nine offsets end with the buffer, 28 + 36 = 64; ten do not, and nothing is asked for.
    expected = logged("bytes 44 33 22 11  09 00 00 00  00 00 00 00 00 00 00 00", 20,
                      "srv6_common_fwd_key_unpack_non_root", table_text,
                      "[ZELKO]:Table offset(524330) is out of range(4 - 64)");
    expected.memory = {taken(36), given_back()};
    expected.blocks = {{}};
    expect_outcome(batch, with_word(24, 9), order::little, expected);
    const outcome no_vector = just("bytes 44 33 22 11  00 00 00 00  00 00 00 00 00 00 00 00");
    for (const std::uint32_t count : {10u, 1u << 30, 0x80000000u, 0xFFFFFFFFu})
        expect_outcome(batch, with_word(24, count), order::little, no_vector);
    expect_outcome(batch, with_word(24, 0), order::little, no_vector);

    // The list may begin where its count ends with the buffer, 20 + 40: 0xB1B2B3B4 is too many.
    for (const std::uint32_t offset : {40u, 41u, 44u, 0xFFFFFFFFu})
        expect_outcome(batch, with_word(20, offset), order::little, no_vector);

    // The second element's offset leads past 32 bits: no line in the log.
    expected = just("bytes 44 33 22 11  02 00 00 00  00 00 00 00 00 00 00 00");
    expected.memory = {taken(8), given_back()};
    expected.blocks = {{}};
    expect_outcome(batch, with_word(32, 0xFFFFFFFF), order::little, expected);
    // To 32 + 29 = 61, where three bytes are left.
    expected.logs = {{22, 20, "srv6_common_fwd_key_unpack_non_root", table_text,
                      "[ZELKO]:Table offset(61) is out of range(4 - 64)"}};
    expect_outcome(batch, with_word(32, 29), order::little, expected);

    // The root itself is checked under the name of __unpack, before anything is written.
    expect_outcome(batch, with_word(0, 61), order::little,
                   logged("bytes EE EE EE EE  EE EE EE EE  EE EE EE EE  EE EE EE EE", 10,
                          "srv6_common_fwd_delete_unpack", table_text,
                          "[ZELKO]:Table offset(61) is out of range(4 - 64)"));
}

TEST(exhaustive, every_difference_is_seen)
{
    settle(order::little);
    const subject &s = subject_named(batch);
    bytes content = batch_of_two();
    content[24] = 3; // so that there is a log line, too
    run library(codec::exported);
    library.unpack(s, content.data(), static_cast<std::int32_t>(content.size()));
    const outcome right =
        reference::unpack(*s.data, {.buf = content.data(),
                                    .len = static_cast<std::int32_t>(content.size()),
                                    .record_before = bytes(s.data->record_size, dirt)});
    ASSERT_TRUE(library.agrees_with(right));
    ASSERT_EQ(right.logs.size(), 1u);
    ASSERT_EQ(right.memory.size(), 2u);

    const auto expect_seen = [&](const char *what, auto &&change) {
        outcome other = right;
        change(other);
        EXPECT_FALSE(library.agrees_with(other)) << what;
    };
    for (std::size_t i = 0; i < right.record.size(); ++i)
        expect_seen("record", [i](outcome &o) { o.record[i] ^= 0x10; });
    expect_seen("no log", [](outcome &o) { o.logs.clear(); });
    expect_seen("a log more", [](outcome &o) { o.logs.push_back(o.logs[0]); });
    expect_seen("kind", [](outcome &o) { ++o.logs[0].kind; });
    expect_seen("line", [](outcome &o) { ++o.logs[0].line; });
    expect_seen("function", [](outcome &o) { o.logs[0].function += '_'; });
    expect_seen("format", [](outcome &o) { o.logs[0].format += ' '; });
    expect_seen("text", [](outcome &o) { o.logs[0].text.back() = ']'; });
    expect_seen("a call less", [](outcome &o) { o.memory.pop_back(); });
    expect_seen("order", [](outcome &o) { std::swap(o.memory[0], o.memory[1]); });
    expect_seen("size", [](outcome &o) { ++o.memory[0].size; });
    expect_seen("tag", [](outcome &o) { o.memory[0].tag += '_'; });
    expect_seen("tag of a release", [](outcome &o) { o.memory[1].tag.pop_back(); });
    expect_seen("not released", [](outcome &o) { o.blocks[0] = bytes(12); });

    content[24] = 2;
    library.unpack(s, content.data(), static_cast<std::int32_t>(content.size()));
    outcome other = just("bytes 44 33 22 11  02 00 00 00  01 00 00 00 00 00 00 00");
    other.memory = {taken(8)};
    other.blocks = {{0xA4, 0xA3, 0xA2, 0xA1, 0xB4, 0xB3, 0xB2, 0xB1}};
    ASSERT_TRUE(library.agrees_with(other));
    for (std::size_t i = 0; i < 8; ++i) {
        other.blocks[0][i] ^= 1;
        EXPECT_FALSE(library.agrees_with(other)) << "byte " << i << " of the vector";
        other.blocks[0][i] ^= 1;
    }
    // A byte behind the vector.
    std::uint8_t *const end = library.calls().blocks[0].begin + 8;
    *end ^= 1;
    EXPECT_FALSE(library.agrees_with(other));
    *end ^= 1;
    EXPECT_TRUE(library.agrees_with(other));
}

std::string places_of(const char *message, const char *form)
{
    static const std::vector<input> all = inputs(order::little);
    std::string text;
    for (const input &in : all) {
        if (std::string(name_of(*in.message->data)) != message || std::string(in.form) != form)
            continue;
        for (const place &p : in.places)
            text += std::string(name_of(p.what)) + ' ' + std::to_string(p.at) + '\n';
    }
    return text;
}

TEST(exhaustive, places_in_numbers)
{
    EXPECT_EQ(places_of(item, "frame"), "length 0\nroot_offset 0\nsoffset 4\nvtable_length 20\n"
                                        "table_length 22\nentry 24\nentry 26\nentry 28\n");
    // f1 is zero; its entry is there nevertheless.
    EXPECT_EQ(places_of(item, "sparse"), "length 0\nroot_offset 0\nsoffset 14\nvtable_length 4\n"
                                         "table_length 6\nentry 8\nentry 10\nentry 12\n");
    EXPECT_EQ(places_of(batch, "full"),
              "length 0\nroot_offset 0\n"
              "soffset 12\nvtable_length 4\ntable_length 6\nentry 8\nentry 10\n"
              "offset_word 20\ncount 24\n"
              "offset_word 28\nsoffset 42\nvtable_length 36\ntable_length 38\nentry 40\n"
              "offset_word 32\nsoffset 56\nvtable_length 50\ntable_length 52\nentry 54\n");
}

TEST(exhaustive, values_in_numbers)
{
    const std::vector<input> all = inputs(order::little);
    const auto found = std::find_if(all.begin(), all.end(), [](const input &in) {
        return std::string(name_of(*in.message->data)) == item && std::string(in.form) == "frame";
    });
    ASSERT_NE(found, all.end());
    const auto count = [&found](kind k, bool is_inner) {
        return values(*found, {k, 0, is_inner, {}}).size();
    };
    EXPECT_EQ(count(kind::length, false), 33u);
    EXPECT_EQ(count(kind::entry, false), 65536u);
    EXPECT_EQ(count(kind::vtable_length, false), 65536u);
    EXPECT_EQ(count(kind::table_length, false), 65536u);
    // 0 to 40, 40 below 2^32, and 17 around each of the 26 powers from 2^6 to 2^31.
    for (const kind k : {kind::root_offset, kind::soffset, kind::offset_word, kind::count})
        EXPECT_EQ(count(k, false), 41u + 40u + 26u * 17u);
    // 0 to 40 again, for the lower powers lie together; then 8 below 2^32.
    EXPECT_EQ(count(kind::offset_word, true), 41u + 8u + 26u * 17u);
    // 0 to 40, 17 around each of the 10 powers from 2^6 to 2^15, and 8 below 2^16.
    EXPECT_EQ(count(kind::entry, true), 41u + 10u * 17u + 8u);

    const std::vector<std::uint32_t> words = values(*found, {kind::count, 0, false, {}});
    for (const std::uint32_t value : {0u, 40u, 56u, 72u, (1u << 30) - 1, 1u << 30, (1u << 30) + 8,
                                      0xFFFFFFFFu, 0u - 40u, 0x7FFFFFFFu, 0x80000000u})
        EXPECT_TRUE(std::binary_search(words.begin(), words.end(), value)) << value;
    EXPECT_FALSE(std::binary_search(words.begin(), words.end(), 41u));

    EXPECT_EQ(all.size(), 394u); // 115 full, 115 sparse, 44 counts, 78 frames, 42 framed
    EXPECT_EQ(subjects().size(), 115u);
}

} // namespace
} // namespace vorl::test::exhaustive
