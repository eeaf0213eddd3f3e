// A message as people name it on a command line.
#pragma once

#include <charconv>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/catalogue.h"
#include "inspect/did_you_mean.h"
#include "tools/vorl/json_node.h"

namespace vorl {

/// A number as people write identifiers: decimal, or 0x and hex digits.
inline std::optional<std::uint32_t> as_identifier(const std::string &text)
{
    const bool is_hex = text.starts_with("0x") || text.starts_with("0X");
    std::uint32_t id = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] =
        std::from_chars(text.data() + (is_hex ? 2 : 0), end, id, is_hex ? 16 : 10);
    return error == std::errc() && stop == end ? std::optional(id) : std::nullopt;
}

/// By name, or by its identifier. Throws std::runtime_error.
inline const catalogue::message_info &find_message_or_throw(const std::string &text)
{
    const catalogue::message_info *found = catalogue::find_message(std::string_view(text));
    if (found == nullptr) {
        if (const auto id = as_identifier(text))
            found = catalogue::find_message(*id);
    }
    if (found == nullptr) {
        std::vector<std::string_view> names;
        for (const catalogue::package_info *package : catalogue::packages) {
            for (const catalogue::message_info &info : package->messages)
                names.emplace_back(name_of(info.data));
        }
        throw std::runtime_error(
            "vorl: no message is called " + json::printable(text) + "; " +
            did_you_mean_or(text, names, "'vorl list' shows names and identifiers"));
    }
    return *found;
}

/// The identifier of a message, or any number. Throws std::runtime_error.
inline std::uint32_t identifier_or_throw(const std::string &text)
{
    if (const auto id = as_identifier(text))
        return *id;
    return find_message_or_throw(text).data.msg_id;
}

} // namespace vorl
