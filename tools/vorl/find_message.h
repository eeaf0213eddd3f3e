// A message as people name it on a command line.
#pragma once

#include <cctype>
#include <charconv>
#include <stdexcept>
#include <string>

#include "catalogue/catalogue.h"
#include "tools/vorl/json_node.h"

namespace vorl {

/// By name, or by its identifier: decimal, or 0x and hex digits. Throws std::runtime_error.
inline const catalogue::message_info &find_message_or_throw(const std::string &text)
{
    const catalogue::message_info *found = catalogue::find_message(std::string_view(text));
    if (found == nullptr) {
        const bool is_hex = text.starts_with("0x") || text.starts_with("0X");
        std::uint32_t id = 0;
        const char *const end = text.data() + text.size();
        const auto [stop, error] =
            std::from_chars(text.data() + (is_hex ? 2 : 0), end, id, is_hex ? 16 : 10);
        if (error == std::errc() && stop == end)
            found = catalogue::find_message(id);
    }
    if (found == nullptr)
        throw std::runtime_error("vorl: no message is called " + json::printable(text) +
                                 "; 'vorl list' shows names and identifiers");
    return *found;
}

} // namespace vorl
