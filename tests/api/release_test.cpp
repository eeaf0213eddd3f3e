// _free__unpacked: what it gives back, to whom, and when it does nothing.
#include <gtest/gtest.h>

#include <thread>

#include "tests/support/platform.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

class release : public testing::Test {
  protected:
    void SetUp() override { reset_platform(); }
};

/// An unpacked record, its bytes the sample's.
std::vector<std::uint8_t> unpacked(const known_message &m, sample &in)
{
    const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
    std::vector<std::uint8_t> out(m.fact->record_size);
    functions_of(*m.info).unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), out.data());
    EXPECT_TRUE(same_record(*m.info, in.record(), out.data()));
    return out;
}

TEST_F(release, of_null_does_nothing)
{
    for (const known_message &m : all_messages())
        functions_of(*m.info).free_unpacked(nullptr);
    EXPECT_TRUE(the_platform().memory.empty());
    EXPECT_TRUE(the_platform().logs.empty());
}

TEST_F(release, of_a_fixed_size_message_looks_at_nothing)
{
    for (const known_message &m : messages_where(true))
        functions_of(*m.info).free_unpacked(reinterpret_cast<void *>(1));
    EXPECT_TRUE(the_platform().memory.empty());
    EXPECT_TRUE(the_platform().logs.empty());
}

struct array_memory {
    std::uint32_t size;
    std::string allocation_tag;
    std::string release_tag;
};

/// What a record with two elements a vector takes, in order of allocation.
std::vector<array_memory> expected_memory(const std::string &name, const known_message &m)
{
    const std::string param = "srv6_cfg_query_comm_param";
    const std::string rec = "srv6_cfg_query_comm_rec";
    if (name == param || name == rec)
        return {{2, name + "_unpack", name + "_free_unpacked"}};
    if (name == "srv6_cfg_query_trastat_key" || name == "srv6_cfg_query_dfx_key")
        return {{2, param + "_unpack_non_root", param + "_free_unpacked"}};
    if (name == "srv6_cfg_query_trastat_rec")
        return {{2, rec + "_unpack_non_root", rec + "_free_unpacked"}};
    if (name == "srv6_cfg_query_dfx_rec")
        return {{2, rec + "_unpack_non_root", rec + "_free_unpacked"},
                {2 * 16572, name + "_unpack", name + "_free_unpacked"}};
    const message_fact &element = fact_of(name_of(*m.info->slots[1].nested));
    return {{2 * element.record_size, name + "_unpack", name + "_free_unpacked"}};
}

TEST_F(release, gives_back_what_the_unpack_took_with_its_own_tag)
{
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        the_platform().forget_calls();
        sample in(*m.info);
        std::vector<std::uint8_t> out = unpacked(m, in);
        const std::vector<array_memory> expected = expected_memory(std::string(m.fact->name), m);
        ASSERT_EQ(the_platform().memory.size(), expected.size());
        std::vector<memory_call> calls;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            calls.push_back({memory_call::cache_allocate, expected[i].size, 12,
                             expected[i].allocation_tag, the_platform().memory[i].block});
        }
        // A message's own array goes before those of the records nested in it.
        for (std::size_t i = expected.size(); i-- > 0;)
            calls.push_back({memory_call::release, 0, 12, expected[i].release_tag, calls[i].block});

        functions_of(*m.info).free_unpacked(out.data());
        EXPECT_EQ(the_platform().memory, calls);
        each_vector(*m.info, out.data(), [](const vorl::slot &slot, void *record) {
            EXPECT_EQ(pointer_of(record, slot), nullptr);
            EXPECT_EQ(count_of(record, slot), 2u); // the count is left as it is
        });

        // The second release finds nothing.
        functions_of(*m.info).free_unpacked(out.data());
        EXPECT_EQ(the_platform().memory, calls);
        EXPECT_EQ(the_platform().live_blocks, 0u);
    }
}

TEST_F(release, of_a_record_without_elements_does_nothing)
{
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 1, 0);
        each_vector(*m.info, in.record(), [](const vorl::slot &slot, void *record) {
            set_vector(record, slot, 0, nullptr);
        });
        std::vector<std::uint8_t> out = unpacked(m, in);
        functions_of(*m.info).free_unpacked(out.data());
        EXPECT_TRUE(the_platform().memory.empty());
    }
}

TEST_F(release, in_another_thread_than_the_unpack)
{
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        std::vector<std::uint8_t> out;
        std::thread([&] { out = unpacked(m, in); }).join();
        EXPECT_GT(the_platform().live_blocks, 0u);
        std::thread([&] { functions_of(*m.info).free_unpacked(out.data()); }).join();
        EXPECT_EQ(the_platform().live_blocks, 0u);
    }
}

} // namespace
} // namespace vorl::test
