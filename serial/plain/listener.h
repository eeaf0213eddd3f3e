// Who hears of what a reader does, and gives it memory. In the library that is the log and the
// platform's allocator (api/listener.h); for a tool that explains bytes, whatever it likes.
#pragma once

#include "serial/slot.h"

namespace vorl {

/// A table that `__unpack` checks itself, or one that is read as nested, as an element or in place.
/// The reader treats both alike; the log names them differently.
enum class table_role : uint8_t { root, non_root };

/// What a table is refused for, in the order of the checks.
enum class table_check : uint8_t { position, vtable_position, vtable_length };

/// What a field is refused for.
enum class field_check : uint8_t {
    field,    ///< the scalar, or the offset word, passes the end of the bytes
    body,     ///< the offset leads past the end, or to where no count fits
    count,    ///< of an array: not the count that it has
    elements, ///< they pass the end of the bytes, or are too many for any bytes
    position, ///< the offset of a table leads past 32 bits
    memory,   ///< there is none for the elements
};

/// A step of a reader, told to whoever watches it, in the order of reading. Positions are offsets
/// from the first of the bytes.
struct reading_step {
    enum class kind : uint8_t {
        table, ///< a table is in range; `at` its position, `to` its vtable, `size` that one's length
        field,   ///< the field of `slot` is inside; `at`, `size`
        body,    ///< a body is inside; `at` its count, `to` its elements, `size` how many those are
        element, ///< the word at `at` leads to a table at `to`; `size` its number, from 0
        leave,   ///< that table has been read
        refused, ///< the field of `slot`, for `check`; `at` what is wrong, `to` what it leads to
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
    /// A table failed a check, with the two numbers that its log line has.
    void (*refused)(const listener &, table_check, table_role, uint32_t a, uint32_t b,
                    const message &);
    /// `size` bytes for the elements of a vector of a record of the message; null: there are none.
    void *(*allocate)(const listener &, uint32_t size, table_role, const message &);
    /// Memory for a vector could not be had. `size` is in 32 bits; what was needed may be more.
    void (*no_memory)(const listener &, uint32_t size, uint32_t slot, table_role, const message &);
    /// Memory that `allocate` gave goes back.
    void (*release)(const listener &, void *block, const message &);
    /// `size` zeros at `to`. Non-zero: the reader does it, whatever has been written there.
    int (*set_zero)(void *to, size_t size);
    /// `size` bytes from `from` to `to`. Non-zero: the same.
    int (*copy_bytes)(void *to, const void *from, size_t size);
    /// Every step; null when nobody watches.
    void (*watch)(const listener &, const reading_step &) = nullptr;
};

} // namespace vorl
