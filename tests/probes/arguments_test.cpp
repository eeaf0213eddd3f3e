// The arguments of the library's static probes, as a tracer gets them (tracer.h), for one refusal of
// each kind. docs/probes.md says what they are.
#include <gtest/gtest.h>

#include <cstring>

#include "srv6.h"
#include "srv6_cfg.h"
#include "srv6_sync.h"
#include "tests/probes/tracer.h"
#include "tests/support/platform.h"

namespace vorl::test {
namespace {

using bytes = std::vector<std::uint8_t>;
using expected_hits = std::vector<probe_hit>;

constexpr std::uint64_t localsid = 0xB7B345A9;
constexpr std::uint64_t common = 0xC540D1A9;
constexpr std::uint64_t common_update = 0x7919FA9B;
constexpr std::uint64_t trastat_info = 0xA69341D3;
constexpr std::uint64_t dfx_rec = 0x301BC2B7;

class probes : public ::testing::Test {
  protected:
    static void SetUpTestSuite()
    {
        attach_to(reinterpret_cast<const void *>(&srv6_localsid_fwd__pack),
                  probe_sites(READELF, LIBRARY_FILE));
    }
    ~probes() override { the_platform() = platform(); }
};

/// docs/format.md has these 68 bytes: the table is at 34, its vtable at 4, f0 at 38, the offset word
/// of f5 at 42, its count at 48, its elements at 52.
bytes packed_sid()
{
    srv6_localsid_fwd sid = {};
    sid.f0 = 1;
    sid.f5[0] = 0xB80D0120;
    sid.f6 = 48;
    bytes packed(256);
    auto size = static_cast<std::uint32_t>(packed.size());
    EXPECT_EQ(srv6_localsid_fwd__pack(&sid, packed.data(), &size), 0U);
    EXPECT_EQ(size, 68U);
    packed.resize(size);
    return packed;
}

/// The vtable is at 4, the table at 12, f0 at 16. With elements the offset word of f1 is at 20, its
/// count at 24, the words of the elements from 28.
bytes packed_update(std::uint32_t count)
{
    srv6_common_fwd elements[3] = {};
    const srv6_common_fwd_update update = {1, count, count == 0 ? nullptr : elements};
    bytes packed(4096);
    auto size = static_cast<std::uint32_t>(packed.size());
    EXPECT_EQ(srv6_common_fwd_update__pack(&update, packed.data(), &size), 0U);
    packed.resize(size);
    return packed;
}

/// What is hit while the bytes are unpacked, with one of them another.
template <class Record>
expected_hits hits_of(std::uint32_t unpack(const void *, std::int32_t, void *),
                      void release(void *), bytes message, std::size_t at, std::uint8_t to)
{
    message.at(at) = to;
    // The first call of a side goes another way than all later ones.
    expected_hits first;
    for (const bool is_first : {true, false}) {
        Record record = {};
        take_hits();
        unpack(message.data(), static_cast<std::int32_t>(message.size()), &record);
        release(&record);
        const expected_hits now = take_hits();
        if (is_first)
            first = now;
        else
            EXPECT_EQ(now, first);
    }
    return first;
}
expected_hits sid_hits(std::size_t at, std::uint8_t to)
{
    return hits_of<srv6_localsid_fwd>(srv6_localsid_fwd__unpack, srv6_localsid_fwd_free__unpacked,
                                      packed_sid(), at, to);
}
expected_hits update_hits(const bytes &message, std::size_t at, std::uint8_t to)
{
    return hits_of<srv6_common_fwd_update>(srv6_common_fwd_update__unpack,
                                           srv6_common_fwd_update_free__unpacked, message, at, to);
}

/// The two numbers of the log's last line are in its text; its `line` is the probe's.
void expect_logged(std::uint32_t line, const std::string &text)
{
    ASSERT_FALSE(the_platform().logs.empty());
    EXPECT_EQ(the_platform().logs.back().line, line);
    EXPECT_EQ(the_platform().logs.back().text, text);
}

TEST_F(probes, of_a_table_that_is_refused)
{
    EXPECT_EQ(sid_hits(0, 65), (expected_hits{{"table_refused", {localsid, 20, 65, 65, 68}}}));
    expect_logged(20, "[ZELKO]:Table offset(65) is out of range(4 - 68)");
    EXPECT_EQ(sid_hits(34, 31), (expected_hits{{"table_refused", {localsid, 21, 34, 34, 64}}}));
    expect_logged(21, "[ZELKO]:Vtable offset(34) is out of range(4 - 64)");
    EXPECT_EQ(sid_hits(4, 66), (expected_hits{{"table_refused", {localsid, 22, 34, 66, 64}}}));
    expect_logged(22, "[ZELKO]:Vtable Len(66) is out of range(0 - 64)");
}

TEST_F(probes, of_a_root_table_that_is_refused)
{
    const bytes update = packed_update(0);
    ASSERT_EQ(update.size(), 20U);
    EXPECT_EQ(update_hits(update, 0, 17),
              (expected_hits{{"table_refused", {common_update, 10, 17, 17, 20}}}));
    expect_logged(10, "[ZELKO]:Table offset(17) is out of range(4 - 20)");
    EXPECT_EQ(update_hits(update, 12, 9),
              (expected_hits{{"table_refused", {common_update, 11, 12, 12, 16}}}));
    expect_logged(11, "[ZELKO]:Vtable offset(12) is out of range(4 - 16)");
    EXPECT_EQ(update_hits(update, 4, 17),
              (expected_hits{{"table_refused", {common_update, 12, 12, 17, 16}}}));
    expect_logged(12, "[ZELKO]:Vtable Len(17) is out of range(0 - 16)");
}

// No line of the log tells of these.
TEST_F(probes, of_a_field_that_is_refused)
{
    // f0 at 34 + 31, which passes the end; f5's body at 42 + 23; its count not 4; its elements.
    EXPECT_EQ(sid_hits(8, 31), (expected_hits{{"field_refused", {localsid, 0, 65, 0, 65}}}));
    EXPECT_EQ(sid_hits(42, 23), (expected_hits{{"field_refused", {localsid, 1, 42, 5, 65}}}));
    EXPECT_EQ(sid_hits(48, 3), (expected_hits{{"field_refused", {localsid, 2, 48, 5, 52}}}));
    EXPECT_EQ(sid_hits(48, 5), (expected_hits{{"field_refused", {localsid, 3, 48, 5, 52}}}));
    EXPECT_TRUE(the_platform().logs.empty());
}

TEST_F(probes, of_a_field_of_a_message_with_a_vector)
{
    const bytes update = packed_update(3);
    ASSERT_EQ(update.size(), 298U);
    // The offset word is 4; with its second byte 2 it is 516.
    EXPECT_EQ(update_hits(update, 21, 2),
              (expected_hits{{"field_refused", {common_update, 1, 20, 1, 536}}}));
    EXPECT_EQ(update_hits(update, 24, 200),
              (expected_hits{{"field_refused", {common_update, 3, 24, 1, 28}}}));
    EXPECT_TRUE(the_platform().logs.empty());
}

// The message is that of the table, which has no slot yet: 0.
TEST_F(probes, of_a_word_that_leads_past_32_bits)
{
    bytes update = packed_update(3);
    for (const std::size_t at : {29U, 30U, 31U})
        update[at] = 0xFF;
    EXPECT_EQ(update_hits(update, 28, 0xFF),
              (expected_hits{{"field_refused", {common, 4, 28, 0, 28 + 0xFFFFFFFFULL}}}));

    // The root table at 12, with f1 at 16, whose table is of a message with tables.
    const bytes rec = {12, 0, 0, 0, 8, 0, 8, 0, 0, 0, 4, 0, 8, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(hits_of<srv6_cfg_query_trastat_rec>(srv6_cfg_query_trastat_rec__unpack,
                                                  srv6_cfg_query_trastat_rec_free__unpacked, rec, 0,
                                                  12),
              (expected_hits{{"field_refused", {trastat_info, 4, 16, 0, 16 + 0xFFFFFFFFULL}}}));
    EXPECT_TRUE(the_platform().logs.empty());
}

TEST_F(probes, of_a_vector_without_memory)
{
    const bytes update = packed_update(3);
    for (int call = 0; call < 2; ++call) {
        srv6_common_fwd_update record = {};
        take_hits();
        the_platform().fail_allocation_at = 1;
        srv6_common_fwd_update__unpack(update.data(), static_cast<std::int32_t>(update.size()),
                                       &record);
        EXPECT_EQ(take_hits(), (expected_hits{{"no_memory", {common_update, 1001, 28, 168}}}));
        expect_logged(1001, "[ZELKO]:Malloc unpack data unsuccess, size(168)");
        EXPECT_EQ(record.f1, nullptr);
    }
}

// The log has the lower 32 bits of the size.
TEST_F(probes, of_a_vector_that_needs_more_than_32_bits)
{
    const std::uint32_t count = 0x1'0000'0000 / sizeof(srv6_cfg_query_dfx_item) + 1;
    bytes rec = {12, 0, 0, 0, 8, 0, 8, 0, 0, 0, 4, 0, 8, 0, 0, 0, 4, 0, 0, 0};
    rec.resize(24 + std::size_t{count} * 4);
    std::memcpy(&rec[20], &count, sizeof count);
    EXPECT_EQ(hits_of<srv6_cfg_query_dfx_rec>(srv6_cfg_query_dfx_rec__unpack,
                                              srv6_cfg_query_dfx_rec_free__unpacked, rec, 0, 12),
              (expected_hits{
                  {"no_memory", {dfx_rec, 1001, 24, count * sizeof(srv6_cfg_query_dfx_item)}}}));
}

TEST_F(probes, of_frames_without_memory)
{
    const srv6_localsid_fwd sids[2] = {};
    const srv6_common_fwd_update updates[2] = {{1, 0, nullptr}, {1, 0, nullptr}};
    const std::vector<std::uint8_t> info(sizeof(srv6_cfg_query_trastat_rec_info));
    const auto *const large =
        reinterpret_cast<const srv6_cfg_query_trastat_rec_info *>(info.data());
    const auto expect = [](std::uint64_t message, std::uint64_t size, auto &&send) {
        take_hits();
        the_platform().fail_allocation_at = 1;
        EXPECT_EQ(send(), 0xFFFFFFFF);
        EXPECT_EQ(take_hits(), (expected_hits{{"no_memory", {message, 0, 0, size}}}));
    };
    // Two frames of 104 bytes and two descriptors of 16; one frame; the packed bytes; an area.
    expect(localsid, 240, [&] { return srv6_localsid_fwd__sendbatch(9, sids, 2, 0); });
    expect(trastat_info, 14872,
           [&] { return srv6_cfg_query_trastat_rec_info__sendsingle(9, large, 0, 0); });
    expect(common_update, 20, [&] { return srv6_common_fwd_update__sendsingle(9, updates, 0, 0); });
    expect(common_update, 65568,
           [&] { return srv6_common_fwd_update__sendbatch(9, updates, 2, 0); });
    EXPECT_TRUE(the_platform().sends.empty());
}

TEST_F(probes, of_a_send_that_the_bus_refuses)
{
    const srv6_localsid_fwd sids[2] = {};
    const srv6_common_fwd_update updates[2] = {{1, 0, nullptr}, {1, 0, nullptr}};
    const std::vector<std::uint8_t> info(sizeof(srv6_cfg_query_trastat_rec_info));
    const auto *const large =
        reinterpret_cast<const srv6_cfg_query_trastat_rec_info *>(info.data());
    const std::uint64_t to = 0x123456789ABC;
    const auto expect = [](const probe_hit &hit, auto &&send) {
        take_hits();
        the_platform().bus_result = 0x80000007;
        EXPECT_EQ(send(), 0x80000007);
        EXPECT_EQ(take_hits(), expected_hits{hit});
        the_platform().bus_result = 0;
        EXPECT_EQ(send(), 0U);
        EXPECT_EQ(take_hits(), expected_hits{});
    };
    expect({"bus_error", {localsid, 0x80000007, 9, 2, to}},
           [&] { return srv6_localsid_fwd__sendbatch(9, sids, 2, to); });
    expect({"bus_error", {trastat_info, 0x80000007, 9, 1, 0}},
           [&] { return srv6_cfg_query_trastat_rec_info__sendsingle(9, large, 0, 0); });
    expect({"bus_error", {common_update, 0x80000007, 9, 1, to}},
           [&] { return srv6_common_fwd_update__sendsingle(9, updates, 0, to); });
    expect({"bus_error", {common_update, 0x80000007, 9, 2, 0}},
           [&] { return srv6_common_fwd_update__sendbatch(9, updates, 2, 0); });
}

// A record whose frame is on the stack calls the bus from code that has room for nothing else. Only
// a side's first call goes through the sends that have the probe. Nothing else here uses srv6_sync.
TEST_F(probes, of_a_single_short_frame_are_none)
{
    const srv6_sync_policy_fwd policy = {};
    the_platform().bus_result = 7;
    take_hits();
    for (const std::size_t hits : {1U, 0U, 0U}) {
        EXPECT_EQ(srv6_sync_policy_fwd__sendsingle(9, &policy, 0, 0), 7U);
        EXPECT_EQ(take_hits().size(), hits);
        std::uint8_t packed[1024];
        std::uint32_t size = sizeof packed;
        EXPECT_EQ(srv6_sync_policy_fwd__pack(&policy, packed, &size), 0U);
    }
}

TEST_F(probes, of_what_succeeds_are_none)
{
    EXPECT_EQ(sid_hits(0, 34), expected_hits{});
    EXPECT_EQ(update_hits(packed_update(3), 0, 12), expected_hits{});
}

} // namespace
} // namespace vorl::test
