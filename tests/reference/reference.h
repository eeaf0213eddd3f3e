// The encoding a second time, written for plainness and from the rules alone, to compare the
// library with: reader, release, measuring, packer and frame writer in both byte orders, driven by
// the catalogue's slot lists. It shares no code with the library. Positions and sizes are 64 bits
// wide, so where a rule speaks of 32-bit sums that wrap, this tests for sums past 32 bits.
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

using catalogue::message_info;
using catalogue::slot_info;
using catalogue::wire_type;
using bytes = std::vector<std::uint8_t>;

enum class order { little, big };

struct log_event {
    std::uint32_t kind; ///< 22, or 12 for memory that cannot be had
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

/// What one unpack, and the releases after it, did. Both allocator calls pass the identifier 12.
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
outcome unpack(const message_info &m, const unpack_call &call,
               std::set<std::uint64_t> *edges = nullptr);

/// What _free__unpacked does to what unpack left.
void free_unpacked(const message_info &m, outcome &state);

/// The packed size in bytes; nothing when a count has no pointer. Not limited to 32 bits.
std::optional<std::uint64_t> measured_size(const message_info &m, const void *record);

/// The packed bytes of a record that measures; pointers in it are addresses.
bytes pack(const message_info &m, const void *record, order byte_order);

/// The frame of a fixed-size record.
bytes frame(const message_info &m, const void *record, order byte_order);

/// Whether __unpack checks the root table under its own name: a slot leads to another table or to
/// a vector.
bool checks_root_itself(const message_info &m);

// Words at any address.
std::uint64_t load(const std::uint8_t *from, std::size_t width, order byte_order);
void store(std::uint8_t *to, std::uint64_t value, std::size_t width, order byte_order);

/// Bytes of a scalar, or of one element of an array of scalars; 0 for everything else.
std::size_t width_of(wire_type type);
bool is_scalar(wire_type type);

} // namespace vorl::reference
