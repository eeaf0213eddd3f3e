// One line of JSON as a tree that keeps what a record needs to be checked against: every member in
// order, duplicates included, and numbers exactly.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/printable.h"

namespace vorl::json {

/// Something wrong with a line: "MEMBER: what is wrong; what to do", one line, printable.
class input_error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    input_error(const std::string &member, const std::string &what)
        : std::runtime_error(member + ": " + what)
    {}
};

struct node {
    enum class kind_type : std::uint8_t {
        null,
        boolean,
        number,       ///< a whole number from 0 to 2^64 - 1, in `number`
        other_number, ///< any other, as written, in `text`
        text,
        array,
        object,
    };

    std::string name; ///< of a member of an object
    kind_type kind = kind_type::null;
    std::uint64_t number = 0;
    std::string text;
    std::vector<node> items; ///< of an array, members of an object
};

/// The tree of one JSON value. Throws input_error.
node parse_json(std::string_view text);

using vorl::printable;

} // namespace vorl::json
