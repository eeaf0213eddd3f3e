// messages.inc as text: its rows, and what new messages make of it.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/facts/descriptions.h"

namespace vorl::test {

/// A row from its macro's name to its last line end, and the message that it is of.
struct row {
    std::string message;
    std::string since; ///< "1, 1"; empty: of 1.0.0
    std::string text;
};

inline std::vector<row> rows_of(std::string_view file)
{
    std::vector<row> rows;
    for (std::size_t at = file.find("\nFACT"); at != file.npos; at = file.find("\nFACT", at)) {
        const std::size_t begin = at + 1;
        const std::size_t end = file.find("\")\n", begin);
        if (end == file.npos)
            throw std::runtime_error("a row does not end with \")");
        row r{{}, {}, std::string(file.substr(begin, end + 3 - begin))};
        std::size_t name = r.text.find('(') + 1;
        if (r.text.starts_with("FACT_SINCE")) {
            const std::size_t minor = r.text.find(',', name) + 1;
            const std::size_t behind = r.text.find(',', minor);
            r.since = r.text.substr(name, behind - name);
            name = behind + 2;
        }
        r.message = r.text.substr(name, r.text.find(',', name) - name);
        rows.push_back(std::move(r));
        at = end + 2;
    }
    return rows;
}

} // namespace vorl::test
