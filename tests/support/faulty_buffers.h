// Bytes that the reader refuses for a table, with the text that it logs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "serial/slot.h"
#include "tests/codec/support/fixture.h"

namespace vorl::test {

/// What makes the three checks of a table fail.
enum class fault { table_position, vtable_position, vtable_length };
inline constexpr fault every_fault[] = {fault::table_position, fault::vtable_position,
                                        fault::vtable_length};

struct faulty_buffer {
    std::vector<std::uint8_t> bytes;
    std::string text; ///< that the reader logs
};

inline faulty_buffer faulty_root(fault kind)
{
    switch (kind) {
    case fault::table_position:
        return {buffer_of("u32 table  table:"), "[ZELKO]:Table offset(4) is out of range(4 - 4)"};
    case fault::vtable_position: // at 0
        return {buffer_of("u32 table  table: u32 table-0  zeros 4"),
                "[ZELKO]:Vtable offset(4) is out of range(4 - 8)"};
    case fault::vtable_length:
        return {buffer_of("u32 table  table: u32 table-vtable  vtable: u16 5  u16 0"),
                "[ZELKO]:Vtable Len(5) is out of range(0 - 4)"};
    }
    return {};
}

/// A good root table whose slot `index` leads to a table that fails.
inline faulty_buffer faulty_nested(const vorl::slot &slot, std::uint32_t index, fault kind)
{
    // Elements stand behind offset words, of which the first counts here; a nested table does not.
    const std::uint32_t words = slot.shape == slot_shape::table          ? 0
                                : slot.shape == slot_shape::table_vector ? 1
                                                                         : slot.count;
    const std::string way = kind == fault::table_position ? "u32 @end " : "u32 @inner ";
    const std::string field = words == 0 ? way
                                         : "u32 @list  list: u32 " + std::to_string(words) + " " +
                                               way + "zeros " + std::to_string(4 * (words - 1));
    const std::string soffset =
        kind == fault::vtable_position ? "u32 inner-0" : "u32 inner-inner_vtable";
    const std::vector<std::uint8_t> bytes = buffer_of(
        "u32 table  table: u32 table-vtable " + field + //
        " inner: " + soffset +                          //
        " inner_vtable: u16 0xFFFF  u16 0 "             //
        " vtable: u16 " +
        std::to_string(6 + 2 * index) + "  u16 8  zeros " + std::to_string(2 * index) + "  u16 4");

    const std::size_t length = bytes.size();
    const std::size_t inner = 12 + (words == 0 ? 0 : 4 + 4 * words);
    const std::string limit = std::to_string(length);
    switch (kind) {
    case fault::table_position:
        return {bytes, "[ZELKO]:Table offset(" + limit + ") is out of range(4 - " + limit + ")"};
    case fault::vtable_position:
        return {bytes, "[ZELKO]:Vtable offset(" + std::to_string(inner) + ") is out of range(4 - " +
                           std::to_string(length - 4) + ")"};
    case fault::vtable_length:
        return {bytes, "[ZELKO]:Vtable Len(65535) is out of range(0 - " +
                           std::to_string(length - inner - 4) + ")"};
    }
    return {};
}

} // namespace vorl::test
