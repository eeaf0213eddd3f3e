// Buffers written as text, so that a reader sees the bytes and not the arithmetic:
//
//     u32 table                       // a label's position
//     vtable: u16 8 u16 8 u16 4 u16 0
//     table:  u32 table-vtable        // sums and differences of numbers and labels
//             u32 @list               // the way from this word to a label
//     list:   u32 3 bytes 01 02 03    // two hexadecimal digits each
//             zeros 4
//
// `end` is the position behind the last byte.
#pragma once

#include <string_view>

#include "tests/reference/reference.h"

namespace vorl::test {

/// Ends the program when the text is wrong.
reference::bytes buffer_of(std::string_view text,
                           reference::order byte_order = reference::order::little);

} // namespace vorl::test
