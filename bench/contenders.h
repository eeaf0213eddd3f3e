// The contenders that most groups have: our paths, and the copies that limit them.
#pragma once

#include <string>
#include <utility>

#include "bench/library.h"
#include "bench/limits.h"
#include "bench/timing.h"

namespace vorl::bench {

/// A function that the compiler knows nothing of.
template <class Function>
Function opaque(Function function)
{
    asm volatile("" : "+r"(function));
    return function;
}

/// Of a message, so many that the state of the group is what it says: a few for the nearest caches,
/// or enough for a stream.
uint32_t few_of(const vorl::message &message);
uint32_t many_of(const vorl::message &message, const settings &how);
uint32_t stream_of(size_t record_size, const settings &how);

/// Where encodings go: to a few buffers in turn, for senders reuse theirs. Where records go: a stream
/// is decoded into a record each.
const ring &encoding_outputs(group &g, size_t bytes);
const ring &record_outputs(group &g, size_t bytes, uint64_t count);

/// Adds the contender, and as <name>.8 eight of its steps in one: what both have in common, the loop
/// and what surrounds a call in it, is in neither's difference.
template <class Step>
void add_with_slope(group &g, const std::string &name, uint64_t calls, Step step)
{
    g.add(name, calls, step);
    g.add(name + ".8", calls / 8, [step](uint64_t i) {
        auto call = step;
        [&]<uint64_t... K>(std::integer_sequence<uint64_t, K...>) { (call(8 * i + K), ...); }
        (std::make_integer_sequence<uint64_t, 8>{});
    });
}

/// A contender that may have a slope.
template <class Step>
void add_call(group &g, const std::string &name, uint64_t calls, bool slope, Step step)
{
    if (slope)
        add_with_slope(g, name, calls, step);
    else
        g.add(name, calls, step);
}

/// <name>.libc, libc's copy with a length that varies, and <name>.constant, the constant one, where
/// all lengths are the same and it exists.
void add_copies(group &g, const std::string &name, const encodings &from, const ring &to,
                bool slope = false);

void add_pack(group &g, const std::string &name, const message_functions &functions,
              const record_set &records, uint32_t capacity, const ring &to, bool slope = false);

/// With the release, where the record owns memory.
void add_unpack(group &g, const std::string &name, const record_set &records, const encodings &from,
                const ring &to, bool slope = false);

/// Frames of a fixed-size message: sends, and what belongs to a send but is no encoding.
void add_frames(group &g, const record_set &records, bool slope = false);

/// Packed tables: pack, unpack and their copies. The contenders' names end in `which`.
void add_packed(group &g, const std::string &which, const record_set &records, bool slope = false);

} // namespace vorl::bench
