// Rings: what the tap's writer leaves, and what a reader takes of it.
#include <gtest/gtest.h>

#include "capture/ring_cursor.h"
#include "inspect/integers.h"
#include "tests/capture/captures.h"
#include "tests/capture/made_ring.h"
#include "tests/capture/numbered.h"
#include "tests/support/run.h"

using namespace vorl;
using namespace vorl::test;
using namespace vorl::capture;

namespace {

class ring_file : public ::testing::Test {
  protected:
    std::string path(const std::string &name) const { return directory.path() / name; }

    static std::vector<frame> frames_of(const std::string &name)
    {
        std::vector<frame> all;
        ring_reader ring(name);
        frame f;
        for (std::uint64_t at = ring.oldest(); ring.next(at, ring.facts().head, f);)
            all.push_back(f);
        return all;
    }
    static std::string error_of(const std::string &name)
    {
        try {
            ring_reader ring(name);
        } catch (const capture_error &error) {
            return error.what();
        }
        return "";
    }

    scratch_directory directory;
};

} // namespace

// The bytes of an entry, as docs/capture.md has them.
TEST_F(ring_file, an_entry_has_its_members_where_the_page_says)
{
    made_ring ring(path("r"), 65536);
    const bytes content = {1, 2, 3};
    tap::record(*ring.header, {.time = 0x1111,
                               .handle = 0x2222,
                               .data = content.data(),
                               .length = 3,
                               .flags = 0x8D000000,
                               .destination = 0x3333,
                               .identifier = 0x4444,
                               .result = 0x5555,
                               .index = 6,
                               .of_send = 7});
    const unsigned char *const e = ring.entries();
    const auto word = [e](int at, std::size_t width) { return load_integer(e + at, width); };
    EXPECT_EQ(word(4, 4), 0x01234567U); // position 0, by the key's upper half
    EXPECT_EQ(word(8, 8), 0x1111U);
    EXPECT_EQ(word(16, 8), 0U);
    EXPECT_EQ(word(24, 8), 0x2222U);
    EXPECT_EQ(word(32, 4), static_cast<std::uint32_t>(gettid()) | 0x8D000000);
    EXPECT_EQ(word(36, 4), 0x3333U);
    EXPECT_EQ(word(40, 4), 0x4444U);
    EXPECT_EQ(word(44, 4), 0x5555U);
    EXPECT_EQ(word(48, 4), 3U);
    EXPECT_EQ(word(52, 4), 3U);
    EXPECT_EQ(word(56, 4), 6U);
    EXPECT_EQ(word(60, 4), 7U);
    EXPECT_EQ(word(64, 4), 0x00030201U);
    EXPECT_EQ(ring.header->head, 128U);
    const std::vector<frame> found = frames_of(ring.name);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].facts.way, direction::received);
    EXPECT_EQ(found[0].facts.known, 13);
    EXPECT_EQ(found[0].facts.handle, 0x2222U);
    EXPECT_EQ(found[0].facts.index, 6U);
    EXPECT_EQ(found[0].facts.of_send, 7U);
}

TEST_F(ring_file, frames_of_every_length_come_back_however_often_it_comes_round)
{
    made_ring ring(path("r"), 65536);
    std::uint64_t number = 0;
    for (std::size_t size = 0; size < 3000; ++size) {
        const bytes content = pattern(size);
        ring.send(number, content);
        const std::vector<frame> found = frames_of(ring.name);
        ASSERT_FALSE(found.empty());
        EXPECT_TRUE(found.back().kept == content) << size;
        EXPECT_EQ(found.back().facts.number, number);
        ++number;
    }
    // All that fit: each of 64 bytes and its content, up to a multiple of 64.
    const std::vector<frame> found = frames_of(ring.name);
    std::size_t bytes_kept = 0;
    for (std::size_t i = 0; i < found.size(); ++i) {
        const std::size_t size = 3000 - found.size() + i;
        EXPECT_TRUE(found[i].kept == pattern(size));
        bytes_kept += (64 + size + 63) / 64 * 64;
    }
    EXPECT_LE(bytes_kept, 65536U);
    EXPECT_GT(bytes_kept + 3072, 65536U);
    EXPECT_EQ(ring.header->seen, 3000U);
    EXPECT_EQ(ring.header->dropped, 0U);
}

