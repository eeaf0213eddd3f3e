// Every set of services that a platform may have, present or absent: which allocator each path
// uses, that a block goes back where it came from, and that results do not depend on any of it.
#include "tests/runtime/blocks.h"

#include <malloc.h>

#include "tests/codec/support/fixture.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

struct services {
    bool log;
    bool main_allocate;
    bool release;
    bool cache_allocate;
    bool use_flag_function;
    std::uint32_t use_flag;

    bool platform_main() const { return main_allocate && release; }
    bool platform_cache() const
    {
        return use_flag_function && use_flag == 1 && cache_allocate && release;
    }
};

std::vector<services> every_set()
{
    std::vector<services> all;
    for (unsigned bits = 0; bits < 32; ++bits) {
        for (const std::uint32_t flag : {1u, 2u})
            all.push_back({(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0,
                           (bits & 16) != 0, flag});
    }
    return all;
}

void provide(const services &s)
{
    forget_bindings();
    reset_platform();
    the_platform().has_log = s.log;
    the_platform().has_main_allocate = s.main_allocate;
    the_platform().has_release = s.release;
    the_platform().has_cache_allocate = s.cache_allocate;
    the_platform().has_use_flag = s.use_flag_function;
    the_platform().use_flag = s.use_flag;
}

/// Blocks that the platform gave come back to it, each once, and nothing else does.
void expect_pairs(memory_call::kind_type kind, std::uint32_t id, std::size_t allocations)
{
    std::vector<const memory_call *> live;
    std::size_t given = 0;
    for (const memory_call &call : the_platform().memory) {
        EXPECT_EQ(call.id, id);
        if (call.kind != memory_call::release) {
            EXPECT_EQ(call.kind, kind);
            ++given;
            live.push_back(&call);
            continue;
        }
        const auto given_as = std::find_if(live.begin(), live.end(), [&call](const memory_call *l) {
            return l->block == call.block;
        });
        ASSERT_NE(given_as, live.end()) << "released, but not the platform's: " << call.tag;
        live.erase(given_as);
    }
    EXPECT_EQ(given, allocations);
    EXPECT_TRUE(live.empty()) << "the platform's, but not released to it";
    EXPECT_EQ(the_platform().live_blocks, 0u);
}

class services_matrix : public unbound_library {};

TEST_F(services_matrix, there_are_64_sets) { EXPECT_EQ(every_set().size(), 64u); }

TEST_F(services_matrix, unpacked_arrays_come_from_the_cache_or_the_heap)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        std::size_t vectors = 0;
        each_vector(*m.info, in.record(), [&vectors](const slot &, void *) { ++vectors; });
        EXPECT_EQ(vectors > 0, !m.fact->is_fixed_size());
        const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
        const auto length = static_cast<std::int32_t>(bytes.size());
        for (const services &s : every_set()) {
            provide(s);
            std::vector<std::uint8_t> out(m.fact->record_size, 0x5A);
            EXPECT_EQ(functions_of(*m.info).unpack(bytes.data(), length, out.data()),
                      m.fact->record_size);
            EXPECT_TRUE(same_record(*m.info, in.record(), out.data()));
            EXPECT_EQ(the_platform().memory.size(), s.platform_cache() ? vectors : 0);
            functions_of(*m.info).free_unpacked(out.data());
            expect_pairs(memory_call::cache_allocate, 12, s.platform_cache() ? vectors : 0);
            EXPECT_TRUE(the_platform().logs.empty());
        }
    }
}

TEST_F(services_matrix, frames_come_from_the_main_allocator_or_the_heap)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 2, 1);
        provide(every_set().front());
        const auto send = [&] {
            the_platform().bus_result = 0x80000042;
            EXPECT_EQ(functions_of(*m.info).sendbatch(7, in.record(), 2, 0), 0x80000042u);
            EXPECT_EQ(functions_of(*m.info).sendsingle(7, in.record(), 0, 8), 0x80000042u);
            std::vector<std::vector<std::uint8_t>> frames;
            for (const bus_call &call : the_platform().sends) {
                for (const bus_call::frame &frame : call.frames)
                    frames.push_back(frame.bytes);
            }
            return frames;
        };
        const auto frames = send();
        EXPECT_EQ(frames.size(), 3u);
        const bool single_takes_memory = !m.fact->is_fixed_size() || m.fact->frame_length > 1024;
        for (const services &s : every_set()) {
            provide(s);
            EXPECT_EQ(send(), frames);
            expect_pairs(memory_call::main_allocate, 0x6200,
                         !s.platform_main()    ? 0
                         : single_takes_memory ? 2
                                               : 1);
            EXPECT_TRUE(the_platform().logs.empty());
        }
    }
}

TEST_F(services_matrix, logging_is_present_or_skipped_and_changes_nothing)
{
    const std::vector<std::uint8_t> misplaced_root = buffer_of("u32 end  zeros 4");
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        const auto need = static_cast<std::uint32_t>(packed(*m.info, in.record()).size());
        for (const services &s : every_set()) {
            provide(s);
            std::vector<std::uint8_t> out(m.fact->record_size, 0x5A);
            const std::vector<std::uint8_t> untouched = out;
            EXPECT_EQ(functions_of(*m.info).unpack(nullptr, 8, out.data()), m.fact->record_size);
            EXPECT_EQ(functions_of(*m.info).unpack(out.data(), 3, out.data()), m.fact->record_size);
            EXPECT_EQ(out, untouched);
            EXPECT_EQ(functions_of(*m.info).unpack(misplaced_root.data(), 8, out.data()),
                      m.fact->record_size);
            std::uint32_t length = 1000000;
            EXPECT_EQ(functions_of(*m.info).pack(in.record(), nullptr, &length), 0u);
            EXPECT_EQ(length, need);
            EXPECT_EQ(the_platform().logs.size(), s.log ? 4 : 0);
            EXPECT_TRUE(the_platform().memory.empty());
        }
    }
}

TEST_F(services_matrix, a_failing_cache_is_reported_only_where_there_is_a_log)
{
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
        for (const services &s : every_set()) {
            if (!s.platform_cache())
                continue;
            provide(s);
            the_platform().fail_allocation_at = 1;
            std::vector<std::uint8_t> out(m.fact->record_size, 0x5A);
            EXPECT_EQ(functions_of(*m.info).unpack(
                          bytes.data(), static_cast<std::int32_t>(bytes.size()), out.data()),
                      m.fact->record_size);
            each_vector(*m.info, out.data(), [](const vorl::slot &slot, void *record) {
                EXPECT_EQ(pointer_of(record, slot), nullptr);
            });
            EXPECT_EQ(the_platform().logs.size(), s.log ? 1 : 0);
            EXPECT_EQ(the_platform().live_blocks, 0u);
        }
    }
}

// Heap blocks must be whole heap blocks: the caller's own free() takes them.
TEST_F(services_matrix, without_a_cache_the_array_is_a_block_of_the_heap)
{
    const message *m = &catalogue::find_message("srv6_common_fwd_update")->data;
    ASSERT_NE(m, nullptr);
    sample in(*m, 1, 3);
    const std::vector<std::uint8_t> bytes = packed(*m, in.record());
    provide({true, true, true, true, true, 2});
    std::vector<std::uint8_t> out(16);
    functions_of(*m).unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), out.data());
    void *array = pointer_of(out.data(), m->slots[1]);
    ASSERT_NE(array, nullptr);
    EXPECT_GE(malloc_usable_size(array), 3u * 56u);
    free(array);
}

} // namespace
} // namespace vorl::test
