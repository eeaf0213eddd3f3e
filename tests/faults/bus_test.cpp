// Every bus call is refused in turn: its result is passed back, the call is not repeated, and what
// the bus accepted before and after is what was sent, once and in order.
#include "tests/faults/worlds.h"

namespace vorl::test {
namespace {

using frames = std::vector<std::vector<std::uint8_t>>;

frames frames_of(const bus_call &call)
{
    frames all;
    for (const bus_call::frame &frame : call.frames)
        all.push_back(frame.bytes);
    return all;
}

/// What the bus is handed by each way of sending, one entry a bus call; checked against the records.
std::vector<frames> frames_by_way(const known_message &m, sample &in)
{
    std::vector<frames> expected;
    for (const sending_way &way : sending_ways()) {
        the_platform().forget_calls();
        EXPECT_EQ(way.send(m, in.record()), 0u);
        EXPECT_EQ(the_platform().sends.size(), 1u);
        expected.push_back(frames_of(the_platform().sends.at(0)));
        EXPECT_EQ(expected.back().size(), way.records());
        for (std::uint32_t i = 0; i < way.records(); ++i) {
            std::vector<std::uint8_t> out(m.fact->record_size);
            unpack(m, expected.back().at(i), out.data());
            EXPECT_TRUE(same_record(*m.info, in.record(i), out.data()));
            functions_of(*m.info).free_unpacked(out.data());
        }
    }
    return expected;
}

TEST(bus_faults, at_every_call_of_a_session)
{
    std::uint64_t injected = 0;
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 3, 1);
        enter({});
        const std::vector<frames> expected = frames_by_way(m, in);
        const std::vector<sending_way> ways = sending_ways();
        for (const std::uint32_t refusal : {1u, 7u, 0x80000000u, 0xFFFFFFFFu}) {
            for (std::size_t refused = 0; refused < ways.size(); ++refused) {
                SCOPED_TRACE(ways[refused].name);
                enter({});
                the_platform().refuse_send_at = refused + 1;
                the_platform().send_refusal = refusal;
                for (std::size_t i = 0; i < ways.size(); ++i)
                    EXPECT_EQ(ways[i].send(m, in.record()), i == refused ? refusal : 0);
                ++injected;
                const std::vector<bus_call> &calls = the_platform().sends;
                ASSERT_EQ(calls.size(), ways.size());
                for (std::size_t i = 0; i < calls.size(); ++i)
                    EXPECT_EQ(frames_of(calls[i]), expected[i]);
                EXPECT_EQ(live_blocks(), 0u);
                EXPECT_TRUE(the_platform().logs.empty());
            }
        }
    }
    // 115 x 4 x 16 = 7,360
    expect_injected(injected, counts::messages * 4 * (single_sends + batch_sends));
}

std::vector<std::vector<std::uint8_t>> accepted;

// A bus that takes the first frames of a batch and then gives up has those; nobody sends them again
// or takes them back.
TEST(bus_faults, after_some_frames_of_a_batch)
{
    std::uint64_t injected = 0;
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 3, 1);
        enter({});
        the_platform().send_refusal = 3;
        the_platform().refuse_send_at = 1;
        accepted.clear();
        the_platform().on_send = [](const frame_desc *descs, std::uint32_t) {
            for (std::size_t i = 0; i < 2; ++i) {
                frame_desc desc;
                std::memcpy(&desc, reinterpret_cast<const char *>(descs) + i * sizeof desc,
                            sizeof desc);
                const auto *bytes = static_cast<const std::uint8_t *>(desc.data);
                accepted.emplace_back(bytes, bytes + desc.length);
            }
        };
        EXPECT_EQ(functions_of(*m.info).sendbatch(1, in.record(), 3, 0), 3u);
        ++injected;
        ASSERT_EQ(accepted.size(), 2u);
        for (std::size_t i = 0; i < 2; ++i) {
            std::vector<std::uint8_t> out(m.fact->record_size);
            unpack(m, accepted[i], out.data());
            EXPECT_TRUE(same_record(*m.info, in.record(i), out.data()));
            functions_of(*m.info).free_unpacked(out.data());
        }
        EXPECT_EQ(live_blocks(), 0u);
    }
    expect_injected(injected, counts::messages);
}

} // namespace
} // namespace vorl::test
