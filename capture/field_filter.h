// "f5=2001:db8::/32": whether a record has that value there.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "inspect/labels.h"

namespace vorl::capture {

/// A filter that is none: "what; what to do".
class filter_error : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A member, by the names or labels of the slots that lead to it, "f1.f5", and a value: a number, hex
/// digits of bytes, an address, or one with a prefix's length; or a text as the label's form has it. Of
/// an array or a vector one element is enough.
class field_filter {
  public:
    /// For these messages; none: for all. The labels (null: none) have to outlive this. Throws
    /// filter_error where no message has such a member with such a value.
    field_filter(const std::string &text, std::span<const std::uint32_t> messages,
                 const inspect::labels *names);

    /// The record is of m, and whole.
    bool holds(const message &m, const std::uint8_t *record) const;

  private:
    /// What is looked for in the records of one message.
    struct wanted {
        std::vector<std::size_t> slots; ///< of the message, of the table that it leads to, ...
        std::vector<std::uint8_t> value;
        std::optional<std::size_t>
            bits; ///< of the value, from its most significant one on; none: all
    };

    wanted compile(const message &m, const std::string &path, const std::string &value,
                   const inspect::labels *names) const;

    std::map<std::uint32_t, wanted> of_message_;
};

} // namespace vorl::capture
