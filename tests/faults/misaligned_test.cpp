// An allocator whose blocks begin anywhere: every byte past a multiple of 16, every message, both
// byte orders. Records in such blocks are packed and sent again, as a relay does.
#include "tests/faults/worlds.h"

namespace vorl::test {
namespace {

/// Blocks handed out since the last forget_calls, all of which begin `misalignment` past 16.
std::uint64_t misaligned_blocks(std::size_t misalignment)
{
    std::uint64_t found = 0;
    for (const memory_call &call : the_platform().memory) {
        if (call.kind == memory_call::release)
            continue;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(call.block) % 16, misalignment);
        ++found;
    }
    return found;
}

/// A send that took a block gave that one back, and its frames and descriptors lay inside.
void expect_within_its_block(std::uint32_t records)
{
    const std::vector<memory_call> &memory = the_platform().memory;
    if (memory.empty())
        return;
    ASSERT_EQ(memory.size(), 2u);
    EXPECT_EQ(memory[1].block, memory[0].block);
    const auto begin = reinterpret_cast<std::uintptr_t>(memory[0].block);
    const std::uintptr_t end = begin + memory[0].size;
    const bus_call &call = the_platform().sends[0];
    for (const bus_call::frame &frame : call.frames) {
        const auto at = reinterpret_cast<std::uintptr_t>(frame.data);
        EXPECT_GE(at, begin);
        EXPECT_LE(at + frame.bytes.size(), end);
    }
    if (records > 1) {
        const auto descs = reinterpret_cast<std::uintptr_t>(call.descs);
        EXPECT_GE(descs, begin);
        EXPECT_LE(descs + records * sizeof(frame_desc), end);
    }
}

TEST(misaligned_memory, serves_all_messages)
{
    std::uint64_t injected = 0;
    for (const binding_state binding : every_binding_state) {
        for (std::size_t misalignment = 1; misalignment < 16; ++misalignment) {
            for (const known_message &m : all_messages()) {
                SCOPED_TRACE(name_of(*m.info));
                enter({log_writer::present, binding, memory::of_platform});
                the_platform().misalignment = misalignment;
                sample in(*m.info, 3, 1);
                const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
                std::vector<std::uint64_t> out(m.fact->record_size / 8 + 1);
                EXPECT_EQ(unpack(m, bytes, out.data()), m.fact->record_size);
                EXPECT_TRUE(same_record(*m.info, in.record(), out.data()));
                EXPECT_EQ(packed(*m.info, out.data()), bytes);
                EXPECT_EQ(functions_of(*m.info).sendsingle(1, out.data(), 0, 0), 0u);
                functions_of(*m.info).free_unpacked(out.data());
                injected += misaligned_blocks(misalignment);

                for (const sending_way &way : sending_ways()) {
                    SCOPED_TRACE(way.name);
                    the_platform().forget_calls();
                    EXPECT_EQ(way.send(m, in.record()), 0u);
                    injected += misaligned_blocks(misalignment);
                    ASSERT_EQ(the_platform().sends.size(), 1u);
                    expect_within_its_block(way.records());
                    const std::vector<bus_call::frame> frames = the_platform().sends[0].frames;
                    ASSERT_EQ(frames.size(), way.records());
                    for (std::uint32_t i = 0; i < way.records(); ++i) {
                        std::vector<std::uint64_t> back(m.fact->record_size / 8 + 1);
                        unpack(m, frames[i].bytes, back.data());
                        EXPECT_TRUE(same_record(*m.info, in.record(i), back.data()));
                        functions_of(*m.info).free_unpacked(back.data());
                    }
                }
                EXPECT_EQ(live_blocks(), 0u);
                EXPECT_TRUE(the_platform().logs.empty());
            }
        }
    }
    // A round: every unpack's, the relay's single, and all ways of sending. 3 x 15 x (38 + 39 +
    // 1,080) = 52,065.
    expect_injected(
        injected, 3 * 15 * (unpacking_allocations + types_allocating_single + sending_allocations));
}

} // namespace
} // namespace vorl::test
