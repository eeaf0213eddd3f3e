// A process that has the bus and nothing else of the platform.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>

#include "tests/codec/support/fixture.h"
#include "tests/facts/counts.h"
#include "tests/support/platform.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

TEST(no_services, are_in_this_process)
{
    for (const char *name : {"ZDT_OsalLogWrite", "ZDT_OsalMemAlloc", "ZDT_OsalMemFree",
                             "ZDT_OsalMemUseFlagGet", "ZDT_OsalMemCacheAlloc"})
        EXPECT_EQ(dlsym(RTLD_DEFAULT, name), nullptr) << name;
}

TEST(no_services, and_arrays_come_from_malloc)
{
    const bool has_bounded = dlsym(RTLD_DEFAULT, "memset_s") != nullptr;
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "memcpy_s") != nullptr, has_bounded);
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 1, 3);
        const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
        std::vector<std::uint8_t> out(m.fact->record_size, 0x5A);
        reset_platform();
        EXPECT_EQ(functions_of(*m.info).unpack(bytes.data(),
                                               static_cast<std::int32_t>(bytes.size()), out.data()),
                  m.fact->record_size);
        EXPECT_TRUE(same_record(*m.info, in.record(), out.data()));
        std::uint64_t tables = 0;
        std::uint64_t runs = 0;
        each_vector(*m.info, out.data(), [&](const vorl::slot &slot, void *record) {
            ++(slot.nested != nullptr ? tables : runs);
            // Our own free() takes such a block.
            void *block = pointer_of(record, slot);
            const std::size_t element =
                slot.nested != nullptr ? fact_of(name_of(*slot.nested)).record_size : 1;
            EXPECT_GE(malloc_usable_size(block), 3 * element);
            free(block);
            set_vector(record, slot, 3, nullptr);
        });
        std::uint64_t cleared = 0;
        std::uint64_t copied = 0;
        for (const bounded_call &call : the_platform().bounded)
            ++(call.copies ? copied : cleared);
        EXPECT_EQ(cleared, has_bounded ? tables : 0);
        EXPECT_EQ(copied, has_bounded ? runs : 0);

        // And what it allocates it releases.
        functions_of(*m.info).unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                     out.data());
        functions_of(*m.info).free_unpacked(out.data());
        each_vector(*m.info, out.data(), [](const vorl::slot &slot, void *record) {
            EXPECT_EQ(pointer_of(record, slot), nullptr);
        });
    }
}

/// An allocator's blocks hold whatever they held before.
void dirty_the_heap() { mallopt(M_PERTURB, 0x5A); }

// Two elements that share a table without slots: every byte of their block is a zero of the library's.
TEST(no_services, and_absent_members_are_zero)
{
    dirty_the_heap();
    const std::vector<std::uint8_t> bytes =
        buffer_of("u32 table  vtable: u16 8  u16 0  u16 0  u16 4  table: u32 table-vtable "
                  "u32 @list  list: u32 2  u32 @a  u32 @a "
                  "a_vtable: u16 4  u16 4  a: u32 a-a_vtable");
    std::size_t read = 0;
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        if (m.info->slots.size != 2 || m.info->slots[1].shape != slot_shape::table_vector)
            continue;
        std::vector<std::uint8_t> out(m.fact->record_size);
        functions_of(*m.info).unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                     out.data());
        ASSERT_EQ(count_of(out.data(), m.info->slots[1]), 2u);
        const auto *block =
            static_cast<const std::uint8_t *>(pointer_of(out.data(), m.info->slots[1]));
        ASSERT_NE(block, nullptr);
        const std::size_t size = 2 * fact_of(name_of(*m.info->slots[1].nested)).record_size;
        EXPECT_TRUE(std::all_of(block, block + size, [](std::uint8_t byte) { return byte == 0; }));
        functions_of(*m.info).free_unpacked(out.data());
        ++read;
    }
    EXPECT_EQ(read, counts::batches + 1); // and dfx_rec
}

TEST(no_services, and_failures_are_silent)
{
    reset_platform();
    const std::vector<std::uint8_t> misplaced_root = buffer_of("u32 end  zeros 4");
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        std::vector<std::uint8_t> out(m.fact->record_size, 0x5A);
        EXPECT_EQ(functions_of(*m.info).unpack(nullptr, 4, out.data()), m.fact->record_size);
        EXPECT_EQ(out, std::vector<std::uint8_t>(out.size(), 0x5A));
        EXPECT_EQ(functions_of(*m.info).unpack(misplaced_root.data(), 8, out.data()),
                  m.fact->record_size);
        std::uint32_t length = 1000000;
        EXPECT_EQ(functions_of(*m.info).pack(in.record(), nullptr, &length), 0u);
        EXPECT_EQ(length, packed(*m.info, in.record()).size());
    }
    EXPECT_TRUE(the_platform().logs.empty());
}

TEST(no_services, and_frames_are_sent)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 2, 1);
        reset_platform();
        the_platform().bus_result = 11;
        EXPECT_EQ(functions_of(*m.info).sendsingle(5, in.record(), 0, 0), 11u);
        EXPECT_EQ(functions_of(*m.info).sendmsg(5, in.record(), 2), 11u);
        ASSERT_EQ(the_platform().sends.size(), 2u);
        ASSERT_EQ(the_platform().sends[1].frames.size(), 2u);
        EXPECT_EQ(the_platform().sends[0].frames[0].bytes, the_platform().sends[1].frames[0].bytes);
        EXPECT_EQ(the_platform().sends[1].frames[1].msg_id, m.fact->msg_id);
    }
}

} // namespace
} // namespace vorl::test
