// An explanation, line by line: every byte stands in a line, in the order of the bytes.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "inspect/explain.h"

namespace vorl::inspect {

struct explained_line {
    std::uint32_t at;
    std::uint32_t size;
    std::uint32_t overlap; ///< how many of the bytes stand in lines above as well
    const char *what;      ///< "soffset", "entry", "value"
    std::string path;      ///< of the table, member or element; empty: the root table, or none
    std::string label;     ///< the same path by labels; empty: there are none
    std::string text;      ///< what people read, the path included
    std::optional<std::uint64_t> leads_to; ///< offset
    std::string value;                     ///< of a value or values, alone; otherwise empty
};

/// With labels, values are in their forms.
void for_each_line(const explanation &e, const labels *names,
                   const std::function<void(const explained_line &)> &take);

} // namespace vorl::inspect
