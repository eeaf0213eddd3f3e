// What the library tells the bus about itself.

#include <sys/mman.h>

#include "srv6.h"
#include "tests/platform/processes.h"

namespace vorl::test {
namespace {

class registration : public bus_test {};

std::uint32_t unpack_nothing(const void *, std::int32_t, void *) { return 0; }
void release_nothing(void *) {}

TEST_F(registration, of_null_hooks_is_refused)
{
    EXPECT_EQ(VORL_RegIDLFuncHook(1, nullptr, release_nothing), 5U);
    EXPECT_EQ(VORL_RegIDLFuncHook(1, unpack_nothing, nullptr), 5U);
    EXPECT_EQ(VORL_RegIDLResorceCleanFuncHook(nullptr), 5U);
    EXPECT_EQ(VORL_RegIDLFuncHook(1, unpack_nothing, release_nothing), 0U);
}

TEST_F(registration, again_with_the_same_hooks_succeeds_and_with_others_is_refused)
{
    EXPECT_EQ(srv6_recv_init(), 0U);
    EXPECT_EQ(srv6_recv_init(), 0U);
    EXPECT_EQ(VORL_RegIDLFuncHook(item_id, srv6_class_item__unpack, srv6_class_item_free__unpacked),
              0U);
    EXPECT_EQ(VORL_RegIDLFuncHook(item_id, unpack_nothing, srv6_class_item_free__unpacked), 5U);
    EXPECT_EQ(VORL_RegIDLFuncHook(item_id, srv6_class_item__unpack, release_nothing), 5U);
    // The first ones hold.
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] { EXPECT_EQ(send_items(7, 0, 0, 1), 0U); }));
    EXPECT_TRUE(receiver.receive(1));
}

TEST_F(registration, of_a_package_that_comes_second_stops_at_the_taken_identifier)
{
    EXPECT_EQ(VORL_RegIDLFuncHook(item_id, unpack_nothing, release_nothing), 0U);
    EXPECT_EQ(srv6_recv_init(), 5U);
}

// What a registered type's functions and the handler were called with, in order.
std::vector<const void *> seen;

TEST_F(registration, has_each_record_unpacked_shown_and_released)
{
    constexpr auto unpack = [](const void *, std::int32_t length, void *out) -> std::uint32_t {
        EXPECT_EQ(length, 3);
        seen.push_back(out);
        return 24;
    };
    constexpr auto release = [](void *record) { seen.push_back(record); };
    EXPECT_EQ(VORL_RegIDLFuncHook(1, unpack, release), 0U);
    vorl_dev_receiver *receiver = VORL_DevReceiverOpen(7, 0);
    ASSERT_NE(receiver, nullptr);
    EXPECT_TRUE(in_child([] {
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(send_frame(7, 1, {1, 2, 3}), 0U);
    }));
    const auto handler = [](void *, std::uint32_t, const void *record, std::uint32_t size,
                            const void *, std::uint32_t) {
        EXPECT_EQ(size, 24U);
        seen.push_back(record);
    };
    EXPECT_EQ(VORL_DevReceive(receiver, -1, handler, nullptr), 3U);
    VORL_DevReceiverClose(receiver, nullptr, nullptr);
    ASSERT_EQ(seen.size(), 9U);
    for (std::size_t i = 0; i < 9; i += 3) {
        EXPECT_EQ(seen[i], seen[i + 1]);
        EXPECT_EQ(seen[i], seen[i + 2]);
    }
}

TEST_F(registration, of_a_type_with_a_record_past_65536_bytes_has_its_frames_dropped)
{
    constexpr auto unpack = [](const void *, std::int32_t, void *) -> std::uint32_t {
        return 65537;
    };
    constexpr auto release = [](void *) { ADD_FAILURE() << "released"; };
    EXPECT_EQ(VORL_RegIDLFuncHook(1, unpack, release), 0U);
    captured_stderr output;
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] {
        EXPECT_EQ(send_frame(7, 1, {1, 2, 3}), 0U);
        EXPECT_EQ(send_items(7, 0, 0, 1), 0U);
    }));
    EXPECT_TRUE(receiver.receive(1));
    EXPECT_EQ(receiver.counters().unknown, 1U);
    EXPECT_EQ(output.lines().size(), 1U);
}

// Shared with the child whose end is looked at.
std::uint32_t *cleaned;
void count_first() { cleaned[0]++; }
void count_second() { cleaned[1]++; }

TEST_F(registration, of_clean_functions_has_each_called_once_at_exit)
{
    void *shared = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    cleaned = static_cast<std::uint32_t *>(shared);
    EXPECT_TRUE(in_child([] {
        EXPECT_EQ(srv6_send_init(), 0U);
        EXPECT_EQ(VORL_RegIDLResorceCleanFuncHook(count_first), 0U);
        EXPECT_EQ(VORL_RegIDLResorceCleanFuncHook(count_second), 0U);
        EXPECT_EQ(VORL_RegIDLResorceCleanFuncHook(count_first), 0U);
        EXPECT_EQ(cleaned[0], 0U);
        std::exit(::testing::Test::HasFailure() ? 1 : 0);
    }));
    EXPECT_EQ(cleaned[0], 1U);
    EXPECT_EQ(cleaned[1], 1U);
    munmap(shared, 4096);
}

} // namespace
} // namespace vorl::test