TEST_F(ring_file, of_a_frame_that_is_too_long_the_head_is_kept_and_the_length)
{
    made_ring ring(path("r"), 65536);
    ring.send(1, pattern(8192));
    ring.send(2, pattern(8193));
    ring.send(3, pattern(1'000'000));
    const std::vector<frame> found = frames_of(ring.name);
    ASSERT_EQ(found.size(), 3U);
    EXPECT_TRUE(found[0].kept == pattern(8192));
    for (int i = 1; i < 3; ++i) {
        EXPECT_TRUE(found[static_cast<std::size_t>(i)].kept == pattern(8192));
    }
    EXPECT_EQ(found[1].facts.length, 8193U);
    EXPECT_EQ(found[2].facts.length, 1'000'000U);
}

TEST_F(ring_file, an_entry_that_was_not_finished_is_stepped_over)
{
    made_ring ring(path("r"), 65536);
    ring.send(1, {1});
    ring.leave_unfinished(640);
    ring.send(2, {2});
    ring.leave_unfinished(64);
    const std::vector<frame> found = frames_of(ring.name);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[1].kept, bytes{2});
}

// Each byte of an entry is another one in turn: it is not there then, and the others are.
TEST_F(ring_file, no_half_entry_is_taken)
{
    made_ring ring(path("r"), 65536);
    for (std::uint64_t i = 0; i < 3; ++i)
        ring.send(i, pattern(100));
    for (std::size_t at = 192; at < 192 + 164; ++at) {
        ring.entries()[at] ^= 0x40;
        const std::vector<frame> found = frames_of(ring.name);
        ASSERT_EQ(found.size(), 2U) << at;
        EXPECT_EQ(found[0].facts.number, 0U);
        EXPECT_EQ(found[1].facts.number, 2U);
        ring.entries()[at] ^= 0x40;
    }
    EXPECT_EQ(frames_of(ring.name).size(), 3U);
}

// What an earlier round left at the same place is whole, and is not taken for what is to be there.
TEST_F(ring_file, an_entry_of_an_earlier_round_is_not_taken)
{
    made_ring ring(path("r"), 65536);
    for (std::uint64_t i = 0; i < 512; ++i) // of 128 bytes each: once round
        ring.send(i, pattern(64));
    EXPECT_EQ(frames_of(ring.name).size(), 512U);
    ring.leave_unfinished(1280);
    const std::vector<frame> found = frames_of(ring.name);
    ASSERT_EQ(found.size(), 502U);
    EXPECT_EQ(found[0].facts.number, 10U);
}

TEST_F(ring_file, any_bytes_are_read_to_an_end)
{
    made_ring ring(path("r"), 65536);
    for (std::uint64_t i = 0; i < 200; ++i)
        ring.send(i, numbered_frame(0, i));
    const std::string whole = content(ring.name);
    for (std::size_t at = 0; at < 2200; at += at < 128 ? 1 : 7) {
        std::string changed = whole;
        changed[at] = static_cast<char>(changed[at] ^ 0xFF);
        write(path("changed"), changed);
        const std::string error = error_of(path("changed"));
        if (error.empty())
            EXPECT_LE(frames_of(path("changed")).size(), 200U);
        else
            EXPECT_EQ(error.find(path("changed") + ": is "), 0U) << error;
    }
}

