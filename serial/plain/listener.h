// A listener is told what a reader does, and gives the reader memory. The library's listener uses
// the log and the platform's allocator (api/listener.h); a tool that explains bytes has its own.
#pragma once

#include "serial/slot.h"

namespace vorl {

/// `root`: the root table of a message that is not flat, which `__unpack` checks itself.
/// `non_root`: any other table. The reader treats both alike; the log names them differently.
enum class table_role : uint8_t { root, non_root };

/// What a table is refused for, in the order of the checks.
enum class table_check : uint8_t { position, vtable_position, vtable_length };

/// What a field is refused for.
enum class field_check : uint8_t {
    field,    ///< the scalar, or the offset word, passes the end of the bytes
    body,     ///< the offset leads past the end, or to where no count fits
    count,    ///< that of an array is not N
    elements, ///< they pass the end of the bytes, or are 2^30 or more
    position, ///< the offset of a table leads past 32 bits
    memory,   ///< there is none for the elements
};

/// A step of a reader. A listener that watches is told every step, in the order of reading; any
/// listener of a refusal. Positions are offsets from the first byte of the message.
struct reading_step {
    enum class kind : uint8_t {
        table,   ///< the table at `at` is in range; `to` its vtable, `size` the vtable's length
        field,   ///< the field of `slot` at `at` is inside; `size` its bytes
        body,    ///< a body is inside; `at` its count, `to` its elements, `size` their number
        element, ///< the word at `at` leads to a table at `to`; `size` its number, from 0
        leave,   ///< the table that the matching `element` led to has been read
        refused, ///< `slot` is refused for `check`; `at` what is wrong, `to` what it leads to
    };
    kind what;
    const message *of;
    uint32_t slot;
    uint32_t at;
    uint64_t to;
    uint32_t size;
    field_check check;
};

struct listener {
    /// The table at `at` failed a check, with the two numbers that its log line has.
    void (*refused)(const listener &, table_check, table_role, uint32_t at, uint32_t a, uint32_t b,
                    const message &);
    /// A field failed a check: a step of kind `refused`.
    void (*refused_field)(const listener &, const reading_step &);
    /// Gives `size` bytes for the elements of a vector in a record of the message; null: no memory.
    void *(*allocate)(const listener &, uint32_t size, table_role, const message &);
    /// `allocate` gave nothing, or the size needed passes 32 bits: a step of kind `refused`, for
    /// `memory`; `at` the elements, `to` that size.
    void (*no_memory)(const listener &, const reading_step &, table_role);
    /// Takes back memory that `allocate` gave.
    void (*release)(const listener &, void *block, const message &);
    /// Writes `size` zeros at `to`. Non-zero: it has refused; the reader writes all of them itself.
    int (*set_zero)(void *to, size_t size);
    /// Copies `size` bytes from `from` to `to`. Non-zero: as above.
    int (*copy_bytes)(void *to, const void *from, size_t size);
    /// Called for every step but refusals; null when the listener does not watch.
    void (*watch)(const listener &, const reading_step &) = nullptr;
};

} // namespace vorl
