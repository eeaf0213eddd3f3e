// What idlc makes of golden/srv6.idl, compiled: records go through pack, unpack and frames and come
// back whole, in both byte orders.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "srv6.h"
#include "tests/support/bindings.h"
#include "tests/support/platform.h"
#include "tests/support/run.h"

namespace {

using namespace vorl::test;

// Every member of a record gets a value of its own.
/// Records whole, padding included.
bool are_same_bytes(const void *a, const void *b, std::size_t size)
{
    return std::memcmp(a, b, size) == 0;
}

class filler {
  public:
    void fill(srv6_leaf &r)
    {
        r.f0 = static_cast<uint8_t>(next());
        r.f1 = static_cast<uint16_t>(next());
        r.f2 = next() * 0x10001;
        r.f3 = next() * UINT64_C(0x1000100010001);
        for (uint8_t &byte : r.f4)
            byte = static_cast<uint8_t>(next());
        for (uint32_t &word : r.f5)
            word = next() * 0x10001;
    }
    void fill(srv6_middle &r)
    {
        fill(r.f0);
        for (srv6_leaf &leaf : r.f1)
            fill(leaf);
        r.f2 = static_cast<uint16_t>(next());
    }
    void fill(srv6_deep &r)
    {
        fill(r.f0);
        for (srv6_middle &middle : r.f1)
            fill(middle);
        r.f2 = static_cast<uint8_t>(next());
    }
    void fill(std::vector<uint8_t> &bytes, size_t count)
    {
        bytes.resize(count);
        for (uint8_t &byte : bytes)
            byte = static_cast<uint8_t>(next());
    }

  private:
    uint32_t next() { return last_ += 0x0107; }
    uint32_t last_ = 0;
};

// A whole record with the memory that its vectors point to. Records are compared as bytes, so all
// begin as zeros; those of the vectors are zero-initialized whole.
struct filled_whole {
    srv6_whole record;
    std::vector<srv6_middle> middles;
    std::vector<srv6_deep> deeps;
    std::vector<uint8_t> run;
    std::vector<uint8_t> bytes;