// No tap writes a head that is no multiple of 64, or so large that places behind it do not fit 64 bits. It
// may stand there from the start, or come while the ring is read.
TEST_F(ring_file, a_head_that_cannot_be_is_refused_or_left_out)
{
    for (const std::uint64_t head : {std::uint64_t{0} - 1, std::uint64_t{0} - 64,
                                     std::uint64_t{1} << 62, std::uint64_t{129}}) {
        made_ring ring(path("r"), 65536);
        ring.send(1, pattern(64));
        ring_reader reader(ring.name);
        ring.header->head = head;
        EXPECT_EQ(error_of(ring.name), ring.name +
                                           ": is a ring with a header that no tap writes; it is "
                                           "damaged, so capture again");
        reader.refresh();
        EXPECT_EQ(reader.facts().head, 128U) << head;
        EXPECT_EQ(reader.damage(),
                  ring.name + ": its header was changed to one that no tap writes, so what "
                              "came since is not read; capture again");
    }
}

// The checksum is right, as whoever knows the key can have it.
TEST_F(ring_file, an_entry_that_keeps_more_than_its_frame_has_is_stepped_over)
{
    made_ring ring(path("r"), 65536);
    const bytes content = pattern(64);
    ring.send(1, content);
    ring::entry_words words;
    std::memcpy(words, ring.entries(), sizeof words);
    words[0] = 0;
    words[6] = std::uint64_t{64} << 32 | 63; // kept, length
    words[0] = ring::commit_word(made_ring::key, 0, words, content.data(), 64);
    std::memcpy(ring.entries(), words, sizeof words);
    EXPECT_TRUE(frames_of(ring.name).empty());
}

// Each place of it looks like the head of an entry of the greatest length.
TEST_F(ring_file, a_ring_of_wrong_checksums_is_given_up)
{
    constexpr std::uint64_t size = 1 << 20;
    made_ring ring(path("r"), size);
    ring.send(0, {1});
    ring.leave_unfinished(size - 128);
    for (std::uint64_t at = 128; at < size; at += 64) {
        const std::uint64_t place = at / 64 ^ made_ring::key >> 32;
        store_integer(ring.entries() + at + 4, place, 4);
        store_integer(ring.entries() + at + 48, size / 8, 4); // length
        store_integer(ring.entries() + at + 52, size / 8, 4); // kept
    }
    ring_reader reader(ring.name);
    frame f;
    std::uint64_t at = reader.oldest();
    ASSERT_TRUE(reader.next(at, reader.facts().head, f));
    EXPECT_EQ(reader.damage(), "");
    EXPECT_FALSE(reader.next(at, reader.facts().head, f));
    EXPECT_EQ(at, size);
    EXPECT_EQ(reader.damage(),
              ring.name + ": has so many entries whose checksums are wrong that the rest is "
                          "not read; it is damaged, so capture again");
}

TEST_F(ring_file, a_ring_that_is_cut_off_gives_what_is_there)
{
    made_ring ring(path("r"), 65536);
    for (std::uint64_t i = 0; i < 100; ++i)
        ring.send(i, pattern(64)); // 128 bytes each
    const std::string whole = content(ring.name);
    write(path("cut"), whole.substr(0, 65536 + 1280 + 127));
    EXPECT_EQ(frames_of(path("cut")).size(), 10U);
    EXPECT_EQ(ring_reader(path("cut")).damage(),
              path("cut") + ": has 66943 of its 131072 bytes; copy it again, whole");
    EXPECT_EQ(ring_reader(ring.name).damage(), "");
    for (std::size_t size = 0; size < 2096; size += 7) {
        write(path("cut"), whole.substr(0, size));
        EXPECT_EQ(error_of(path("cut")),
                  path("cut") + ": is no ring of a tapped process; give one, or the directory that "
                                "has them")
            << size;
    }
}

