// What each byte of a message is, and everything for which a reader refuses it. The checks are the
// plain reader's own (serial/plain/read.h); a receiver stops at the first thing that they refuse, an
// explanation goes on with what can still be read.
#pragma once

#include <span>
#include <vector>

#include "inspect/damage.h"
#include "inspect/labels.h"
#include "serial/slot.h"

namespace vorl::inspect {

/// A table that the bytes lead to, whether or not it is in range.
struct found_table {
    const message *of;
    std::uint32_t at;
    std::uint32_t parent;  ///< index of the table that leads to it; of the root, 0
    std::uint32_t slot;    ///< of the parent
    std::uint32_t element; ///< of that slot
};

/// Some bytes that are one thing.
struct part {
    enum class kind : std::uint8_t {
        root_offset,
        soffset,
        vtable,        ///< of `size` bytes, both lengths and every entry
        vtable_length, ///< alone: the vtable passes the end
        value,         ///< of a scalar
        offset,        ///< the word of an array, a vector or a nested table
        count,
        values, ///< of an array or a byte vector
        element,
    };
    kind what;
    bool is_partial = false; ///< of values: as many as there are, of a body that is refused
    std::uint32_t at;
    std::uint32_t size;
    std::uint32_t table;    ///< index of the table that it belongs to
    std::uint32_t slot;     ///< of that table
    std::uint32_t element;  ///< of that slot
    std::uint64_t leads_to; ///< offset; for what leads nowhere, 0
    std::uint32_t target;   ///< index of the table that it leads to; 0: none
};

struct explanation {
    const message *of;
    std::span<const std::uint8_t> bytes;
    std::vector<found_table> tables; ///< in the order of reading, each place once; first the root
    std::vector<part> parts;         ///< by offset; they may overlap where the sender let them
    std::vector<damage> damages;     ///< in the order of reading; empty: a reader accepts the bytes
    std::uint64_t more_damages = 0;  ///< not kept: 1,000 are
    bool is_cut = false;             ///< there are more parts than were kept, 4,000,000
};

/// Explains bytes, whatever they are, as a message `m`. They have to outlive the explanation. No
/// table is read twice as the same message, however many offsets lead to it, so the time and the
/// memory that it takes grow with the number of bytes alone. With labels each damage has its path by
/// their names, too.
explanation explain(const message &m, std::span<const std::uint8_t> bytes,
                    const labels *names = nullptr);

/// What a receiver stops at; nothing: it accepts the bytes.
std::optional<damage> first_damage(const message &m, std::span<const std::uint8_t> bytes);

/// What paths call the members: "f6", or with labels their names where they have one.
using labels_or_null = const labels *;

/// The path of a table, "f1[3]"; empty: the root.
std::string table_path(const explanation &e, std::uint32_t table, labels_or_null names = nullptr);
/// The path of a member of that table, "f1[3].f6".
std::string member_path(const explanation &e, std::uint32_t table, std::uint32_t slot,
                        labels_or_null names = nullptr);
/// Element `number` of a member, "f1[3]"; of a nested table, "f1".
std::string element_path(const explanation &e, std::uint32_t table, std::uint32_t slot,
                         std::uint32_t number, labels_or_null names = nullptr);

/// The unsigned integer of `width` bytes at `at`, which lies inside the bytes.
std::uint64_t integer_at(std::span<const std::uint8_t> bytes, std::uint32_t at, std::size_t width);

} // namespace vorl::inspect
