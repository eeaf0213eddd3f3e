// What is said of bytes, and that they are refused where the library's reader refuses them.
#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <random>
#include <sstream>

#include "inspect/encode.h"
#include "inspect/explain.h"
#include "inspect/explain_lines.h"
#include "inspect/explain_text.h"
#include "tests/codec/support/fixture.h"
#include "tests/facts/counts.h"
#include "tests/support/platform.h"
#include "tests/support/samples.h"
#include "tools/vorl/dumps/read_frames.h"
#include "tools/vorl/json_record.h"

using namespace vorl;
using inspect::encode;
using inspect::encoding;

namespace {

/// Bytes that end where reading on faults.
class at_the_edge {
  public:
    explicit at_the_edge(std::size_t room)
        : size_((room + page - 1) / page * page),
          map_(static_cast<std::uint8_t *>(mmap(nullptr, size_ + page, PROT_READ | PROT_WRITE,
                                                MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        mprotect(map_ + size_, page, PROT_NONE);
    }
    ~at_the_edge() { munmap(map_, size_ + page); }
    at_the_edge(const at_the_edge &) = delete;
    at_the_edge &operator=(const at_the_edge &) = delete;

    std::span<const std::uint8_t> put(std::span<const std::uint8_t> bytes)
    {
        std::uint8_t *to = map_ + size_ - bytes.size();
        std::copy(bytes.begin(), bytes.end(), to);
        return {to, bytes.size()};
    }

  private:
    static constexpr std::size_t page = 65536;
    std::size_t size_;
    std::uint8_t *map_;
};

struct library_view {
    bool logged;
    bool is_whole; ///< the record equals the original in every member
};

library_view ask_library(const message &m, std::span<const std::uint8_t> bytes,
                         const void *original)
{
    const catalogue::message_functions &functions = test::functions_of(m);
    std::vector<std::uint64_t> record((m.record_size + 7) / 8);
    test::the_platform().forget_calls();
    functions.unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), record.data());
    const library_view view = {!test::the_platform().logs.empty(),
                               test::same_record(m, original, record.data())};
    functions.free_unpacked(record.data());
    return view;
}

void put_word(bytes &to, std::size_t at, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i)
        to[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

const message &named(const char *name) { return catalogue::find_message(name)->data; }

std::string verdict(const char *message, const bytes &from)
{
    const auto why = inspect::first_damage(named(message), from);
    return why ? to_text(*why) : "accepted";
}

std::string shown(const char *message, const bytes &from)
{
    std::ostringstream out;
    write_text(inspect::explain(named(message), from), out, inspect::colours::none);
    return out.str();
}

/// Writes the explanation, which gives the same reason as a look at the first damage alone, and has
/// each byte in a line.
void tell(const message &m, std::span<const std::uint8_t> from,
          const std::optional<inspect::damage> &why, std::ostream &out)
{
    const inspect::explanation e = inspect::explain(m, from);
    ASSERT_EQ(e.damages.empty(), !why);
    if (why) {
        ASSERT_EQ(to_text(e.damages[0]), to_text(*why));
    }
    std::vector<bool> is_told(from.size());
    inspect::for_each_line(e, nullptr, [&](const inspect::explained_line &line) {
        std::fill_n(is_told.begin() + line.at, line.size, true);
    });
    ASSERT_EQ(std::count(is_told.begin(), is_told.end(), false), 0) << name_of(m);
    write_text(e, out, inspect::colours::none);
}

// A frame of srv6_bsid_fwd_key: 1, 2, 3.
const bytes key_frame = test::buffer_of(R"(
            u32 table                                     // root offset
    table:  u32 table-vtable                              // soffset
            u32 1  u32 2  u32 3
    vtable: u16 10  u16 16  u16 4  u16 8  u16 12
            zeros 2)");
// Packed srv6_iid_fwd_key with f2 alone.
const bytes address_packed = test::buffer_of(R"(
            u32 table                                     // root offset
    vtable: u16 12  u16 28  u16 0  u16 0  u16 4  u16 0
    table:  u32 table-vtable                              // soffset
            u32 @f2
    f2:     u32 4  bytes 20 01 0D B8  00 00 00 00  00 00 00 00  00 00 00 01)");
// Packed srv6_sidnhp_fwd_delete with one element whose f0 is 1.
const bytes batch_packed = test::buffer_of(R"(
            u32 table                                     // root offset
    vtable: u16 8  u16 16  u16 0  u16 4
    table:  u32 table-vtable                              // soffset
            u32 @list
    list:   u32 1  u32 @a
    a_vtable: u16 10  u16 8  u16 4  u16 0  u16 0
    a:      u32 a-a_vtable  u32 1)");

} // namespace

TEST(explain, shows_every_byte_of_a_frame)
{
    EXPECT_EQ(shown("srv6_bsid_fwd_key", key_frame),
              "srv6_bsid_fwd_key, 32 bytes\n"
              "  0x0000  04 00 00 00             root offset: the table is at 0x0004\n"
              "  0x0004  f0 ff ff ff             table of srv6_bsid_fwd_key, soffset -16: the "
              "vtable is at 0x0014\n"
              "  0x0008  01 00 00 00             f0 uint32 = 1\n"
              "  0x000c  02 00 00 00             f1 uint32 = 2\n"
              "  0x0010  03 00 00 00             f2 uint32 = 3\n"
              "  0x0014  0a 00                   vtable length 10: 3 entries\n"
              "  0x0016  10 00                   table length 16 (not checked by readers)\n"
              "  0x0018  04 00                   f0 is at 0x0008\n"
              "  0x001a  08 00                   f1 is at 0x000c\n"
              "  0x001c  0c 00                   f2 is at 0x0010\n"
              "  0x001e  00 00                   padding\n"
              "  accepted; values are not checked\n");
}

TEST(explain, shows_vectors_elements_and_addresses)
{
    EXPECT_EQ(shown("srv6_sidnhp_fwd_delete", batch_packed),
              "srv6_sidnhp_fwd_delete, 46 bytes\n"
              "  0x0000  0c 00 00 00             root offset: the table is at 0x000c\n"
              "  0x0004  08 00                   vtable length 8: 2 entries\n"
              "  0x0006  10 00                   table length 16 (not checked by readers)\n"
              "  0x0008  00 00                   f0 is absent: zero\n"
              "  0x000a  04 00                   f1 is at 0x0010\n"
              "  0x000c  08 00 00 00             table of srv6_sidnhp_fwd_delete, soffset 8: the "
              "vtable is at 0x0004\n"
              "  0x0010  04 00 00 00             f1 vector<table srv6_sidnhp_fwd_key>, offset 4: "
              "it is at 0x0014\n"
              "  0x0014  01 00 00 00             f1: count 1\n"
              "  0x0018  0e 00 00 00             f1[0], offset 14: it is at 0x0026\n"
              "  0x001c  0a 00                   vtable length 10: 3 entries\n"
              "  0x001e  08 00                   table length 8 (not checked by readers)\n"
              "  0x0020  04 00                   f1[0].f0 is at 0x002a\n"
              "  0x0022  00 00                   f1[0].f1 is absent: zero\n"
              "  0x0024  00 00                   f1[0].f2 is absent: zero\n"
              "  0x0026  0a 00 00 00             f1[0]: table of srv6_sidnhp_fwd_key, soffset 10: "
              "the vtable is at 0x001c\n"
              "  0x002a  01 00 00 00             f1[0].f0 uint32 = 1\n"
              "  accepted; values are not checked\n");
    EXPECT_NE(shown("srv6_iid_fwd_key", address_packed)
                  .find("  0x001c  20 01 0d b8 00 00 00 00 f2 = 2001:db8::1\n"
                        "  0x0024  00 00 00 00 00 00 00 01\n"),
              std::string::npos);
}

// An element past the count that the bytes have room for, one table that two elements share, a
// vtable entry that leads past the end: what stands behind them is still shown.
TEST(explain, goes_on_behind_what_is_damaged)
{
    const bytes damaged = test::buffer_of(R"(
            u32 table                                     // 0: root offset
    vtable: u16 8  u16 16  u16 200  u16 4                 // 4: f0 leads past the end
    table:  u32 table-vtable                              // 12: soffset
            u32 @list                                     // 16
    list:   u32 9  u32 @a  u32 @a  u32 900                // 20: 9 elements do not fit
    a_vtable: u16 10  u16 12  u16 4  u16 0  u16 8         // 36
    a:      u32 a-a_vtable  u32 1  u32 3                  // 46)");
    ASSERT_EQ(damaged.size(), 58u);
    EXPECT_EQ(
        shown("srv6_sidnhp_fwd_delete", damaged),
        "srv6_sidnhp_fwd_delete, 58 bytes\n"
        "  0x0000  0c 00 00 00             root offset: the table is at 0x000c\n"
        "  0x0004  08 00                   vtable length 8: 2 entries\n"
        "  0x0006  10 00                   table length 16 (not checked by readers)\n"
        "  0x0008  c8 00                   f0 is at 0x00d4\n"
        "  >>>>>>  refused: f0: uint32 of 4 bytes at 0x00d4 passes the end of the message, "
        "0x003a\n"
        "          end of the field: 216, where 0 to 58 is accepted; 0x0008 leads to 0x00d4\n"
        "          a receiver stops here, and logs nothing\n"
        "          its record keeps what was read before; all else is zero, and vectors are "
        "released\n"
        "  0x000a  04 00                   f1 is at 0x0010\n"
        "  0x000c  08 00 00 00             table of srv6_sidnhp_fwd_delete, soffset 8: the "
        "vtable is at 0x0004\n"
        "  0x0010  04 00 00 00             f1 vector<table srv6_sidnhp_fwd_key>, offset 4: "
        "it is at 0x0014\n"
        "  0x0014  09 00 00 00             f1: count 9\n"
        "  >>>>>>  refused, too: f1: 9 elements of 4 bytes pass the end of the message, "
        "0x003a\n"
        "          end of the elements: 60, where 0 to 58 is accepted; 0x0014 leads to 0x0018\n"
        "  0x0018  16 00 00 00             f1[0], offset 22: it is at 0x002e\n"
        "  0x001c  12 00 00 00             f1[1], offset 18: it is at 0x002e, the table of "
        "f1[0]\n"
        "  0x0020  84 03 00 00             f1[2], offset 900: it is at 0x03a4\n"
        "  >>>>>>  refused, too: f1[2]: the table of srv6_sidnhp_fwd_key would be at 0x03a4 "
        "(932), which is not from 4 to 54\n"
        "          position of the table: 932, where 4 to 54 is accepted; 0x0020 leads to 0x03a4\n"
        "  0x0024  0a 00                   vtable length 10: 3 entries\n"
        "  0x0026  0c 00                   table length 12 (not checked by readers)\n"
        "  0x0028  04 00                   f1[0].f0 is at 0x0032\n"
        "  0x002a  00 00                   f1[0].f1 is absent: zero\n"
        "  0x002c  08 00                   f1[0].f2 is at 0x0036\n"
        "  0x002e  0a 00 00 00             f1[0]: table of srv6_sidnhp_fwd_key, soffset 10: "
        "the vtable is at 0x0024\n"
        "  0x0032  01 00 00 00             f1[0].f0 uint32 = 1\n"
        "  0x0036  03 00 00 00             f1[0].f2 uint32 = 3\n"
        "  refused at offset 0x0008, f0: uint32 of 4 bytes at 0x00d4 passes the end of the "
        "message, 0x003a\n");
}

TEST(explain, shows_the_frames_in_an_array_of_tables)
{
    const json::record block =
        json::parse_record(R"({"message":"srv6_cfg_query_trastat_rec_info"})");
    const std::string text = shown("srv6_cfg_query_trastat_rec_info",
                                   encode(block.type(), block.data(), encoding::frame));
    // 128 frames of 112 bytes: root offset, table of 72 bytes and soffset, vtable of 28, padding.
    EXPECT_NE(
        text.find("  0x0210  04 00 00 00             f0[0]: root offset of its own frame (not "
                  "read)\n"
                  "  0x0214  b4 ff ff ff             f0[0]: table of "
                  "srv6_cfg_query_trastat_item, soffset -76: the vtable is at 0x0260\n"),
        std::string::npos);
    EXPECT_NE(
        text.find("  0x027c  00 00 00 00             padding\n"
                  "  0x0280  04 00 00 00             f0[1]: root offset of its own frame (not "
                  "read)\n"),
        std::string::npos);
    EXPECT_EQ(text.find("nothing leads to"), std::string::npos);
}

TEST(explain, long_bodies_are_cut_and_stray_bytes_shown)
{
    const json::record item =
        json::parse_record(R"({"message":"srv6_cfg_query_dfx_cond","f2":"ff"})");
    bytes frame = encode(item.type(), item.data(), encoding::frame);
    frame.push_back(0xAA);
    const std::string text = shown("srv6_cfg_query_dfx_cond", frame);
    EXPECT_NE(text.find("          ... 64 more bytes\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  0x00a2  00 00 00 00 00 00 aa    nothing leads to these bytes\n"),
              std::string::npos)
        << text;
}

TEST(explain, stops_at_the_first_thing_out_of_range)
{
    const auto with = [](bytes from, std::size_t at, std::uint32_t value) {
        put_word(from, at, value);
        return from;
    };
    const char *const key = "srv6_bsid_fwd_key";
    EXPECT_EQ(verdict(key, {1, 2, 3}), "offset 0x0000: 3 bytes, where a message has at least 4");
    EXPECT_EQ(verdict(key, {}), "offset 0x0000: 0 bytes, where a message has at least 4");
    EXPECT_EQ(
        verdict(key, with(key_frame, 0, 100)),
        "offset 0x0000: the table of srv6_bsid_fwd_key would be at 0x0064 (100), which is not "
        "from 4 to 28");
    EXPECT_EQ(verdict(key, with(key_frame, 0, 3)),
              "offset 0x0000: the table of srv6_bsid_fwd_key would be at 0x0003 (3), which is not "
              "from 4 to 28");
    EXPECT_EQ(verdict(key, with(key_frame, 4, 256)),
              "offset 0x0004: the vtable of srv6_bsid_fwd_key would be at 0xffffff04 (4294967044), "
              "which is not from 4 to 28");
    EXPECT_EQ(verdict(key, with(key_frame, 20, 0x0010000D)),
              "offset 0x0014: the vtable of srv6_bsid_fwd_key would be 13 bytes long where 12 are "
              "left");
    EXPECT_EQ(
        verdict(key, with(key_frame, 24, 0x00190004)),
        "offset 0x001a, f1: uint32 of 4 bytes at 0x001d passes the end of the message, 0x0020");

    const char *const address = "srv6_iid_fwd_key";
    EXPECT_EQ(verdict(address, with(address_packed, 24, 3)),
              "offset 0x0018, f2: the count is 3 and must be 4");
    EXPECT_EQ(verdict(address, with(address_packed, 24, 5)),
              "offset 0x0018, f2: 5 elements of 4 bytes pass the end of the message, 0x002c; there "
              "must be 4");
    EXPECT_EQ(
        verdict(address, with(address_packed, 20, 21)),
        "offset 0x0014, f2: the offset leads to 0x0029, where no count fits before the end of "
        "the message, 0x002c");
    EXPECT_EQ(verdict(address, with(with(address_packed, 20, 8), 28, 4)),
              "offset 0x001c, f2: 4 elements of 4 bytes pass the end of the message, 0x002c");

    const char *const batch = "srv6_sidnhp_fwd_delete";
    EXPECT_EQ(verdict(batch, with(batch_packed, 20, 0x40000000)),
              "offset 0x0014, f1: 1073741824 elements of 4 bytes pass the end of the message, "
              "0x002e");
    EXPECT_EQ(verdict(batch, with(batch_packed, 24, 0xFFFFFFF0)),
              "offset 0x0018, f1[0]: the offset 4294967280 leads past 32 bits");
    EXPECT_EQ(verdict(batch, with(batch_packed, 38, 100)),
              "offset 0x0026, f1[0]: the vtable of srv6_sidnhp_fwd_key would be at 0xffffffc2 "
              "(4294967234), which is not from 4 to 42");
}

// What the library logs is asked of the library.
TEST(explain, says_what_the_library_logs_and_leaves_in_the_record)
{
    std::size_t untouched = 0;
    std::size_t logged = 0;
    std::size_t silent = 0;
    for (const auto &[info, fact] : test::all_messages()) {
        const message &m = *info;
        test::sample sample(m, 1, 2);
        const bytes whole = encode(m, sample.record(), encoding::packed);
        for (std::size_t at = 0; at + 1 < whole.size() && at < 200; at += 2) {
            bytes damaged = whole;
            damaged[at] ^= 0x40;
            damaged[at + 1] ^= 0x81;
            test::the_platform().forget_calls();
            const std::vector<std::uint64_t> before((m.record_size + 7) / 8, 0xEEEEEEEEEEEEEEEE);
            std::vector<std::uint64_t> record = before;
            test::functions_of(m).unpack(damaged.data(), static_cast<std::int32_t>(damaged.size()),
                                         record.data());
            const auto why = inspect::first_damage(m, damaged);
            ASSERT_EQ(record == before, why && why->leaves_the_record)
                << name_of(m) << " at " << at;
            untouched += record == before ? 1 : 0;
            const auto &logs = test::the_platform().logs;
            if (why && why->log) {
                ASSERT_EQ(logs.size(), 1u) << name_of(m) << " at " << at;
                EXPECT_EQ(why->log->text, logs[0].text);
                EXPECT_EQ(why->log->line, logs[0].line);
                EXPECT_STREQ(why->log->function, logs[0].function.c_str());
                ++logged;
            } else {
                ASSERT_TRUE(logs.empty()) << name_of(m) << " at " << at;
                silent += why ? 1 : 0;
            }
            if (record != before) // otherwise its pointers are none
                test::functions_of(m).free_unpacked(record.data());
        }
    }
    EXPECT_GT(untouched, test::counts::messages);
    EXPECT_GT(logged, 3 * test::counts::messages);
    EXPECT_GT(silent, 3 * test::counts::messages);
}

TEST(explain, accepts_what_readers_do_not_look_at)
{
    const char *const key = "srv6_bsid_fwd_key";
    bytes frame = key_frame;
    frame[22] = 0xEE; // table length
    frame[30] = 0xEE; // padding
    EXPECT_EQ(verdict(key, frame), "accepted");
    // A newer sender's fourth slot.
    const bytes newer = test::buffer_of("u32 table  table: u32 table-vtable "
                                        "u32 1  u32 2  u32 3  u32 4 "
                                        "vtable: u16 12  u16 20  u16 4  u16 8  u16 12  u16 16");
    EXPECT_EQ(verdict(key, newer), "accepted");
    EXPECT_NE(shown(key, newer)
                  .find("10 00                   slot 3, which srv6_bsid_fwd_key does not have is "
                        "at 0x0014\n"),
              std::string::npos)
        << shown(key, newer);
    // An older sender's two slots.
    EXPECT_EQ(verdict(key, test::buffer_of("u32 table  table: u32 table-vtable  u32 1  u32 2 "
                                           "vtable: u16 8  u16 12  u16 4  u16 8")),
              "accepted");
}

TEST(explain, refuses_records_that_take_more_than_32_bits_of_memory)
{
    // 259171 records of 16572 bytes are 2^32 + 14516 bytes.
    const message &m = named("srv6_cfg_query_dfx_rec");
    bytes big = test::buffer_of("u32 table  vtable: u16 8  u16 12  u16 0  u16 4 "
                                "table: u32 table-vtable  u32 @list  list: u32 259171");
    big.resize(big.size() + std::size_t{4} * 259171);
    EXPECT_EQ(verdict("srv6_cfg_query_dfx_rec", big),
              "offset 0x0014, f1: the records of 259171 elements need more memory "
              "than 32 bits can say");
    std::vector<std::uint64_t> record((m.record_size + 7) / 8);
    test::functions_of(m).unpack(big.data(), static_cast<std::int32_t>(big.size()), record.data());
    EXPECT_EQ(test::the_platform().logs.size(), 1u);
}

TEST(explain, every_truncation_of_every_message_gets_the_readers_verdict)
{
    std::size_t messages = 0;
    for (const auto &[info, fact] : test::all_messages()) {
        test::sample sample(*info, 1, 2);
        for (const bytes &whole : {encode(*info, sample.record(), encoding::frame),
                                   encode(*info, sample.record(), encoding::packed)}) {
            at_the_edge buffer(whole.size());
            ASSERT_FALSE(inspect::first_damage(*info, buffer.put(whole))) << name_of(*info);
            std::ostringstream ignored;
            for (std::size_t size = 0; size < whole.size(); ++size) {
                const auto cut = buffer.put(std::span(whole).first(size));
                // Text costs time, so that of the long messages is made for some cuts only.
                const bool with_text = whole.size() < 2048 || size % 61 == 0;
                ignored.str("");
                const auto why = inspect::first_damage(*info, cut);
                if (with_text)
                    tell(*info, cut, why, ignored);
                if (size < 4) {
                    ASSERT_TRUE(why.has_value());
                    continue;
                }
                // Every member of the sample is non-zero, so one that was not read shows.
                const library_view library = ask_library(*info, cut, sample.record());
                ASSERT_EQ(why.has_value(), !library.is_whole)
                    << name_of(*info) << " cut to " << size;
                ASSERT_TRUE(why || !library.logged) << name_of(*info) << " cut to " << size;
            }
        }
        ++messages;
    }
    EXPECT_EQ(messages, test::counts::messages);
}

TEST(explain, damaged_bytes_never_pass_what_the_reader_refuses)
{
    // The same bytes in every run.
    std::mt19937 random(1);
    for (const auto &[info, fact] : test::all_messages()) {
        test::sample sample(*info, 1, 2);
        for (const bytes &whole : {encode(*info, sample.record(), encoding::frame),
                                   encode(*info, sample.record(), encoding::packed)}) {
            at_the_edge buffer(whole.size());
            for (int round = 0; round < 200; ++round) {
                bytes damaged = whole;
                // The first bytes and the last are where the tables' own words are.
                const std::size_t span = std::min<std::size_t>(whole.size(), 64);
                const std::size_t at = random() % span;
                damaged[round % 2 == 0 ? at : whole.size() - 1 - at] ^=
                    static_cast<std::uint8_t>(1 + random() % 255);
                const auto bytes_at_edge = buffer.put(damaged);
                std::ostringstream ignored;
                const auto why = inspect::first_damage(*info, bytes_at_edge);
                if (whole.size() < 2048)
                    tell(*info, bytes_at_edge, why, ignored);
                const library_view library = ask_library(*info, bytes_at_edge, sample.record());
                // What is refused the library did not read to its end, and what the library logs
                // is refused.
                if (why) {
                    ASSERT_FALSE(library.is_whole) << name_of(*info) << ": " << to_text(*why);
                } else {
                    ASSERT_FALSE(library.logged) << name_of(*info);
                }
            }
        }
    }
}

TEST(explain, random_bytes_are_safe)
{
    // The same bytes in every run.
    std::mt19937 random(2);
    at_the_edge buffer(4096);
    for (const auto &[info, fact] : test::all_messages()) {
        for (int round = 0; round < 200; ++round) {
            bytes noise(4 + random() % 300);
            // Small numbers lead somewhere more often than large ones.
            for (std::uint8_t &byte : noise)
                byte = static_cast<std::uint8_t>(random() % 4 == 0 ? random() % 64 : 0);
            std::ostringstream ignored;
            const auto at_edge = buffer.put(noise);
            tell(*info, at_edge, inspect::first_damage(*info, at_edge), ignored);
        }
    }
}
