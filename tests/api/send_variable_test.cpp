// The four sends of the variable-size messages: measured frames, and batches that hold 65536
// bytes of them.
#include "srv6_cfg.h"
#include "tests/api/sending.h"
#include "tests/facts/counts.h"

namespace vorl::test {
namespace {

using send_variable = sending;

TEST_F(send_variable, has_its_messages)
{
    EXPECT_EQ(messages_where(false).size(), counts::variable_size);
}

TEST_F(send_variable, one_record)
{
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
        for (const single_way &way : single_ways) {
            SCOPED_TRACE(way.name);
            for (const std::uint64_t to : some_targets) {
                the_platform().forget_calls();
                EXPECT_EQ(way.send(*m.info, in.record(), to), 0u);
                expect_addressed(only_call(), to, 1);
                EXPECT_EQ(only_call().frames.at(0).msg_id, m.fact->msg_id);
                EXPECT_EQ(only_call().frames.at(0).bytes, bytes);
                expect_one_block(static_cast<std::uint32_t>(bytes.size()),
                                 std::string(m.fact->name) + "__sendsingle");
                EXPECT_EQ(only_call().frames.at(0).data, block());
                EXPECT_TRUE(the_platform().logs.empty());
            }
        }
    }
}

TEST_F(send_variable, many_records)
{
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 3, 1);
        for (const batch_way &way : batch_ways) {
            SCOPED_TRACE(way.name);
            for (std::uint32_t count = 1; count <= 3; ++count) {
                if (count == 1 && std::string_view(way.name) != "__sendbatch")
                    continue;
                for (const std::uint64_t to : some_targets) {
                    the_platform().forget_calls();
                    EXPECT_EQ(way.send(*m.info, in.record(), count, to), 0u);
                    expect_addressed(only_call(), to, count);
                    expect_one_block(65536 + 16 * count, std::string(m.fact->name) + "__sendbatch");
                    const std::uint8_t *frame = block();
                    for (std::uint32_t i = 0; i < count; ++i) {
                        const bus_call::frame &sent = only_call().frames.at(i);
                        EXPECT_EQ(sent.msg_id, m.fact->msg_id);
                        EXPECT_EQ(sent.bytes, packed(*m.info, in.record(i)));
                        EXPECT_EQ(sent.data, frame); // one behind the other, no padding
                        frame += sent.bytes.size();
                    }
                    EXPECT_EQ(only_call().descs, block() + 65536);
                    EXPECT_TRUE(the_platform().logs.empty());
                }
            }
        }
    }
}

struct empty_record_size {
    const char *message;
    std::uint32_t size; ///< of a record of zeros with no elements
};
constexpr empty_record_size empty_record_sizes[] = {
    {"srv6_cfg_query_comm_param", 18},    {"srv6_cfg_query_comm_rec", 20},
    {"srv6_cfg_query_trastat_key", 50},   {"srv6_cfg_query_dfx_key", 188},
    {"srv6_cfg_query_trastat_rec", 4666}, {"srv6_cfg_query_dfx_rec", 36},
};

TEST_F(send_variable, a_record_of_zeros_measures)
{
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        std::uint32_t expected = 16; // every batch of objects or keys
        for (const empty_record_size &known : empty_record_sizes) {
            if (known.message == m.fact->name)
                expected = known.size;
        }
        const std::vector<std::uint8_t> record(m.fact->record_size);
        the_platform().forget_calls();
        EXPECT_EQ(functions_of(*m.info).sendsingle(1, record.data(), 0, 0), 0u);
        EXPECT_EQ(only_call().frames.at(0).bytes.size(), expected);
        expect_one_block(expected, std::string(m.fact->name) + "__sendsingle");
    }
}

TEST_F(send_variable, no_record_where_one_is_promised)
{
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        for (const std::uint64_t to : some_targets) {
            the_platform().forget_calls();
            for (const single_way &way : single_ways)
                EXPECT_EQ(way.send(*m.info, nullptr, to), not_sent);
            EXPECT_TRUE(the_platform().memory.empty());
            EXPECT_EQ(functions_of(*m.info).sendbatch(1, nullptr, 1, to), not_sent);
            expect_one_block(65552, std::string(m.fact->name) + "__sendbatch");
            expect_nothing_sent();
        }
    }
}

