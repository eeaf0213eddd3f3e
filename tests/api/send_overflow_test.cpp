// Batches whose block does not fit 32 bits: it is asked for by the low 32 bits of its size, goes
// straight back, and nothing is read, written or sent. The block and the records are pages that
// cannot be touched.
#include <sys/mman.h>

#include "tests/api/sending.h"

namespace vorl::test {
namespace {

class send_overflow : public sending {
  protected:
    void SetUp() override
    {
        sending::SetUp();
        untouchable_ = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(untouchable_, MAP_FAILED);
        the_platform().only_block = untouchable_;
    }
    void TearDown() override { munmap(untouchable_, 4096); }

    void expect_refused(const known_message &m, std::uint32_t count, std::uint32_t asked_for)
    {
        SCOPED_TRACE(count);
        for (const std::uint64_t to : some_targets) {
            for (const batch_way &way : batch_ways) {
                the_platform().forget_calls();
                EXPECT_EQ(way.send(*m.info, untouchable_, count, to), not_sent);
                expect_one_block(asked_for, std::string(m.fact->name) + "__sendbatch");
                expect_nothing_sent();
            }
        }
        the_platform().forget_calls();
        the_platform().fail_allocation_at = 1;
        EXPECT_EQ(functions_of(*m.info).sendbatch(1, untouchable_, count, 0), not_sent);
        EXPECT_EQ(the_platform().memory.size(), 1u); // nothing to give back
        expect_nothing_sent();
    }

    /// A size that still fits is asked for as it is.
    void expect_asked_for(const known_message &m, std::uint32_t count, std::uint32_t size)
    {
        SCOPED_TRACE(count);
        the_platform().forget_calls();
        the_platform().fail_allocation_at = 1;
        EXPECT_EQ(functions_of(*m.info).sendbatch(1, untouchable_, count, 0), not_sent);
        ASSERT_EQ(the_platform().memory.size(), 1u);
        EXPECT_EQ(the_platform().memory[0].size, size);
        expect_nothing_sent();
    }

    static known_message find(const char *name)
    {
        return {&catalogue::find_message(name)->data, &fact_of(name)};
    }

    void *untouchable_ = nullptr;
};

TEST_F(send_overflow, of_frames_of_48_bytes)
{
    const known_message m = find("srv6_vrf_class_data"); // 64 bytes a record, 2^26 to 2^32
    expect_asked_for(m, 67108863, 0xFFFFFFC0);
    expect_refused(m, 67108864, 0);
    expect_refused(m, 67108865, 64);
    expect_refused(m, 134217728, 0);
    expect_refused(m, 0xFFFFFFFF, 0xFFFFFFC0);
}

TEST_F(send_overflow, of_frames_of_14872_bytes)
{
    const known_message m = find("srv6_cfg_query_trastat_rec_info"); // 14888 bytes a record
    expect_asked_for(m, 288485, 4294964680);
    expect_refused(m, 288486, 12272);
    expect_refused(m, 288487, 27160);
}

TEST_F(send_overflow, of_every_fixed_size_message)
{
    for (const known_message &m : messages_where(true)) {
        SCOPED_TRACE(name_of(*m.info));
        const std::uint64_t of_one = m.fact->frame_length + 16;
        const std::uint64_t most = 0xFFFFFFFF / of_one;
        expect_asked_for(m, static_cast<std::uint32_t>(most),
                         static_cast<std::uint32_t>(most * of_one));
        for (const std::uint64_t count :
             {most + 1, most + 2, 2 * most + 2, std::uint64_t{0xFFFFFFFF}})
            expect_refused(m, static_cast<std::uint32_t>(count),
                           static_cast<std::uint32_t>(count * of_one));
    }
}

TEST_F(send_overflow, of_every_variable_size_message)
{
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        expect_asked_for(m, 268431359, 0xFFFFFFF0);
        expect_refused(m, 268431360, 0); // 2^28 - 4096
        expect_refused(m, 268431361, 16);
        expect_refused(m, 268435456, 65536); // 2^28
        expect_refused(m, 268435457, 65552);
        expect_refused(m, 0xFFFFFFFF, 65520);
    }
}

} // namespace
} // namespace vorl::test
