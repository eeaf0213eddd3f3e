// The kernels for tables beside the plain codec, over every row of every window: whichever scalars
// of a window are zero, what is measured, packed and read back is the same. The other windows are
// full, empty, or half of one and half of the other.
#include <cstring>

#include "tests/codec/fast/instances.h"

namespace vorl::test {
namespace {

enum class others { full, empty, mixed };

/// A record whose every byte of scalars and arrays is non-zero, each another than its neighbours.
/// Padding is zero.
template <const message &M>
std::vector<uint8_t> full_record()
{
    std::vector<uint8_t> record(M.record_size);
    uint8_t next = 0;
    for (const slot &s : M.slots) {
        const uint32_t size = s.width * (s.shape == slot_shape::array ? s.count : 1);
        for (uint32_t i = 0; i < size; ++i)
            record[s.record_at + i] = static_cast<uint8_t>(1 + next++ % 251);
    }
    return record;
}

/// The scalars of window `w` that `row` has a bit for are zero; of other windows none, all, or
/// every second.
template <const message &M>
std::vector<uint8_t> record_of_row(uint32_t w, uint32_t row, others rest)
{
    using layout = packed_layout<M>;
    std::vector<uint8_t> record = full_record<M>();
    for (uint32_t other = 0; other < layout::windows.count; ++other) {
        const auto &window = layout::windows.windows[other];
        for (uint32_t s = window.first; s < window.end; ++s) {
            const bool is_zero = other == w              ? (row >> (s - window.first) & 1) != 0
                                 : rest == others::full  ? false
                                 : rest == others::empty ? true
                                                         : s % 2 == 0;
            if (is_zero)
                std::memset(record.data() + M.slots[s].record_at, 0, M.slots[s].width);
        }
    }
    return record;
}

/// As the plain codec packs it: root offset and table.
template <const message &M>
std::vector<uint8_t> packed_plainly(const std::vector<uint8_t> &record)
{
    std::vector<uint8_t> bytes(plain::packed_size(record.data(), M));
    plain::pack<native>(bytes.data(), record.data(), M);
    return bytes;
}

template <const message &M>
void expect_as_plain(const std::vector<uint8_t> &record)
{
    using codec = native_codec<M>;
    const std::vector<uint8_t> expected = packed_plainly<M>(record);
    const auto size = static_cast<uint32_t>(expected.size());

    uint64_t measured = 0;
    fast::add_tables_size<M>(1, record.data(), measured);
    EXPECT_EQ(word_size + measured, size);

    // One byte less than it takes writes nothing; that many take it, and no byte behind is touched.
    std::vector<uint8_t> bytes(size + 1, 0xCC);
    uint32_t room = size - 1;
    EXPECT_EQ(codec::pack(record.data(), bytes.data(), &room), 0xFFFFFFFF);
    EXPECT_EQ(bytes, std::vector<uint8_t>(size + 1, 0xCC));
    room = size;
    EXPECT_EQ(codec::pack(record.data(), bytes.data(), &room), 0U);
    EXPECT_EQ(room, size);
    EXPECT_EQ(bytes.back(), 0xCC);
    bytes.pop_back();
    EXPECT_EQ(bytes, expected);

    // As one of two elements: words of 0xCC become offsets, and both tables follow one another.
    std::vector<uint8_t> two(2 * word_size + 2 * (size - word_size), 0xCC);
    std::vector<uint8_t> records = record;
    records.insert(records.end(), record.begin(), record.end());
    fast::pack_tables<M>(two.data(), two.data() + 2 * word_size, 2, records.data());
    std::vector<uint8_t> two_expected(two.size(), 0xDD);
    plain::pack_tables<native>(two_expected.data(), two_expected.data() + 2 * word_size, 2,
                               records.data(), M);
    EXPECT_EQ(two, two_expected);

    // Read back by a kernel, but for a message of one slot that is not full, and for a table that is
    // shorter than a scalar that it leaves out.
    uint32_t widest = 0;
    for (const slot &s : M.slots)
        widest = std::max(widest, field_size(s));
    const uint32_t table_size = size - word_size - vtable_length(M);
    const bool is_for_spread = is_read_by_spread<M> && table_size >= widest;
    std::vector<uint8_t> back(M.record_size, 0xEE);
    const received from = {expected.data(), size};
    const bool is_known = size >= codec::least_known && codec::read_known(from, back.data());
    EXPECT_EQ(is_known, size == word_size + full_table_size(M));
    const bool is_read = is_known || codec::read_sparse(from, back.data());
    EXPECT_EQ(is_read, is_for_spread || size == word_size + full_table_size(M));
    if (is_read)
        EXPECT_EQ(back, record);
    else
        EXPECT_EQ(back, std::vector<uint8_t>(M.record_size, 0xEE));
}

template <const message &M>
void expect_rows_as_plain(uint32_t &rows)
{
    if constexpr (has_windows<M>) {
        using layout = packed_layout<M>;
        SCOPED_TRACE(name_of(function_name::none, M));
        for (uint32_t w = 0; w < layout::windows.count; ++w) {
            for (uint32_t row = 0; row < 1U << layout::scalars_in(w); ++row) {
                for (const others rest : {others::full, others::empty, others::mixed}) {
                    SCOPED_TRACE("window " + std::to_string(w) + ", row " + std::to_string(row));
                    expect_as_plain<M>(record_of_row<M>(w, row, rest));
                    if (testing::Test::HasFailure())
                        return;
                }
                ++rows;
            }
        }
    }
}

TEST(rows, each_is_packed_measured_and_read_as_by_the_plain_codec)
{
    uint32_t rows = 0;
#define FACT(name, ...) expect_rows_as_plain<name##_message>(rows);
#include "tests/facts/messages_of_1_0_0.inc"
#undef FACT
    EXPECT_EQ(rows, 3274U);
}

} // namespace
} // namespace vorl::test
