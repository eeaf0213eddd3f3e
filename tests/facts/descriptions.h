// The descriptions read, and what follows from them worked out, a second time: by the rules of
// docs/format.md and docs/idl.md, and by code that shares nothing with idlc, the catalogue or the
// library. What the two make of a message is compared; so the facts of a new message need nobody
// who counts bytes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorl::test {

struct described_slot {
    std::string type;        ///< as in messages.inc: "array<uint32,4>"
    std::uint32_t width = 0; ///< bytes of a value; of tables 0
    std::uint32_t count = 0; ///< of an array
    bool is_array = false;
    bool is_vector = false;
    std::string table;           ///< the message of its tables; empty: none
    std::uint64_t record_at = 0; ///< of the member; of a vector, of its pointer
    std::uint64_t count_at = 0;  ///< of a vector's count
    std::uint64_t frame_at = 0;  ///< from the table of a frame; 0: there is no frame
};

struct described_message {
    std::string package;
    std::string name;
    std::vector<described_slot> slots;
    std::uint32_t msg_id = 0;
    std::uint64_t record_size = 0;
    std::uint64_t alignment = 1;
    bool is_fixed_size = true;
    std::uint64_t table_length = 0; ///< these three: 0 without a frame
    std::uint64_t vtable_at = 0;
    std::uint64_t frame_length = 0;
};

/// The messages of descriptions that idlc accepts, in their order. Throws std::runtime_error, with
/// the line, at what it does not expect.
std::vector<described_message> read_descriptions(const std::vector<std::string> &texts);

/// The row of a message in messages.inc. `since` is empty, or the version that brought the message:
/// "1, 1".
std::string fact_row(const described_message &m, std::string_view since);

} // namespace vorl::test
