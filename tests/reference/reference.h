// The encoding a second time, written for plainness and from the rules alone, to compare the
// library with: reader, release, measuring, packer, frame writer and the sends in both byte orders,
// driven by the catalogue's slot lists, which it reads as data. It shares no code with the library:
// what follows from the slots it computes for itself. Positions and sizes are 64 bits wide, so where
// a rule speaks of 32-bit sums that wrap, this tests for sums past 32 bits.
//
// A record is its bytes. In a record that this reader made, a pointer member holds the number of
// the block that it owns (1: the first one asked for, null: none), so that records compare as
// bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"

namespace vorl::reference {

using bytes = std::vector<std::uint8_t>;

enum class order { little, big };

struct log_event {
    std::uint32_t kind; ///< 22, or 12 for memory that cannot be had
    std::uint32_t line; ///< of the call site: 1, 2, 10-12, 20-22, 1000 + slot, 2000 + slot
    std::string function;
    std::string format;
    std::string text; ///< the format with its arguments in it

    bool operator==(const log_event &) const = default;
};

struct memory_event {
    enum kind_type { allocate, release } kind;
    std::uint32_t size; ///< asked for; 0 in a release
    std::string tag;
    std::size_t block; ///< its number; 0: it could not be had

    bool operator==(const memory_event &) const = default;
};

/// What one unpack, and the releases after it, did. Its allocator calls all pass the identifier 12.
struct outcome {
    bytes record;
    std::vector<log_event> logs;
    std::vector<memory_event> memory;
    std::vector<bytes> blocks; ///< what block i + 1 holds; empty once it is released

    bool operator==(const outcome &) const = default;
};

struct unpack_call {
    const void *buf = nullptr;
    std::int32_t len = 0;
    bool null_out = false;
    bytes record_before;                  ///< record_size bytes
    order byte_order = order::little;     ///< of the receive side
    std::uint32_t fail_allocation_at = 0; ///< 1: the first; 0: none
};

/// What __unpack does with these arguments. `edges`, when given, collects every position that the
/// reader held against the end of the buffer: shorter buffers differ there and nowhere else.
outcome unpack(const message &m, const unpack_call &call, std::set<std::uint64_t> *edges = nullptr);

/// What _free__unpacked does to what unpack left.
void free_unpacked(const message &m, outcome &state);

/// The packed size in bytes; nothing when a count has no pointer. Not limited to 32 bits.
std::optional<std::uint64_t> measured_size(const message &m, const void *record);

/// How the tables in a packed one are encoded. The library writes packed ones and reads both.
enum class inner_form { packed, framed };

/// The packed bytes of a record that measures; pointers in it are addresses.
bytes pack(const message &m, const void *record, order byte_order,
           inner_form inner = inner_form::packed);

/// The frame of a fixed-size record.
bytes frame(const message &m, const void *record, order byte_order);

/// A frame that the bus is given. Places are bytes from the start of the block that was allocated
/// for the call; frames and descriptors on the stack have the place on_stack.
inline constexpr std::int64_t on_stack = -1;
struct frame_event {
    std::uint32_t msg_id;
    std::int64_t place;
    bytes content;

    bool operator==(const frame_event &) const = default;
};

struct bus_event {
    bool explicit_target; ///< VORL_SendToMsg
    std::uint32_t dest;
    std::uint64_t to;
    std::uint32_t count;
    std::int64_t descriptors;
    std::vector<frame_event> frames;
    std::size_t memory_calls; ///< made before this one

    bool operator==(const bus_event &) const = default;
};

/// What one __pack or one send did. Its allocator calls all pass the identifier 0x6200.
struct writing {
    std::uint32_t result = 0;
    std::uint32_t length = 0; ///< __pack: what *inout_len holds after it
    bytes buffer;             ///< __pack: the caller's memory after it
    bytes block;              ///< a send: its block when the bus was called, descriptors zeroed
    std::vector<log_event> logs;
    std::vector<memory_event> memory;
    std::vector<bus_event> sends;

    bool operator==(const writing &) const = default;
};

struct pack_call {
    const void *in = nullptr;
    bool null_buffer = false;
    std::uint32_t capacity = 0;
    bytes buffer_before; ///< capacity bytes, unless the buffer is null
    order byte_order = order::little;
};

/// What __pack does with these arguments.
writing pack(const message &m, const pack_call &call);

enum class send_kind { single, batch, msg, to_msg };

struct send_call {
    send_kind kind = send_kind::single;
    std::uint32_t dest = 0;
    const void *records = nullptr;
    std::uint32_t count = 0; ///< __sendsingle ignores it
    std::uint64_t to = 0;    ///< __sendmsg has none
    order byte_order = order::little;
    std::uint32_t bus_result = 0;
    bool fail_allocation = false;
    std::uint8_t fresh_memory = 0; ///< what every byte of a new block holds
};

/// What a send does with these arguments.
writing send(const message &m, const send_call &call);

/// Whether __unpack checks the root table under its own name: a slot leads to another table or to
/// a vector.
bool checks_root_itself(const message &m);

// Words at any address.
inline std::uint64_t load(const std::uint8_t *from, std::size_t width, order byte_order)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value = value << 8 | from[byte_order == order::big ? i : width - 1 - i];
    return value;
}

inline void store(std::uint8_t *to, std::uint64_t value, std::size_t width, order byte_order)
{
    for (std::size_t i = 0; i < width; ++i) {
        to[byte_order == order::big ? width - 1 - i : i] = static_cast<std::uint8_t>(value);
        value >>= 8;
    }
}

bool is_scalar(const slot &s);
bool is_vector(const slot &s);
/// A vector in it, or in what it holds: its frames vary in length.
bool holds_vectors(const message &m);
/// Bytes of the frame of a message that holds no vectors.
std::uint32_t frame_length(const message &m);

} // namespace vorl::reference