TEST_F(ring_file, what_is_no_ring_is_refused)
{
    made_ring ring(path("r"), 65536);
    ring.header->version = 2;
    EXPECT_EQ(error_of(ring.name), ring.name +
                                       ": is a ring of version 2, and this vorl reads version "
                                       "1; use the vorl of that tap");
    ring.header->version = 1;
    ring.header->size = 65535;
    EXPECT_EQ(error_of(ring.name), ring.name +
                                       ": is a ring with a header that no tap writes; it is "
                                       "damaged, so capture again");
    ring.header->magic = 0;
    EXPECT_EQ(error_of(ring.name), ring.name +
                                       ": is a ring that its process had not finished making, "
                                       "so nothing is in it; remove it, or wait");
    EXPECT_EQ(error_of(path("nowhere")),
              path("nowhere") + ": No such file or directory; give a ring of a tapped process");
}

// A send has the time at which it began, and is in the ring where it ended.
TEST_F(ring_file, a_cursor_gives_frames_by_time)
{
    made_ring ring(path("r"), 65536);
    const std::vector<std::uint64_t> times = {50, 10, 60, 20, 70, 65, 80, 10, 90};
    for (const std::uint64_t time : times)
        ring.send(time, {static_cast<std::uint8_t>(time)});
    ring_cursor cursor(ring.name);
    std::vector<std::uint64_t> found;
    for (; cursor.front() != nullptr; cursor.pop())
        found.push_back(cursor.front()->facts.time);
    EXPECT_EQ(found, (std::vector<std::uint64_t>{10, 10, 20, 50, 60, 65, 70, 80, 90}));
}

TEST_F(ring_file, what_is_lost_is_counted_where_it_was)
{
    made_ring ring(path("r"), 65536);
    for (std::uint64_t i = 0; i < 600; ++i)
        ring.send(i, pattern(64));
    ring.header->seen += 5; // as threads do that are killed before they commit
    ring.send(1000, pattern(64));
    ring_cursor cursor(ring.name);
    std::vector<std::pair<std::uint64_t, std::uint64_t>> lost;
    for (; cursor.front() != nullptr; cursor.pop()) {
        if (cursor.front()->facts.lost != 0)
            lost.emplace_back(cursor.front()->facts.number, cursor.front()->facts.lost);
    }
    EXPECT_EQ(lost, (std::vector<std::pair<std::uint64_t, std::uint64_t>>{{89, 89}, {605, 5}}));
    EXPECT_EQ(cursor.count().seen, 606U);
    EXPECT_EQ(cursor.count().overwritten, 94U);
    EXPECT_EQ(cursor.count().dropped, 0U);
}

// A cursor goes through the ring twice, 256 KiB at a time: for what is out of order, and for the frames. What is
// overwritten meanwhile is counted as that.
TEST_F(ring_file, what_is_overwritten_while_it_is_read_is_counted)
{
    made_ring ring(path("r"), 1 << 20);
    const bytes content = pattern(65536 - 64); // 16 of them fit
    for (std::uint64_t i = 0; i < 512; ++i)
        ring.send(i, content);
    ring_cursor cursor(ring.name); // has 496 to 499
    for (std::uint64_t i = 512; i < 520; ++i)
        ring.send(i, content); // in the place of 496 to 503
    std::vector<std::uint64_t> given;
    for (; cursor.front() != nullptr; cursor.pop())
        given.push_back(cursor.front()->facts.number);
    EXPECT_EQ(given, (std::vector<std::uint64_t>{496, 497, 498, 499, 504, 505, 506, 507, 508, 509,
                                                 510, 511}));
    EXPECT_EQ(cursor.count().seen, 512U);
    EXPECT_EQ(cursor.count().overwritten, 500U);
}

TEST_F(ring_file, numbers_of_threads_that_overtake_each_other_are_no_loss)
{
    number_gaps gaps;
    std::uint64_t lost = 0;
    for (const std::uint64_t number : {0, 2, 1, 3, 6, 5, 4, 7, 10})
        lost += gaps.before(number);
    EXPECT_EQ(lost, 2U); // 8 and 9: all others came, if late
}
