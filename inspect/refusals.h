// What a reader reports when it refuses something, put into words: one function for each kind of
// check. The numbers are those of docs/format.md, "What the reader checks".
#pragma once

#include "inspect/damage.h"
#include "serial/plain/read.h"

namespace vorl::inspect {

damage refused_length(const message &m, std::uint64_t length);

/// Of a table that is refused.
struct refused_numbers {
    std::uint32_t table;   ///< its position
    std::uint32_t word_at; ///< of the word that leads there
    std::uint32_t a;       ///< the numbers of the log line
    std::uint32_t b;
};
damage refused_table(received from, table_check check, table_role role, const message &m,
                     refused_numbers numbers, std::string path);

/// Of a slot; the reader's step says which, and why.
damage refused_slot(received from, const checked_table &table, table_role role,
                    const reading_step &step, std::string path);

/// Of an element whose word at `at` leads past 32 bits.
damage refused_position(std::uint32_t at, std::uint64_t position, std::string path);

/// A vector for whose elements there is no memory. `size` is in bytes; past 32 bits, the allocator
/// is not asked.
damage refused_memory(received from, table_role role, const reading_step &step, std::string path);

} // namespace vorl::inspect
