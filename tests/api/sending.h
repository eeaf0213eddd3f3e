// What the send tests share: the four sends as one list, and the look of a bus call.
#pragma once

#include <gtest/gtest.h>

#include "tests/support/platform.h"
#include "tests/support/samples.h"

namespace vorl::test {

inline constexpr std::uint32_t not_sent = 0xFFFFFFFF;
inline constexpr std::uint32_t main_memory_id = 0x6200;

/// Nothing of these values is the library's: they pass through unchanged.
inline constexpr std::uint32_t some_dest = 0xFEDCBA98;
inline constexpr std::uint64_t some_target = 0x123456789ABCDEF0;

class sending : public testing::Test {
  protected:
    void SetUp() override { reset_platform(); }

    /// The one bus call since the last forget_calls.
    static const bus_call &only_call()
    {
        EXPECT_EQ(the_platform().sends.size(), 1u);
        static const bus_call none = {};
        return the_platform().sends.empty() ? none : the_platform().sends[0];
    }

    static void expect_addressed(const bus_call &call, std::uint64_t to, std::uint32_t count)
    {
        EXPECT_EQ(call.dest, some_dest);
        EXPECT_EQ(call.explicit_target, to != 0);
        EXPECT_EQ(call.to, to);
        EXPECT_EQ(call.count, count);
        EXPECT_EQ(call.frames.size(), count);
    }

    /// One block, of `size` bytes, taken before the bus call and given back after it.
    static void expect_one_block(std::uint32_t size, const std::string &tag)
    {
        const std::vector<memory_call> &memory = the_platform().memory;
        ASSERT_EQ(memory.size(), 2u);
        EXPECT_EQ(memory[0].kind, memory_call::main_allocate);
        EXPECT_EQ(memory[0].size, size);
        EXPECT_EQ(memory[1].kind, memory_call::release);
        EXPECT_EQ(memory[1].block, memory[0].block);
        for (const memory_call &call : memory) {
            EXPECT_EQ(call.id, main_memory_id);
            EXPECT_EQ(call.tag, tag);
        }
        for (const bus_call &call : the_platform().sends)
            EXPECT_EQ(call.memory_calls, 1u);
    }

    static void expect_nothing_sent()
    {
        EXPECT_TRUE(the_platform().sends.empty());
        EXPECT_TRUE(the_platform().logs.empty());
        EXPECT_EQ(the_platform().live_blocks, 0u);
    }

    static const std::uint8_t *block()
    {
        return static_cast<const std::uint8_t *>(the_platform().memory.at(0).block);
    }
};

/// The ways in which one record is sent to `to`.
struct single_way {
    const char *name;
    std::uint32_t (*send)(const message &m, const void *record, std::uint64_t to);
};
inline constexpr single_way single_ways[] = {
    {"__sendsingle",
     [](const message &m, const void *record, std::uint64_t to) {
         return functions_of(m).sendsingle(some_dest, record, 0, to);
     }},
    {"__sendsingle, third argument 1",
     [](const message &m, const void *record, std::uint64_t to) {
         return functions_of(m).sendsingle(some_dest, record, 1, to);
     }},
    {"__sendsingle, third argument 0xFFFFFFFF",
     [](const message &m, const void *record, std::uint64_t to) {
         return functions_of(m).sendsingle(some_dest, record, 0xFFFFFFFF, to);
     }},
    {"__sendtomsg",
     [](const message &m, const void *record, std::uint64_t to) {
         return functions_of(m).sendtomsg(some_dest, record, 1, to);
     }},
    {"__sendmsg",
     [](const message &m, const void *record, std::uint64_t to) {
         // Without a target of its own.
         return to == 0 ? functions_of(m).sendmsg(some_dest, record, 1)
                        : functions_of(m).sendtomsg(some_dest, record, 1, to);
     }},
};

/// The ways in which `count` records are sent as a batch.
struct batch_way {
    const char *name;
    std::uint32_t (*send)(const message &m, const void *records, std::uint32_t count,
                          std::uint64_t to);
};
inline constexpr batch_way batch_ways[] = {
    {"__sendbatch",
     [](const message &m, const void *records, std::uint32_t count, std::uint64_t to) {
         return functions_of(m).sendbatch(some_dest, records, count, to);
     }},
    {"__sendtomsg",
     [](const message &m, const void *records, std::uint32_t count, std::uint64_t to) {
         return functions_of(m).sendtomsg(some_dest, records, count, to);
     }},
    {"__sendmsg",
     [](const message &m, const void *records, std::uint32_t count, std::uint64_t to) {
         return to == 0 ? functions_of(m).sendmsg(some_dest, records, count)
                        : functions_of(m).sendtomsg(some_dest, records, count, to);
     }},
};

/// Targets that select both bus calls; the high and the low half of one each on its own.
inline constexpr std::uint64_t some_targets[] = {0, some_target, 0x100000000, 1};

} // namespace vorl::test
