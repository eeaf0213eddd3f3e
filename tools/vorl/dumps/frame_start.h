// How the bytes of a message begin, whatever message it is (docs/format.md):
//
//   a frame   04 00 00 00  F0 FF FF FF     the table is at 4; its vtable lies behind, so its
//                                          soffset is negative
//   packed    22 00 00 00  1E 00 22 00     the vtable is at 4, the table behind it
#pragma once

#include <cstdint>
#include <span>

namespace vorl::dumps {

bool begins_frame(std::span<const std::uint8_t> bytes);

/// Of bytes that begin as a frame does: whether they are one, not packed bytes. The vtable of a frame
/// is its end.
bool has_vtable_last(std::span<const std::uint8_t> bytes);

/// Of bytes that begin as a frame does: whether they have the root table and its vtable to the end.
bool holds_root_table(std::span<const std::uint8_t> bytes);

} // namespace vorl::dumps
