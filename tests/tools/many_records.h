// Bytes that lead to far more memory than they take themselves.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "inspect/encode.h"
#include "tests/codec/support/fixture.h"
#include "tools/vorl/dumps/read_frames.h"
#include "tools/vorl/json_record.h"

namespace vorl::test {

/// srv6_cfg_query_dfx_rec whose `count` elements are all the one item behind the words: 16,572 bytes
/// of record for each 4 bytes. In the byte order of this machine, which is little endian.
///
///     0       4                20           24        24 + 4 * count
///     | root  | vtable, table  | count      | words   | vtable and table of the item
///                                             +-------> each leads to the same table
inline bytes one_item_many_times(std::uint32_t count)
{
    const std::string f2(std::size_t{2} * 16384, 'f');
    const json::record item =
        json::parse_record(R"({"message":"srv6_cfg_query_dfx_item","f2":")" + f2 + "\"}");
    const bytes packed = inspect::encode(item.type(), item.data(), inspect::encoding::packed);
    bytes all = buffer_of("u32 table  vtable: u16 8  u16 12  u16 0  u16 4 "
                          "table: u32 table-vtable  u32 4  u32 " +
                          std::to_string(count));
    const std::size_t words = all.size();
    all.resize(words + std::size_t{4} * count);
    // What the item's own root offset leads to, seen from each word.
    const std::size_t table = all.size() + packed[0] - 4;
    for (std::size_t i = 0; i < count; ++i) {
        const auto distance = static_cast<std::uint32_t>(table - (words + 4 * i));
        std::memcpy(&all[words + 4 * i], &distance, sizeof distance);
    }
    all.insert(all.end(), packed.begin() + 4, packed.end());
    return all;
}

} // namespace vorl::test
