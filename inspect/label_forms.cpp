#include "inspect/label_forms.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace vorl::inspect {
namespace {

constexpr unsigned scalars = uint8_kind | uint16_kind | uint32_kind | uint64_kind;
constexpr unsigned numbers = scalars | four_words_kind | words_kind;
constexpr unsigned bytes = mac_bytes_kind | address_bytes_kind | bytes_kind | byte_vector_kind;
constexpr unsigned addresses = four_words_kind | address_bytes_kind;

// The one list of the forms and of what each fits; docs/labels.md has it as a table.
constexpr auto forms = std::to_array<form_info>({
    {"dec", form::dec, numbers, true},
    {"hex", form::hex, numbers | bytes, true},
    {"ipv4", form::ipv4, uint32_kind, false},
    {"ipv6", form::ipv6, addresses, false},
    {"prefix", form::prefix, uint32_kind | addresses, false},
    {"mac", form::mac, uint64_kind | mac_bytes_kind, false},
    {"sid", form::sid, addresses, false},
    {"time", form::time, uint32_kind | uint64_kind, true},
    {"enum", form::enumeration, scalars, false},
    {"flags", form::flags, scalars, false},
    {"unit", form::unit, scalars, true},
});

} // namespace

wire_kind kind_of(const slot &s)
{
    if (s.nested != nullptr)
        return tables_kind;
    if (s.shape == slot_shape::byte_vector)
        return byte_vector_kind;
    if (s.shape == slot_shape::array) {
        if (s.width != 1)
            return s.count == 4 ? four_words_kind : words_kind;
        return s.count == 6 ? mac_bytes_kind : s.count == 16 ? address_bytes_kind : bytes_kind;
    }
    switch (s.width) {
    case 1: return uint8_kind;
    case 2: return uint16_kind;
    case 4: return uint32_kind;
    default: return uint64_kind;
    }
}

std::span<const form_info> all_forms() { return forms; }

const form_info *find_form(std::string_view name)
{
    const auto *const found =
        std::find_if(forms.begin(), forms.end(), [name](const auto &f) { return f.name == name; });
    return found == forms.end() ? nullptr : found;
}

const form_info &info_of(form f)
{
    const auto *const found =
        std::find_if(forms.begin(), forms.end(), [f](const auto &info) { return info.is == f; });
    if (found == forms.end())
        throw std::logic_error("form::none has no entry");
    return *found;
}

bool fits(form f, const slot &s) { return (info_of(f).fits & kind_of(s)) != 0; }

std::string forms_that_fit(const slot &s)
{
    std::vector<std::string> names;
    for (const form_info &f : forms) {
        if (fits(f.is, s))
            names.emplace_back(f.name);
    }
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i)
        text += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
    return text;
}

} // namespace vorl::inspect
