// What the dissector says that a receiver makes of frames, held against the library's reader: whether it is
// refused, by which check, at which offset, in which member, and in which words.
#include <map>

#include "inspect/encode.h"
#include "tests/wireshark/damaged_frames.h"

using namespace vorl;
using namespace vorl::test;

namespace {

std::minstd_rand any_byte(1);

struct agreement {
    std::size_t accepted = 0;
    std::map<std::string, std::size_t> refused; ///< by check
};

/// Every frame of the capture is shown with the reader's verdict.
void agree(const captured_frames &frames, agreement &found)
{
    const auto shown = fields_of(frames.text(), {"vorl.refused", "vorl.check.rule", "vorl.check.at",
                                                 "vorl.check.member", "vorl.check"});
    EXPECT_EQ(shown.size(), frames.frames.size());
    std::size_t differ = 0;
    for (std::size_t i = 0; i < shown.size() && differ < 5; ++i) {
        const capture::verdict due = capture::judge(frames.frames[i]);
        std::vector<std::string> expected = {"0", "", "", "", ""};
        if (due.why)
            expected = {"1", due.why->rule, std::to_string(due.why->at), due.why->member,
                        due.why->what};
        EXPECT_EQ(shown[i], expected) << "frame " << i << ", " << name_of(*due.of);
        differ += shown[i] == expected ? 0 : 1;
        if (due.why)
            ++found.refused[due.why->rule];
        else
            ++found.accepted;
    }
}

bytes sample_of(const message &m, inspect::encoding as)
{
    random_source values(m.msg_id);
    const sample record = sample::random(m, values, 3);
    return inspect::encode(m, record.data(), as);
}

} // namespace

/// Of the mutator, in place of libFuzzer's.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t max_size)
{
    if (size == 0 || any_byte() % 8 == 0) {
        if (size == max_size)
            return size;
        data[size++] = static_cast<std::uint8_t>(any_byte());
    }
    data[any_byte() % size] = static_cast<std::uint8_t>(any_byte());
    return size;
}

TEST(wireshark_verdicts, every_message_is_accepted_packed_and_as_a_frame)
{
    captured_frames frames;
    for (const message *m : all_messages()) {
        frames.add(m->msg_id, sample_of(*m, inspect::encoding::packed));
        frames.add(m->msg_id, sample_of(*m, inspect::encoding::frame));
    }
    ASSERT_EQ(frames.frames.size(), 2 * counts::messages);
    agreement found;
    agree(frames, found);
    EXPECT_EQ(found.accepted, 230U);
}

TEST(wireshark_verdicts, every_truncation_of_every_message)
{
    captured_frames frames;
    for (const message *m : all_messages()) {
        const bytes whole = sample_of(*m, inspect::encoding::packed);
        for (std::size_t size = 0; size < whole.size(); ++size) {
            // The middle of one message of 16,384 bytes and more is an array's elements alone.
            if (size < 2048 || whole.size() - size < 64)
                frames.add(m->msg_id,
                           bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        }
    }
    agreement found;
    agree(frames, found);
    std::size_t refused = 0;
    for (const auto &[rule, count] : found.refused)
        refused += count;
    std::printf("%zu truncations\n", frames.frames.size());
    EXPECT_EQ(refused, frames.frames.size()); // what a packed message ends with is read
    EXPECT_GT(refused, 10'000U);
}

TEST(wireshark_verdicts, ten_thousand_damaged_frames)
{
    const captured_frames frames = damaged_frames(10'000, 20261122);
    agreement found;
    agree(frames, found);
    tshark(frames.text(), "-V"); // as people see them
    std::printf("%zu accepted\n", found.accepted);
    for (const auto &[rule, count] : found.refused)
        std::printf("%zu refused: %s\n", count, rule.c_str());
    EXPECT_GT(found.accepted, 1'000U);
    for (const char *rule : {"table position", "vtable position", "vtable length", "field", "body",
                             "elements", "count", "element position"})
        EXPECT_GT(found.refused.contains(rule) ? found.refused.at(rule) : 0U, 10U) << rule;
}
