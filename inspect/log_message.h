// What is known of a line because the message is known that it names: which table it can be, and
// what its numbers are beside the message's own.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/log_lines.h"
#include "serial/plain/listener.h"
#include "serial/slot.h"

namespace vorl::inspect {

/// The check of a table of which the entry is; nothing: it is of something else.
std::optional<table_check> table_check_of(const log_entry &entry);

/// What a log line says of a table that was refused.
struct table_line {
    table_check check;
    const log_values &values;
    const message *of;      ///< null: not known
    const log_place *place; ///< null: not known
};

/// Which table it is: the root, another, or one of several.
struct which_table {
    bool is_root; ///< it is certain
    std::string text;
};
which_table table_of(const table_line &line);

/// Sentences; none where the message is not known.
std::vector<std::string> facts_of(const table_line &line);

/// The slot of which a line about memory is: by the number that the library logs with it, or because
/// the message has one vector alone.
std::optional<std::uint32_t> vector_slot(const message &m, const log_place &place,
                                         std::optional<std::uint32_t> logged);

/// "f1 of srv6_common_fwd_update, a vector<table srv6_common_fwd>".
std::string vector_text(const message &m, std::uint32_t slot);

/// What the bytes come to in elements.
std::string memory_fact(const message &m, std::uint32_t slot, const log_values &values);

} // namespace vorl::inspect
