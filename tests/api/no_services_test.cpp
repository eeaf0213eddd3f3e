// A process that has the bus and nothing else of the platform.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include "tests/codec/support/fixture.h"
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