    filled_whole(size_t middle_count, size_t deep_count, size_t run_size, size_t byte_count)
        : middles(middle_count), deeps(deep_count)
    {
        std::memset(&record, 0, sizeof record);
        filler f;
        record.f0 = 0x5A;
        for (srv6_middle &middle : middles)
            f.fill(middle);
        f.fill(run, run_size);
        record.f1.f0_count = static_cast<uint32_t>(middle_count);
        record.f1.f0 = middles.data();
        record.f1.f1.f0_count = static_cast<uint32_t>(run_size);
        record.f1.f1.f0 = run.data();
        record.f1.f1.f1 = 0x12345678;
        record.f1.f2 = 0x7F;
        for (srv6_deep &deep : deeps)
            f.fill(deep);
        record.f2_count = static_cast<uint32_t>(deep_count);
        record.f2 = deeps.data();
        f.fill(record.f3);
        f.fill(bytes, byte_count);
        record.f4_count = static_cast<uint32_t>(byte_count);
        record.f4 = bytes.data();
        f.fill(record.f5[0]);
        std::memcpy(record.f6, "\x01\x02\x03\x04\x05", 5);
        record.f7 = 0x1122334455667788;
        record.f8[0] = 0x10203040;
        record.f8[1] = 0x50607080;
        record.f8[2] = 0x90A0B0C0;
    }
};

srv6_whole without_pointers(srv6_whole record)
{
    record.f1.f0 = nullptr;
    record.f1.f1.f0 = nullptr;
    record.f2 = nullptr;
    record.f4 = nullptr;
    return record;
}

void expect_same(const srv6_whole &got, const filled_whole &sent)
{
    const srv6_whole a = without_pointers(got);
    const srv6_whole b = without_pointers(sent.record);
    EXPECT_TRUE(are_same_bytes(&a, &b, sizeof a));
    const auto same = [](const void *to, const auto &from) {
        return from.empty() ? to == nullptr
                            : to != nullptr &&
                                  std::memcmp(to, from.data(), from.size() * sizeof from[0]) == 0;
    };
    EXPECT_TRUE(same(got.f1.f0, sent.middles));
    EXPECT_TRUE(same(got.f1.f1.f0, sent.run));
    EXPECT_TRUE(same(got.f2, sent.deeps));
    EXPECT_TRUE(same(got.f4, sent.bytes));
}

template <class Record>
std::vector<uint8_t> packed(const Record &record,
                            uint32_t (*pack)(const Record *, void *, uint32_t *))
{
    std::vector<uint8_t> bytes(1 << 20);
    auto size = static_cast<uint32_t>(bytes.size());
    EXPECT_EQ(pack(&record, bytes.data(), &size), 0U);
    bytes.resize(size);
    return bytes;
}

// Both byte orders; the second is told by the platform's flags.
class golden : public testing::TestWithParam<bool> {
  protected:
    void SetUp() override
    {
        reset_platform();
        forget_bindings();
        if (GetParam())
            swap_bytes();
    }
    void TearDown() override
    {
        EXPECT_EQ(the_platform().live_blocks, 0U);
        forget_bindings();
    }
};

int32_t length_of(const std::vector<uint8_t> &bytes) { return static_cast<int32_t>(bytes.size()); }

TEST_P(golden, variable_size_record_survives_pack_and_unpack)
{
    for (const size_t count : {0U, 1U, 3U}) {
        const filled_whole sent(count, 2 * count, 7 * count, 1000 * count);
        const std::vector<uint8_t> bytes = packed(sent.record, srv6_whole__pack);
        srv6_whole got;
        std::memset(&got, 0xEE, sizeof got);
        EXPECT_EQ(srv6_whole__unpack(bytes.data(), length_of(bytes), &got), sizeof got);
        expect_same(got, sent);
        EXPECT_EQ(packed(got, srv6_whole__pack), bytes);
        srv6_whole_free__unpacked(&got);
        const srv6_whole released = without_pointers(got);
        EXPECT_TRUE(are_same_bytes(&got, &released, sizeof got))
            << "pointers are null, counts stay";
        EXPECT_EQ(got.f1.f0_count, count);
    }
    EXPECT_TRUE(the_platform().logs.empty());
}

TEST_P(golden, variable_size_record_survives_a_send)
{
    const filled_whole sent(2, 1, 5, 6);
    EXPECT_EQ(srv6_whole__sendmsg(9, &sent.record, 1), 0U);
    ASSERT_EQ(the_platform().sends.size(), 1U);
    const auto &frame = the_platform().sends[0].frames.at(0);
    EXPECT_EQ(frame.msg_id, srv6_whole_msg_id);
    EXPECT_EQ(frame.bytes, packed(sent.record, srv6_whole__pack));
}

TEST_P(golden, fixed_size_record_survives_pack_and_frame)
{
    srv6_deep sent[2];
    std::memset(sent, 0, sizeof sent);
    filler f;
    f.fill(sent[0]);
    f.fill(sent[1]);
    EXPECT_EQ(srv6_deep__sendmsg(9, sent, 2), 0U);
    ASSERT_EQ(the_platform().sends.size(), 1U);
    const auto &frames = the_platform().sends[0].frames;
    ASSERT_EQ(frames.size(), 2U);
    for (size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(frames[i].bytes.size(), 1048U);
        const std::vector<uint8_t> compact = packed(sent[i], srv6_deep__pack);
        for (const std::vector<uint8_t> &bytes : {frames[i].bytes, compact}) {
            srv6_deep got;
            std::memset(&got, 0xEE, sizeof got);
            EXPECT_EQ(srv6_deep__unpack(bytes.data(), length_of(bytes), &got), sizeof got);
            EXPECT_TRUE(are_same_bytes(&got, &sent[i], sizeof got));
        }
    }
    EXPECT_TRUE(the_platform().logs.empty());
}

// What the sender's memory held before is not sent on: the platform's blocks are full of 0xA5.
TEST_P(golden, frames_are_padded_with_zeros)
{
    const srv6_leaf leaves[2] = {};
    const srv6_middle middles[2] = {};
    const srv6_deep deeps[2] = {};
    EXPECT_EQ(srv6_leaf__sendmsg(1, leaves, 2), 0U);
    EXPECT_EQ(srv6_middle__sendmsg(1, middles, 2), 0U);
    EXPECT_EQ(srv6_deep__sendmsg(1, deeps, 2), 0U);
    const auto &sends = the_platform().sends;
    ASSERT_EQ(sends.size(), 3U);
    // Behind the table and behind the vtable; the first inner frame begins at 8.
    const struct {
        size_t send;
        size_t begin;
        size_t end;
    } paddings[] = {
        {0, 50, 52},
        {0, 68, 72}, // leaf
        {1, 318, 320},
        {1, 330, 336}, // middle
        {1, 8 + 50, 8 + 52},
        {1, 8 + 68, 8 + 72}, // its first leaf
        {2, 1033, 1036},
        {2, 1046, 1048}, // deep
        {2, 8 + 318, 8 + 320},
        {2, 8 + 330, 8 + 336}, // its first middle
        {2, 696 + 318, 696 + 320},
        {2, 696 + 330, 696 + 336}, // and its last
    };
    for (const auto &padding : paddings) {
        for (const auto &frame : sends[padding.send].frames) {
            for (size_t at = padding.begin; at < padding.end; ++at)
                EXPECT_EQ(frame.bytes.at(at), 0) << padding.send << ": " << at;
        }
    }
}

TEST_P(golden, record_of_zeros_survives)
{
    srv6_deep sent;
    std::memset(&sent, 0, sizeof sent);
    const std::vector<uint8_t> bytes = packed(sent, srv6_deep__pack);
    srv6_deep got;
    std::memset(&got, 0xEE, sizeof got);
    srv6_deep__unpack(bytes.data(), length_of(bytes), &got);
    EXPECT_TRUE(are_same_bytes(&got, &sent, sizeof got));
}

TEST_P(golden, cut_records_leave_no_memory)
{
    const filled_whole sent(1, 1, 3, 4);
    const std::vector<uint8_t> bytes = packed(sent.record, srv6_whole__pack);
    for (size_t length = 0; length < bytes.size(); ++length) {
        // A block of its own, so that a read beyond it is seen.
        const std::vector<uint8_t> cut(bytes.begin(),
                                       bytes.begin() + static_cast<std::ptrdiff_t>(length));
        srv6_whole got;
        std::memset(&got, 0, sizeof got);
        srv6_whole__unpack(cut.data(), length_of(cut), &got);
        srv6_whole_free__unpacked(&got);
        ASSERT_EQ(the_platform().live_blocks, 0U) << length;
    }
}

TEST_P(golden, own_malloc_text_is_logged)
{
    const filled_whole sent(2, 0, 0, 0);
    const std::vector<uint8_t> bytes = packed(sent.record, srv6_whole__pack);
    the_platform().fail_allocation_at = 1;
    srv6_whole got;
    srv6_whole__unpack(bytes.data(), length_of(bytes), &got);
    EXPECT_EQ(got.f1.f0, nullptr);
    ASSERT_EQ(the_platform().logs.size(), 1U);
    // Two records of 136 bytes.
    EXPECT_EQ(the_platform().logs[0].text, "[ZELKO]:No memory for a batch, size(272)");
    srv6_whole_free__unpacked(&got);
}

// Messages that no kernel is made for: the door gives them to the plain codec.

TEST_P(golden, arrays_alone_are_packed)
{
    srv6_bodies sent;
    std::memset(&sent, 0, sizeof sent);
    sent.f0[0] = 0x01020304;
    sent.f0[1] = 0x05060708;
    std::memcpy(sent.f1, "\x11\x12\x13\x14\x15", 5);
    const std::vector<uint8_t> native = {0x0C, 0,    0,    0, // root offset: 12
                                         0x08, 0,    0x21, 0, // vtable: 8 bytes, the table 33
                                         0x04, 0,    0x08, 0, // f0, f1
                                         0x08, 0,    0,    0, // table: soffset 8
                                         0x08, 0,    0,    0, // f0: 8 on, to its body
                                         0x10, 0,    0,    0, // f1: 16 on
                                         0x02, 0,    0,    0, // body of f0: two values
                                         0x04, 0x03, 0x02, 0x01, 0x08, 0x07, 0x06, 0x05, //
                                         0x05, 0,    0,    0, // body of f1: five values
                                         0x11, 0x12, 0x13, 0x14, 0x15};
    const std::vector<uint8_t> swapped = {0,    0,    0,    0x0C,                         //
                                          0,    0x08, 0,    0x21,                         //
                                          0,    0x04, 0,    0x08,                         //
                                          0,    0,    0,    0x08,                         //
                                          0,    0,    0,    0x08,                         //
                                          0,    0,    0,    0x10,                         //
                                          0,    0,    0,    0x02,                         //
                                          0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, //
                                          0,    0,    0,    0x05,                         //
                                          0x11, 0x12, 0x13, 0x14, 0x15};
    const std::vector<uint8_t> bytes = packed(sent, srv6_bodies__pack);
    EXPECT_EQ(bytes, GetParam() ? swapped : native);
    srv6_bodies got;
    std::memset(&got, 0xEE, sizeof got);
    srv6_bodies__unpack(bytes.data(), length_of(bytes), &got);
    EXPECT_TRUE(are_same_bytes(&got, &sent, sizeof got));
}

/// Packs, reads, sends and reads a record of `slots` scalars of `width` bytes, of which every third
/// is zero; `packed_size` and `frame_size` are its two lengths.
template <class Record>
void expect_survives(size_t slots, size_t width, size_t packed_size, size_t frame_size,
                     uint32_t (*pack)(const Record *, void *, uint32_t *),
                     uint32_t (*unpack)(const void *, int32_t, void *),
                     uint32_t (*send)(uint32_t, const Record *, uint32_t))
{
    ASSERT_EQ(sizeof(Record), slots * width);
    Record sent;
    auto *const into = reinterpret_cast<uint8_t *>(&sent);
    for (size_t i = 0; i < sizeof sent; ++i)
        into[i] = i / width % 3 == 1 ? uint8_t{0} : static_cast<uint8_t>(i + 1);
    const std::vector<uint8_t> bytes = packed(sent, pack);
    EXPECT_EQ(bytes.size(), packed_size);
    reset_platform();
    EXPECT_EQ(send(9, &sent, 1), 0U);
    const std::vector<uint8_t> frame = the_platform().sends.at(0).frames.at(0).bytes;
    EXPECT_EQ(frame.size(), frame_size);
    for (const std::vector<uint8_t> &form : {bytes, frame}) {
        Record got;
        std::memset(&got, 0xEE, sizeof got);
        EXPECT_EQ(unpack(form.data(), length_of(form), &got), sizeof got);
        EXPECT_TRUE(are_same_bytes(&got, &sent, sizeof got));
        // The last field is cut: all before it is there.
        const std::vector<uint8_t> cut(bytes.begin(), bytes.end() - 1);
        unpack(cut.data(), length_of(cut), &got);
        EXPECT_TRUE(are_same_bytes(&got, &sent, sizeof got - 2 * width));
    }
}

TEST_P(golden, many_scalars_survive)
{
    // Root offset, vtable, soffset, and the 22, 9 and 44 that are not zero. Frames: root offset,
    // soffset and fields, up to a multiple of 4; vtable, up to one of 8.
    expect_survives(33, 1, 4 + 70 + 4 + 22, 120, srv6_long__pack, srv6_long__unpack,
                    srv6_long__sendmsg);
    expect_survives(14, 8, 4 + 32 + 4 + 9 * 8, 152, srv6_wide__pack, srv6_wide__unpack,
                    srv6_wide__sendmsg);
    expect_survives(65, 1, 4 + 134 + 4 + 43, 216, srv6_longest__pack, srv6_longest__unpack,
                    srv6_longest__sendmsg);
}

TEST_P(golden, an_absent_scalar_of_8_bytes_is_read_as_zero)
{
    srv6_roomy sent;
    std::memset(&sent, 0x77, sizeof sent);
    for (const auto &[wide, narrow] :
         {std::pair(0, 0), std::pair(0, 5), std::pair(6, 0), std::pair(6, 5)}) {
        sent.f0 = static_cast<uint64_t>(wide);
        sent.f1 = static_cast<uint32_t>(narrow);
        const std::vector<uint8_t> bytes = packed(sent, srv6_roomy__pack);
        // Root offset, vtable of five slots, soffset, two offset words, two bodies of 4 and 16, f4.
        EXPECT_EQ(bytes.size(), 4U + 14 + 4 + 8 + 40 + 4 + (wide != 0 ? 8 : 0) + (narrow != 0 ? 4 : 0));
        srv6_roomy got;
        std::memset(&got, 0xEE, sizeof got);
        EXPECT_EQ(srv6_roomy__unpack(bytes.data(), length_of(bytes), &got), sizeof got);
        EXPECT_EQ(got.f0, sent.f0);
        EXPECT_EQ(got.f1, sent.f1);
        EXPECT_EQ(got.f4, 0x77777777U);
        EXPECT_TRUE(are_same_bytes(got.f2, sent.f2, sizeof got.f2));
        EXPECT_TRUE(are_same_bytes(got.f3, sent.f3, sizeof got.f3));
    }
}

TEST_P(golden, elements_without_kernels_survive)
{
    srv6_bodies bodies[2];
    srv6_long longs[3];
    srv6_wide wides[2];
    srv6_longest longest[2];
    std::memset(bodies, 0, sizeof bodies);
    bodies[0].f0[1] = 7;
    bodies[1].f1[4] = 9;
    std::memset(longs, 0x21, sizeof longs);
    std::memset(&longs[1], 0, sizeof longs[1]);
    std::memset(wides, 0x43, sizeof wides);
    wides[1].f13 = 0;
    std::memset(longest, 0x65, sizeof longest);
    longest[0].f0 = 0;
    const srv6_shapes sent = {2, bodies, 3, longs, 2, wides, 2, longest};
    const std::vector<uint8_t> bytes = packed(sent, srv6_shapes__pack);
    srv6_shapes got;
    std::memset(&got, 0, sizeof got);
    srv6_shapes__unpack(bytes.data(), length_of(bytes), &got);
    ASSERT_EQ(got.f0_count, 2U);
    ASSERT_EQ(got.f1_count, 3U);
    ASSERT_EQ(got.f2_count, 2U);
    ASSERT_EQ(got.f3_count, 2U);
    EXPECT_TRUE(are_same_bytes(got.f0, bodies, sizeof bodies));
    EXPECT_TRUE(are_same_bytes(got.f1, longs, sizeof longs));
    EXPECT_TRUE(are_same_bytes(got.f2, wides, sizeof wides));
    EXPECT_TRUE(are_same_bytes(got.f3, longest, sizeof longest));
    srv6_shapes_free__unpacked(&got);
    EXPECT_TRUE(the_platform().logs.empty());
}

INSTANTIATE_TEST_SUITE_P(byte_orders, golden, testing::Bool(),
                         [](const auto &info) { return info.param ? "swapped" : "native"; });

// Sizes by hand. leaf: 1, pad, 2, 4, 8, 3, pad, 2 * 4, pad. middle: 32 + 3 * 32 + 2, pad. deep:
// 3 * 136 + 1, pad. run: count, pointer, word. batch: count, pointer, 24 + 1, pad. whole: 1, pad, 48,
// count, pointer, 416, count, pointer, 32 + 5, pad, 8, 12, pad.
static_assert(sizeof(srv6_leaf) == 32);
static_assert(sizeof(srv6_middle) == 136);
static_assert(sizeof(srv6_deep) == 416);
static_assert(sizeof(srv6_run) == 24);
static_assert(sizeof(srv6_batch) == 48);
static_assert(sizeof(srv6_whole) == 568);

TEST(golden_frames, are_as_long_as_their_fields)
{
    reset_platform();
    forget_bindings();
    srv6_leaf leaf{};
    srv6_middle middle{};
    srv6_deep deep{};
    srv6_leaf__sendmsg(1, &leaf, 1);
    srv6_middle__sendmsg(1, &middle, 1);
    srv6_deep__sendmsg(1, &deep, 1);
    const auto &sends = the_platform().sends;
    ASSERT_EQ(sends.size(), 3U);
    // Table 46: 4, then 1 + 2 + 4 + 8 + (8 + 3) + (8 + 8). 50, up to 52, and a vtable of 16: 68.
    EXPECT_EQ(sends[0].frames[0].bytes.size(), 72U);
    // Table 314: 4, then 72 + (8 + 3 * 76) + 2. 318, up to 320, and a vtable of 10: 330.
    EXPECT_EQ(sends[1].frames[0].bytes.size(), 336U);
    // Table 1029: 4, then 336 + (8 + 2 * 340) + 1. 1033, up to 1036, and a vtable of 10: 1046.
    EXPECT_EQ(sends[2].frames[0].bytes.size(), 1048U);
    // The lengths that the frames themselves state.
    const auto u16 = [](const std::vector<uint8_t> &bytes, size_t at) {
        return bytes[at] + 256 * bytes[at + 1];
    };
    EXPECT_EQ(u16(sends[0].frames[0].bytes, 52 + 2), 46);
    EXPECT_EQ(u16(sends[1].frames[0].bytes, 320 + 2), 314);
    EXPECT_EQ(u16(sends[2].frames[0].bytes, 1036 + 2), 1029);
}

TEST(golden_header, tells_what_hostile_bytes_cost)
{
    const std::string text = content(GOLDEN_HEADER);
    const std::pair<const char *, int> figures[] = {
        {"srv6_run", 4},                   // a vector of bytes
        {"srv6_batch", 136 + 4},           // a vector of middles, and the run's
        {"srv6_whole", 136 + 4 + 416 + 4}, // the batch's, a vector of deeps, a vector of bytes
        {"srv6_deep", 0},
        {"srv6_middle", 0},
        {"srv6_leaf", 0},
    };
    for (const auto &[name, figure] : figures) {
        SCOPED_TRACE(name);
        const size_t begin = text.find("\n/*\n * " + std::string(name) + "\n");
        ASSERT_NE(begin, std::string::npos);
        const std::string picture = text.substr(begin, text.find("*/", begin) - begin);
        const std::string before = " * __unpack allocates at most ";
        const std::string after = " bytes for every 4 bytes of buf, whatever they hold.\n";
        if (figure == 0)
            EXPECT_EQ(picture.find(before), std::string::npos);
        else
            EXPECT_NE(picture.find(before + std::to_string(figure) + after), std::string::npos);
    }
}

TEST(golden_registration, names_all_in_the_order_of_the_description)
{
    reset_platform();
    EXPECT_EQ(srv6_recv_init(), 0U);
    std::vector<uint32_t> ids;
    for (const registration_call &call : the_platform().registrations)
        ids.push_back(call.msg_id);
    EXPECT_EQ(ids,
              (std::vector<uint32_t>{srv6_whole_msg_id, srv6_batch_msg_id, srv6_run_msg_id,
                                     srv6_deep_msg_id, srv6_middle_msg_id, srv6_leaf_msg_id,
                                     srv6_bodies_msg_id, srv6_long_msg_id, srv6_wide_msg_id,
                                     srv6_longest_msg_id, srv6_roomy_msg_id, srv6_shapes_msg_id}));
}

} // namespace
