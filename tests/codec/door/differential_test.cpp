// Valid buffers of every message, damaged at random, read by the library and by the reference:
// records, results, logs and memory must agree, and so must releasing.
#include <gtest/gtest.h>

#include "tests/codec/support/differential.h"
#include "tests/codec/support/hostile.h"
#include "tests/codec/support/library.h"
#include "tests/codec/support/orders.h"

namespace vorl::test {
namespace {

struct seed_buffer {
    const vorl::message *message;
    const char *path;             ///< that it takes while undamaged
    std::uint64_t bytes_per_word; ///< of memory, at the most
    bytes content;
    std::vector<std::size_t> edges; ///< where checks look
};

std::vector<seed_buffer> seed_buffers(order o, random_source &random)
{
    std::vector<seed_buffer> seeds;
    const auto add = [&](const message &m, const char *path, bytes content) {
        std::set<std::uint64_t> edges;
        expected_unpack(m, content, o, 0, 0, &edges);
        seeds.push_back({&m,
                         path,
                         hostile_bytes_per_word(m),
                         std::move(content),
                         {edges.begin(), edges.end()}});
    };
    for (const message *m : all_messages()) {
        const sample full = sample::ones(*m);
        const sample sparse = sample::random(*m, random);
        if (is_plain(*m)) {
            add(*m, "read packed, full", reference::pack(*m, full.data(), o));
            add(*m, "read packed, sparse", reference::pack(*m, sparse.data(), o));
        } else {
            add(*m, "read packed elements", reference::pack(*m, full.data(), o));
            add(*m, "read packed elements", reference::pack(*m, sparse.data(), o));
            add(*m, "read framed elements",
                reference::pack(*m, full.data(), o, reference::inner_form::framed));
            add(*m, "read framed elements",
                reference::pack(*m, sparse.data(), o, reference::inner_form::framed));
        }
        if (is_fixed_size(*m))
            add(*m, "read frame", reference::frame(*m, sparse.data(), o));
    }
    return seeds;
}

std::uint64_t interesting(random_source &random, std::size_t size)
{
    switch (random() % 8) {
    case 0: return random() % 8;
    case 1: return size - random() % 8;
    case 2: return (std::uint64_t{1} << (random() % 33)) - random() % 3;
    case 3: return 0 - random() % (size + 8);
    case 4:
    case 5: return random() % (size + 8);
    case 6: return 4 + 2 * (random() % 24);
    default: return random();
    }
}

/// One change, most often just before a position that a check looks at.
void damage(bytes &buffer, const std::vector<std::size_t> &edges, order o, random_source &random)
{
    std::size_t at = random() % buffer.size();
    if (random() % 3 != 0) {
        const std::size_t edge = edges[random() % edges.size()];
        at = std::min(edge - std::min<std::size_t>(edge, random() % 9), buffer.size() - 1);
    }
    const std::size_t left = buffer.size() - at;
    switch (random() % 6) {
    case 0: buffer[at] = static_cast<std::uint8_t>(buffer[at] ^ (1u << (random() % 8))); break;
    case 1: buffer[at] = static_cast<std::uint8_t>(random()); break;
    case 2:
        if (left >= 2)
            reference::store(&buffer[at], interesting(random, buffer.size()), 2, o);
        break;
    case 3:
        if (left >= 4)
            reference::store(&buffer[at], interesting(random, buffer.size()), 4, o);
        break;
    case 4:
        if (left >= 4)
            reference::store(&buffer[at], reference::load(&buffer[at], 4, o) + random() % 17 - 8, 4,
                             o);
        break;
    default:
        if (random() % 4 == 0 && at >= 4)
            buffer.resize(at);
        else if (left >= 8)
            std::copy_n(buffer.begin() + static_cast<std::ptrdiff_t>(at), 4,
                        buffer.begin() + static_cast<std::ptrdiff_t>(at + 4));
        break;
    }
}

void run(order o)
{
    use_order(o);
    random_source random(setting("VORL_DIFFERENTIAL_SEED", 10));
    const std::vector<seed_buffer> seeds = seed_buffers(o, random);
    guarded_buffer memory(131072);
    tally paths;
    std::uint64_t succeeded = 0;
    std::uint64_t logged = 0;
    std::uint64_t allocated = 0;
    std::uint64_t runs = 0;
    for (; !paths.is_enough(runs, 5); ++runs) {
        const seed_buffer &seed = seeds[random() % seeds.size()];
        const message &m = *seed.message;
        bytes buffer = seed.content;
        for (std::uint64_t n = 1 + random() % 3; n != 0; --n)
            damage(buffer, seed.edges, o, random);
        const auto fill = static_cast<std::uint8_t>(random());
        const std::uint32_t fail_at = random() % 16 == 0 ? 1 + random() % 2 : 0;

        const std::uint8_t *at =
            runs % 2 == 0 ? memory.holding(buffer) : memory.beginning_with(buffer);
        reference::outcome expected = expected_unpack(m, {at, buffer.size()}, o, fill, fail_at);
        paths.add(seed.path);
        succeeded += expected.logs.empty();
        logged += !expected.logs.empty();
        allocated += !expected.blocks.empty();
        ASSERT_LE(expected.logs.size(), 1u) << name_of(m) << ", run " << runs;
        std::uint64_t memory_taken = 0;
        for (const reference::memory_event &call : expected.memory)
            memory_taken += call.size; // 0 in a release
        ASSERT_LE(memory_taken, buffer.size() / 4 * seed.bytes_per_word)
            << name_of(m) << ", run " << runs;
        ASSERT_EQ(reading_difference(m, {at, buffer.size()}, std::move(expected), fill, fail_at),
                  "")
            << name_of(m) << ", run " << runs << '\n'
            << hex(buffer);
    }
    paths.print();
    EXPECT_EQ(the_platform().live_blocks, 0u);
    // The damage is neither too little nor too much to mean anything.
    EXPECT_GT(succeeded, runs / 10);
    EXPECT_GT(logged, runs / 20);
    EXPECT_GT(allocated, runs / 20);
    EXPECT_GT(paths.least(5), runs / 40);
    forget_bindings();
}

TEST(differential, little) { run(order::little); }
TEST(differential, big) { run(order::big); }

} // namespace
} // namespace vorl::test
