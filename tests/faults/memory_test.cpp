// Every allocation fails in turn: nothing leaks, nothing is sent, and the same call succeeds when
// memory is there again.
#include "tests/faults/heap.h"
#include "tests/faults/worlds.h"

namespace vorl::test {
namespace {

/// Lines that one failure leaves.
std::size_t lines_of(const world &w) { return w.log == log_writer::absent ? 0 : 1; }

void expect_no_memory_line(const world &w, const known_message &m)
{
    ASSERT_EQ(the_platform().logs.size(), lines_of(w));
    if (w.log == log_writer::absent)
        return;
    const log_call &line = the_platform().logs[0];
    EXPECT_EQ(line.kind, 12u);
    EXPECT_TRUE(line.text.starts_with("[ZELKO]:Malloc unpack data unsuccess,")) << line.text;
    EXPECT_EQ(line.ctx, &serial_ctxs[2 * m.fact->package()]);
    EXPECT_EQ(re_entries(), w.log == log_writer::re_entrant ? 1u : 0u);
}

TEST(memory_faults, in_unpack)
{
    std::uint64_t injected = 0;
    for_all_worlds([&](const world &w) {
        for (const known_message &m : all_messages()) {
            SCOPED_TRACE(name_of(*m.info));
            sample in(*m.info);
            std::vector<std::uint8_t> out(m.fact->record_size);
            std::uint64_t at = 1;
            for (bool was_whole = false; !was_whole; ++at) {
                enter(w, &m);
                const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
                fail_allocation(at);
                EXPECT_EQ(unpack(m, bytes, out.data()), m.fact->record_size);
                was_whole = allocations() < at;
                if (was_whole) {
                    EXPECT_TRUE(the_platform().logs.empty());
                    EXPECT_TRUE(same_record(*m.info, in.record(), out.data()));
                } else {
                    ++injected;
                    // Nothing more is asked for, and what was there is given back at once.
                    EXPECT_EQ(allocations(), at);
                    EXPECT_EQ(live_blocks(), 0u);
                    expect_no_memory_line(w, m);
                    each_vector(*m.info, out.data(), [](const vorl::slot &slot, void *record) {
                        EXPECT_EQ(pointer_of(record, slot), nullptr);
                    });
                    functions_of(*m.info).free_unpacked(out.data());
                    unpack(m, bytes, out.data());
                    EXPECT_TRUE(same_record(*m.info, in.record(), out.data()));
                    EXPECT_EQ(the_platform().logs.size(), lines_of(w));
                }
                functions_of(*m.info).free_unpacked(out.data());
                EXPECT_EQ(live_blocks(), 0u);
                EXPECT_TRUE(the_platform().sends.empty());
            }
            EXPECT_EQ(at, vectors_of(m) + 2);
        }
    });
    expect_injected(injected, worlds * unpacking_allocations); // 18 x 38 = 684
}

// A buffer that is cut off can fail before, at and after each allocation.
TEST(memory_faults, in_unpack_of_buffers_cut_anywhere)
{
    std::uint64_t injected = 0;
    for (const binding_state binding : every_binding_state) {
        const world w{log_writer::present, binding, memory::of_platform};
        for (const known_message &m : messages_where(false)) {
            SCOPED_TRACE(name_of(*m.info));
            const bool is_batch = m.fact->package() == 0;
            sample in(*m.info);
            enter(w);
            const std::vector<std::uint8_t> whole = packed(*m.info, in.record());
            // Every length that the heads can have, and samples of the elements of 16 KB.
            for (std::size_t length = 4; length <= whole.size(); length += length < 600 ? 1 : 509) {
                const std::vector<std::uint8_t> bytes(
                    whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
                for (std::uint64_t at = 1; at <= vectors_of(m); ++at) {
                    enter(w);
                    std::vector<std::uint8_t> out(m.fact->record_size);
                    fail_allocation(at);
                    unpack(m, bytes, out.data());
                    if (allocations() == at) {
                        ++injected;
                        EXPECT_EQ(live_blocks(), 0u);
                    }
                    functions_of(*m.info).free_unpacked(out.data());
                    EXPECT_EQ(live_blocks(), 0u);
                    // A batch allocates as soon as its count and both element offsets are there.
                    if (is_batch) {
                        EXPECT_EQ(allocations(), length >= 36 ? 1u : 0u) << length;
                    }
                }
            }
        }
    }
    record_injected(injected);
    EXPECT_GT(injected, counts::batches * 3 * 36); // two elements take at least 72 bytes in all
}

TEST(memory_faults, in_sends)
{
    std::uint64_t injected = 0;
    for_all_worlds([&](const world &w) {
        for (const known_message &m : all_messages()) {
            SCOPED_TRACE(name_of(*m.info));
            sample in(*m.info, 3, 1);
            for (const sending_way &way : sending_ways()) {
                SCOPED_TRACE(way.name);
                enter(w, &m);
                fail_allocation(1);
                const std::uint32_t result = way.send(m, in.record());
                EXPECT_TRUE(the_platform().logs.empty());
                EXPECT_EQ(live_blocks(), 0u);
                if (way.allocates(m)) {
                    ++injected;
                    EXPECT_EQ(result, not_sent);
                    EXPECT_EQ(allocations(), 1u);
                    EXPECT_TRUE(the_platform().sends.empty());
                    EXPECT_EQ(way.send(m, in.record()), 0u);
                } else {
                    EXPECT_EQ(result, 0u);
                    EXPECT_EQ(allocations(), 0u);
                }
                ASSERT_EQ(the_platform().sends.size(), 1u);
                EXPECT_EQ(the_platform().sends[0].count, way.records());
                EXPECT_EQ(live_blocks(), 0u);
            }
        }
    });
    expect_injected(injected, worlds * sending_allocations); // 18 x (39 x 10 + 115 x 6) = 19,440
}

// What the platform is asked for stands in tests/api; malloc is asked for the same.
TEST(heap, is_asked_for_as_many_bytes_as_the_platform)
{
    std::uint64_t compared = 0;
    const auto bytes_of = [](memory from, const known_message &m, const auto &use) {
        enter({log_writer::present, binding_state::unbound, from}, &m);
        use();
        watch_heap(false);
        EXPECT_EQ(live_blocks(), 0u);
        std::uint64_t bytes = the_heap().bytes;
        for (const memory_call &call : the_platform().memory)
            bytes += call.size; // 0 in a release
        return bytes;
    };
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 3, 5);
        std::vector<std::uint8_t> out(m.fact->record_size);
        const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
        const auto read = [&] {
            unpack(m, bytes, out.data());
            functions_of(*m.info).free_unpacked(out.data());
        };
        const std::uint64_t read_bytes = bytes_of(memory::of_platform, m, read);
        EXPECT_EQ(read_bytes != 0, !m.fact->is_fixed_size());
        EXPECT_EQ(bytes_of(memory::of_heap, m, read), read_bytes);
        for (const sending_way &way : sending_ways()) {
            SCOPED_TRACE(way.name);
            const auto send = [&] { way.send(m, in.record()); };
            const std::uint64_t sent_bytes = bytes_of(memory::of_platform, m, send);
            EXPECT_EQ(sent_bytes != 0, way.allocates(m));
            EXPECT_EQ(bytes_of(memory::of_heap, m, send), sent_bytes);
            ++compared;
        }
    }
    EXPECT_EQ(compared, counts::messages * (single_sends + batch_sends));
}

TEST(memory_faults, do_not_reach_pack_and_release)
{
    for_all_worlds([&](const world &w) {
        for (const known_message &m : all_messages()) {
            SCOPED_TRACE(name_of(*m.info));
            sample in(*m.info);
            std::vector<std::uint8_t> out(m.fact->record_size);
            enter(w, &m);
            const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
            unpack(m, bytes, out.data());
            const std::uint64_t made = allocations();
            fail_allocation(1);
            EXPECT_EQ(packed(*m.info, in.record()), bytes);
            fail_allocation(0); // else it would strike in a log writer that calls back in
            std::uint32_t room = 200000;
            EXPECT_EQ(functions_of(*m.info).pack(in.record(), nullptr, &room), 0u);
            EXPECT_EQ(room, bytes.size());
            EXPECT_EQ(re_entries(), w.log == log_writer::re_entrant ? 1u : 0u);
            fail_allocation(1);
            functions_of(*m.info).free_unpacked(out.data());
            functions_of(*m.info).free_unpacked(out.data());
            EXPECT_EQ(allocations(), made);
            EXPECT_EQ(live_blocks(), 0u);
        }
    });
}

} // namespace
} // namespace vorl::test
