// The buffers that make __unpack work and allocate the most for their size.
#pragma once

#include "tests/codec/support/messages.h"

namespace vorl::test {

/// The most that __unpack allocates for every 4 bytes of its buffer.
std::uint64_t hostile_bytes_per_word(const message &m);

/// What the elements of a hostile buffer's vectors lead to.
enum class hostile_elements {
    empty,  ///< a table without fields
    framed, ///< the table of a whole frame
    packed, ///< a packed table with every field present
    sparse, ///< a packed table with every other field
    late,   ///< as packed, with the last field past the end of the buffer: all is for nothing
};

/// A buffer in which every vector has `count` elements, or four times as many bytes, and all offsets
/// lead to one table. Vectors lie over each other. A message without vectors is simply packed.
bytes hostile_buffer(const message &m, std::uint32_t count, order o,
                     hostile_elements elements = hostile_elements::empty);

} // namespace vorl::test
