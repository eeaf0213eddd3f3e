// What every message is, from tests/facts/messages.inc.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorl::test {

struct slot_fact {
    std::string type; ///< "array<uint32,4>", "table:srv6_class_item"
    std::uint32_t frame_offset;
};

struct fact {
    std::string message;
    std::uint32_t msg_id;
    std::size_t record_size;
    std::uint32_t frame_length;
    std::uint32_t table_length;
    std::vector<slot_fact> slots;
};

const std::vector<fact> &facts();
/// Null if there are none.
const fact *find_fact(const std::string &message);
const fact &fact_of(const std::string &message);

/// Whether a slot of the message leads to a table or to a vector.
bool leads_elsewhere(const fact &f);

} // namespace vorl::test
