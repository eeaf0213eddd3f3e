// The circumstances in which a fault can strike, and the memory that fails in them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/api/sending.h"
#include "tests/facts/counts.h"
#include "tests/support/bindings.h"

namespace vorl::test {

enum class log_writer { absent, present, re_entrant };
/// Of all six blocks. Swapped: bound, and the byte order the other one.
enum class binding_state { unbound, bound, swapped };
enum class memory { of_platform, of_heap };

struct world {
    log_writer log = log_writer::present;
    binding_state binding = binding_state::unbound;
    memory from = memory::of_platform;

    std::string name() const;
};

inline constexpr binding_state every_binding_state[] = {
    binding_state::unbound, binding_state::bound, binding_state::swapped};

inline constexpr std::size_t worlds = 3 * 3 * 2;

template <class Visitor>
void for_all_worlds(Visitor &&visit)
{
    for (const log_writer log : {log_writer::absent, log_writer::present, log_writer::re_entrant}) {
        for (const binding_state binding : every_binding_state) {
            for (const memory from : {memory::of_platform, memory::of_heap}) {
                const world w{log, binding, from};
                SCOPED_TRACE(w.name());
                visit(w);
            }
        }
    }
}

/// The library and the platform as new, in that world. `subject` is what a re-entrant log writer
/// calls the library with, beside a message of another package; null where nothing logs.
void enter(const world &w, const known_message *subject = nullptr);

/// What a re-entrant log writer did since the last enter(): calls from the first level of the log,
/// and faults that it met on the way. Its own expectations have been checked by then.
std::uint64_t re_entries();
std::uint64_t faults_in_re_entries();

// Both kinds of memory, whichever the world has.
void fail_allocation(std::uint64_t at);
std::uint64_t allocations();
std::uint64_t live_blocks();

/// Puts the number of faults that a test injected on record.
inline void record_injected(std::uint64_t injected)
{
    testing::Test::RecordProperty("faults_injected", std::to_string(injected));
}

inline void expect_injected(std::uint64_t injected, std::uint64_t expected)
{
    record_injected(injected);
    EXPECT_EQ(injected, expected);
}

inline std::uint32_t unpack(const known_message &m, const std::vector<std::uint8_t> &bytes,
                            void *out)
{
    return functions_of(*m.info).unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), out);
}

inline std::uint32_t vectors_of(const known_message &m)
{
    if (m.fact->is_fixed_size())
        return 0;
    return m.fact->name == "srv6_cfg_query_dfx_rec" ? 2 : 1;
}

/// Messages of which a single record is sent from memory that was allocated: two long frames, and
/// all of variable size.
inline bool allocates_single(const known_message &m)
{
    return !m.fact->is_fixed_size() || m.fact->frame_length > 1024;
}

/// Every way of sending one record, and three as a batch, with and without a target.
struct sending_way {
    const char *name;
    std::uint32_t (*one)(const message &, const void *, std::uint64_t);
    std::uint32_t (*many)(const message &, const void *, std::uint32_t, std::uint64_t);
    std::uint64_t to;

    std::uint32_t records() const { return one != nullptr ? 1 : 3; }
    bool allocates(const known_message &m) const { return one == nullptr || allocates_single(m); }
    std::uint32_t send(const known_message &m, const void *first) const
    {
        return one != nullptr ? one(*m.info, first, to) : many(*m.info, first, 3, to);
    }
};

inline std::vector<sending_way> sending_ways()
{
    std::vector<sending_way> ways;
    for (const std::uint64_t to : {std::uint64_t{0}, some_target}) {
        for (const single_way &way : single_ways)
            ways.push_back({way.name, way.send, nullptr, to});
        for (const batch_way &way : batch_ways)
            ways.push_back({way.name, nullptr, way.send, to});
    }
    return ways;
}
inline constexpr std::size_t single_sends = 5 * 2;
inline constexpr std::size_t batch_sends = 3 * 2;
inline constexpr std::size_t types_allocating_single = counts::variable_size + 2;
/// Allocations of all ways of sending all messages.
inline constexpr std::size_t sending_allocations =
    types_allocating_single * single_sends + counts::messages * batch_sends;
/// Allocations of unpacking one record of each message that has vectors.
inline constexpr std::size_t unpacking_allocations = counts::variable_size + 1;

} // namespace vorl::test