TEST_F(send_variable, no_memory)
{
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 2, 1);
        const auto expect_refused = [&](auto &&send) {
            the_platform().forget_calls();
            the_platform().fail_allocation_at = 1;
            EXPECT_EQ(send(), not_sent);
            EXPECT_EQ(the_platform().memory.size(), 1u);
            expect_nothing_sent();
        };
        for (const std::uint64_t to : some_targets) {
            for (const single_way &way : single_ways)
                expect_refused([&] { return way.send(*m.info, in.record(), to); });
            for (const batch_way &way : batch_ways)
                expect_refused([&] { return way.send(*m.info, in.record(), 2, to); });
            expect_refused([&] { return functions_of(*m.info).sendbatch(1, nullptr, 0, to); });
        }
    }
}

// What a failed unpack leaves: a count, and no pointer.
TEST_F(send_variable, a_damaged_record_is_refused_with_the_batch_that_holds_it)
{
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        for (std::size_t damaged = 0; damaged < 3; ++damaged) {
            sample in(*m.info, 3, 1);
            each_vector(*m.info, in.record(damaged), [&](const vorl::slot &slot, void *record) {
                void *elements = pointer_of(record, slot);
                set_vector(record, slot, 1, nullptr);
                for (const std::uint64_t to : some_targets) {
                    the_platform().forget_calls();
                    for (const single_way &way : single_ways)
                        EXPECT_EQ(way.send(*m.info, in.record(damaged), to), not_sent);
                    EXPECT_TRUE(the_platform().memory.empty());
                    for (const batch_way &way : batch_ways) {
                        the_platform().forget_calls();
                        EXPECT_EQ(way.send(*m.info, in.record(), 3, to), not_sent);
                        expect_one_block(65584, std::string(m.fact->name) + "__sendbatch");
                        expect_nothing_sent();
                    }
                }
                set_vector(record, slot, 1, elements);
            });
        }
    }
}

/// comm_param records of these packed sizes; one of zeros with n bytes takes 26 + n.
class params {
  public:
    params(const params &) = delete;
    params &operator=(const params &) = delete;
    params(std::initializer_list<std::uint32_t> sizes) : bytes_(100000, 7)
    {
        for (const std::uint32_t size : sizes) {
            srv6_cfg_query_comm_param record = {};
            record.f2_count = size - 26;
            record.f2 = bytes_.data();
            records_.push_back(record);
        }
    }
    std::uint32_t send() const
    {
        return srv6_cfg_query_comm_param__sendbatch(1, records_.data(),
                                                    static_cast<std::uint32_t>(records_.size()), 0);
    }

  private:
    std::vector<std::uint8_t> bytes_;
    std::vector<srv6_cfg_query_comm_param> records_;
};

TEST_F(send_variable, a_batch_holds_65536_bytes_of_frames)
{
    for (const params &fits : {params{65536}, params{32768, 32768}, params{65509, 27},
                               params{27, 65509}, params{30000, 30000, 5536}}) {
        the_platform().forget_calls();
        EXPECT_EQ(fits.send(), 0u);
        std::size_t total = 0;
        for (const bus_call::frame &frame : only_call().frames)
            total += frame.bytes.size();
        EXPECT_EQ(total, 65536u);
        EXPECT_EQ(only_call().descs, block() + 65536);
    }
}

TEST_F(send_variable, a_batch_with_one_byte_more_is_refused_whole)
{
    for (const params &exceeds : {params{65537}, params{32768, 32769}, params{65509, 28},
                                  params{28, 65509}, params{30000, 30000, 5537}, params{65536, 27},
                                  params{32768, 32768, 27}, params{90000, 27}}) {
        the_platform().forget_calls();
        EXPECT_EQ(exceeds.send(), not_sent);
        EXPECT_EQ(the_platform().memory.size(), 2u);
        expect_nothing_sent();
    }
}

TEST_F(send_variable, one_record_alone_may_be_longer_than_a_batch)
{
    std::vector<std::uint8_t> bytes(99974, 3);
    srv6_cfg_query_comm_param record = {};
    record.f2_count = 99974;
    record.f2 = bytes.data();
    EXPECT_EQ(srv6_cfg_query_comm_param__sendmsg(1, &record, 1), 0u);
    EXPECT_EQ(only_call().frames.at(0).bytes.size(), 100000u);
    expect_one_block(100000, "srv6_cfg_query_comm_param__sendsingle");
}

} // namespace
} // namespace vorl::test
