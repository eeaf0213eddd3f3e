// What the sends of all messages have in common.
#include <sys/mman.h>

#include <functional>

#include "tests/api/sending.h"

namespace vorl::test {
namespace {

using send_all = sending;

TEST_F(send_all, the_bus_result_is_passed_through)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 2, 1);
        for (const std::uint32_t result : {0u, 1u, 42u, 0x80000000u, 0xFFFFFFFFu}) {
            the_platform().bus_result = result;
            for (const std::uint64_t to : some_targets) {
                for (const single_way &way : single_ways)
                    EXPECT_EQ(way.send(*m.info, in.record(), to), result);
                for (const batch_way &way : batch_ways)
                    EXPECT_EQ(way.send(*m.info, in.record(), 2, to), result);
            }
        }
        EXPECT_EQ(the_platform().live_blocks, 0u);
    }
}

TEST_F(send_all, no_records)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        the_platform().forget_calls();
        the_platform().bus_result = 5;
        EXPECT_EQ(functions_of(*m.info).sendmsg(some_dest, nullptr, 0), not_sent);
        EXPECT_EQ(functions_of(*m.info).sendtomsg(some_dest, nullptr, 0, 0), not_sent);
        EXPECT_EQ(functions_of(*m.info).sendtomsg(some_dest, nullptr, 0, some_target), not_sent);
        EXPECT_TRUE(the_platform().memory.empty());
        expect_nothing_sent();

        // A batch of none is handed to the bus all the same; the frame area of a variable-size
        // message has one size.
        for (const std::uint64_t to : some_targets) {
            the_platform().forget_calls();
            EXPECT_EQ(functions_of(*m.info).sendbatch(some_dest, nullptr, 0, to), 5u);
            expect_addressed(only_call(), to, 0);
            expect_one_block(m.fact->is_fixed_size() ? 0 : 65536,
                             std::string(m.fact->name) + "__sendbatch");
        }
    }
}

/// Two records and all that they point to, in pages that can be read and not written, until they go.
class read_only_records {
  public:
    explicit read_only_records(const message &m)
        : base_(static_cast<std::uint8_t *>(
              mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        EXPECT_NE(base_, MAP_FAILED);
        sample in(m, 2, 1);
        std::size_t used = 2 * m.record_size;
        std::memcpy(base_, in.record(), used);
        for (std::size_t i = 0; i < 2; ++i) {
            each_vector(m, base_ + i * m.record_size, [&](const vorl::slot &slot, void *record) {
                const std::size_t bytes =
                    count_of(record, slot) *
                    (slot.nested == nullptr ? std::size_t{1} : slot.nested->record_size);
                used = (used + 7) / 8 * 8;
                EXPECT_LE(used + bytes, size);
                std::memcpy(base_ + used, pointer_of(record, slot), bytes);
                set_vector(record, slot, count_of(record, slot), base_ + used);
                used += bytes;
            });
        }
        mprotect(base_, size, PROT_READ);
    }
    ~read_only_records() { munmap(base_, size); }
    read_only_records(const read_only_records &) = delete;
    read_only_records &operator=(const read_only_records &) = delete;

    const void *records() const { return base_; }
    bool hold(const void *at) const
    {
        const auto *byte = static_cast<const std::uint8_t *>(at);
        return byte >= base_ && byte < base_ + size;
    }

  private:
    static constexpr std::size_t size = 1 << 17;
    std::uint8_t *base_;
};

// A send reads records and does nothing else with them: what the bus is handed lies elsewhere, and
// when the call has returned nothing looks at them again.
TEST_F(send_all, records_stay_the_callers_and_may_go)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        const auto &f = functions_of(*m.info);
        const std::function<std::uint32_t(const void *)> ways[] = {
            [&f](const void *records) { return f.sendsingle(some_dest, records, 0, 0); },
            [&f](const void *records) { return f.sendbatch(some_dest, records, 2, 0); },
            [&f](const void *records) { return f.sendmsg(some_dest, records, 2); },
            [&f](const void *records) { return f.sendtomsg(some_dest, records, 2, some_target); },
        };
        sample in(*m.info, 2, 1);
        for (const auto &way : ways) {
            the_platform().forget_calls();
            {
                const read_only_records gone(*m.info);
                EXPECT_EQ(way(gone.records()), 0u);
                for (const bus_call::frame &frame : only_call().frames)
                    EXPECT_FALSE(gone.hold(frame.data));
                EXPECT_FALSE(gone.hold(only_call().descs));
            }
            // Their pages cannot be read any more. The next send is of other records, and its own.
            EXPECT_EQ(way(in.record()), 0u);
            ASSERT_EQ(the_platform().sends.size(), 2u);
            const auto &first = the_platform().sends[0].frames;
            const auto &second = the_platform().sends[1].frames;
            ASSERT_EQ(first.size(), second.size());
            for (std::size_t i = 0; i < first.size(); ++i)
                EXPECT_EQ(first[i].bytes, second[i].bytes);
            EXPECT_EQ(the_platform().live_blocks, 0u);
        }
    }
}

} // namespace
} // namespace vorl::test
