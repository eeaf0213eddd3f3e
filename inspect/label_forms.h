// The forms in which a labels file can have values shown (docs/labels.md), what they fit, and values
// to text and back. Values are as in a record (serial/slot.h): numbers in native order, the sixteen
// bytes of an address in the order of the address.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "serial/slot.h"

namespace vorl::inspect {

enum class form : std::uint8_t {
    none, ///< as it is without a label
    dec,
    hex,
    ipv4,
    ipv6,
    prefix,
    mac,
    sid,
    time,
    enumeration,
    flags,
    unit,
};

/// What a labels file says of a slot.
struct label {
    struct named_value {
        std::uint64_t value; ///< of a flag: the number of its bit
        std::string name;
    };

    std::string name; ///< empty: the slot has none but fN
    std::string unit; ///< empty: none
    form shown_as = form::none;
    std::uint32_t locator = 0;      ///< sid: bits of its locator
    std::uint32_t function = 0;     ///< sid: bits of its function, behind the locator
    std::uint32_t length_slot = 0;  ///< prefix: which slot has its length
    bool since_start = false;       ///< time: a duration, and not a date
    std::vector<named_value> names; ///< of the values of an enumeration, or of flags
};

/// What the forms distinguish of wire types. Each is a bit, for sets of them.
enum wire_kind : std::uint16_t {
    uint8_kind = 1 << 0,
    uint16_kind = 1 << 1,
    uint32_kind = 1 << 2,
    uint64_kind = 1 << 3,
    four_words_kind = 1 << 4,    ///< array<uint32, 4>
    words_kind = 1 << 5,         ///< array<uint32, N> of another N
    mac_bytes_kind = 1 << 6,     ///< array<uint8, 6>
    address_bytes_kind = 1 << 7, ///< array<uint8, 16>
    bytes_kind = 1 << 8,         ///< array<uint8, N> of another N
    byte_vector_kind = 1 << 9,
    tables_kind = 1 << 10, ///< a table, or an array or vector of tables
};
wire_kind kind_of(const slot &s);

struct form_info {
    const char *name; ///< in a labels file
    form is;
    unsigned fits; ///< set of wire_kind
    bool has_unit; ///< whether a unit goes with it
};

/// The closed list of the forms, form::none excepted.
std::span<const form_info> all_forms();
const form_info *find_form(std::string_view name);
/// Not of form::none.
const form_info &info_of(form f);
bool fits(form f, const slot &s);
/// "dec, hex and time"; empty: no form fits.
std::string forms_that_fit(const slot &s);

/// A text that is no value of a form: "what is wrong; what to do", printable.
class form_error : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Whether the form makes a list of a value: the names of flags, the numbers of an array.
bool is_list(const label &as, const slot &s);
/// That list: names of flags and then the bits without a name, as in "0x4"; or numbers.
std::vector<std::string> list_of(const label &as, const slot &s, const std::uint8_t *value);

/// The value in its form, `value` being the slot's bytes. A list has its parts joined: by | where
/// they are flags, by blanks otherwise. Nothing: it has no text in this form and is shown as
/// without a label, as is a value of an enumeration that has no name. `length` is that of a prefix,
/// where it is known.
std::optional<std::string> text_of(const label &as, const slot &s, const std::uint8_t *value,
                                   std::optional<std::uint64_t> length = std::nullopt);

/// Writes the value of a text that text_of could have made into the slot's bytes at `to`. Returns
/// the length, when it was a prefix with one. Throws form_error.
std::optional<std::uint64_t> read_text(const label &as, const slot &s, std::string_view text,
                                       std::uint8_t *to);

/// The flags of those names and hex numbers. Throws form_error.
std::uint64_t read_flags(const label &as, const slot &s, std::span<const std::string_view> parts);
/// "0x1f". Throws form_error, also where the number takes more than `width` bytes.
std::uint64_t read_hex_number(std::string_view text, std::size_t width);

} // namespace vorl::inspect
