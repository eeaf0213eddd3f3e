// Records to bytes and back without the library, held against the library.
#include <gtest/gtest.h>

#include "inspect/decode.h"
#include "inspect/encode.h"
#include "inspect/hex.h"
#include "tests/codec/support/fixture.h"
#include "tests/facts/counts.h"
#include "tests/support/platform.h"
#include "tests/support/samples.h"
#include "tools/vorl/json_record.h"

using namespace vorl;
using inspect::encode;
using inspect::encoding;
using bytes = std::vector<std::uint8_t>;

namespace {

const message &named(const char *name) { return catalogue::find_message(name)->data; }

std::string hex_of(const bytes &content) { return to_hex(content.data(), content.size(), " "); }

/// What the library hands to the bus.
bytes sent(const message &m, const void *record)
{
    test::the_platform().forget_calls();
    EXPECT_EQ(test::functions_of(m).sendmsg(1, record, 1), 0u);
    const auto &sends = test::the_platform().sends;
    return sends.size() == 1 && sends[0].frames.size() == 1 ? sends[0].frames[0].bytes : bytes();
}

} // namespace

TEST(encode, writes_frames_and_packed_bytes)
{
    const json::record key = json::parse_record(R"({"message":"srv6_bsid_fwd_key","f0":1,"f2":3})");
    const bytes frame = encode(key.type(), key.data(), encoding::frame);
    EXPECT_EQ(hex_of(frame), hex_of(test::buffer_of(R"(
                                 u32 table                // root offset
                         table:  u32 table-vtable         // soffset
                                 u32 1  u32 0  u32 3
                         vtable: u16 10  u16 16  u16 4  u16 8  u16 12
                                 zeros 2)")));
    const bytes packed = encode(key.type(), key.data(), encoding::packed);
    EXPECT_EQ(hex_of(packed), hex_of(test::buffer_of(R"(
                                  u32 table               // root offset
                          vtable: u16 10  u16 12  u16 4  u16 0  u16 8
                          table:  u32 table-vtable        // soffset
                                  u32 1  u32 3)")));
}

TEST(encode, writes_what_the_library_writes)
{
    std::size_t messages = 0;
    for (const auto &[info, fact] : test::all_messages()) {
        SCOPED_TRACE(name_of(*info));
        test::sample full(*info, 1, 3);
        const bytes zeros(info->record_size);
        for (const void *record :
             {static_cast<const void *>(full.record()), static_cast<const void *>(zeros.data())}) {
            EXPECT_EQ(encode(*info, record, encoding::frame), sent(*info, record));
            EXPECT_EQ(encode(*info, record, encoding::packed), test::packed(*info, record));
        }
        ++messages;
    }
    EXPECT_EQ(messages, test::counts::messages);
}

TEST(encode, a_count_without_pointer_has_no_bytes)
{
    const message &m = named("srv6_cfg_query_comm_param");
    const std::uint32_t lost[6] = {0, 0, 5, 0, 0, 0};
    EXPECT_TRUE(encode(m, lost, encoding::frame).empty());
    EXPECT_TRUE(encode(m, lost, encoding::packed).empty());
}

TEST(decode, reads_what_was_encoded)
{
    std::size_t messages = 0;
    for (const auto &[info, fact] : test::all_messages()) {
        SCOPED_TRACE(name_of(*info));
        test::sample sample(*info, 1, 3);
        for (const encoding as : {encoding::frame, encoding::packed}) {
            // Every byte is written, whatever it was.
            std::vector<std::uint64_t> record((info->record_size + 7) / 8, ~std::uint64_t{0});
            EXPECT_FALSE(inspect::decode(*info, encode(*info, sample.record(), as), record.data()));
            EXPECT_TRUE(test::same_record(*info, sample.record(), record.data()));
            inspect::release(*info, record.data());
            test::each_vector(*info, record.data(), [](const slot &s, void *holder) {
                EXPECT_EQ(test::pointer_of(holder, s), nullptr);
            });
        }
        ++messages;
    }
    EXPECT_EQ(messages, test::counts::messages);
}

TEST(decode, a_refused_record_owns_nothing)
{
    const message &m = named("srv6_cfg_query_dfx_rec");
    test::sample sample(m, 1, 2);
    bytes cut = encode(m, sample.record(), encoding::packed);
    cut.resize(cut.size() - 1);
    std::vector<std::uint64_t> record((m.record_size + 7) / 8, ~std::uint64_t{0});
    const auto why = inspect::decode(m, cut, record.data());
    ASSERT_TRUE(why);
    EXPECT_EQ(why->member, "f1[1].f4");
    std::size_t vectors = 0;
    test::each_vector(m, record.data(), [&vectors](const slot &s, void *holder) {
        EXPECT_EQ(test::pointer_of(holder, s), nullptr);
        EXPECT_NE(test::count_of(holder, s), 0u);
        ++vectors;
    });
    EXPECT_EQ(vectors, 2u);
}
