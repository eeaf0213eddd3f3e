// Buffers written as text, so that a reader sees the bytes and not the arithmetic:
//
//             u32 table                       // root offset: a number, or a label's position
//     vtable: u16 8  u16 15  u16 4  u16 0     // its length, the table's, an entry a slot
//     table:  u32 table-vtable                // soffset: sums and differences of both
//             u32 @list                       // offset word: the way from this word to a label
//     list:   u32 3  bytes 01 02 03           // two hexadecimal digits each
//             zeros 4
//
// `end` is the position behind the last byte. A text that shows a message's bytes labels the root's
// vtable and table `vtable:` and `table:`, those of an inner table called x `x_vtable:` and `x:`.
#pragma once

#include <string_view>

#include "tests/reference/reference.h"

namespace vorl::test {

/// Ends the program when the text is wrong.
reference::bytes buffer_of(std::string_view text,
                           reference::order byte_order = reference::order::little);

} // namespace vorl::test
