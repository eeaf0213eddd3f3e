// Values to text by form, and back.
#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "inspect/did_you_mean.h"
#include "inspect/hex.h"
#include "inspect/integers.h"
#include "inspect/label_forms.h"
#include "inspect/label_times.h"
#include "inspect/printable.h"

namespace vorl::inspect {
namespace {

constexpr std::size_t mac_size = 6;
constexpr std::size_t address_bits = 128;

[[noreturn]] void refuse(std::string_view text, const std::string &wanted)
{
    throw form_error('"' + printable(text) + "\" is " + wanted);
}

/// "0x1f": two digits a byte where `digits` is twice the width, as few as there are where it is 0.
std::string hex_number(std::uint64_t value, std::size_t digits)
{
    std::array<char, 16> text{};
    const char *const end = std::to_chars(text.data(), text.data() + text.size(), value, 16).ptr;
    const std::string shown(
        std::string_view(text.data(), static_cast<std::size_t>(end - text.data())));
    return "0x" + std::string(std::max(digits, shown.size()) - shown.size(), '0') + shown;
}

/// The whole text is a decimal number.
std::optional<std::uint64_t> decimal(std::string_view text)
{
    std::uint64_t value = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

// Addresses.

std::string address_text(const slot &s, const std::uint8_t *value)
{
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (kind_of(s) == uint32_kind) {
        const auto number = htonl(static_cast<std::uint32_t>(load_integer(value, 4)));
        inet_ntop(AF_INET, &number, text.data(), text.size());
    } else {
        inet_ntop(AF_INET6, value, text.data(), text.size());
    }
    return text.data();
}

void read_address(const slot &s, std::string_view text, std::uint8_t *to)
{
    const bool is_ipv4 = kind_of(s) == uint32_kind;
    std::array<std::uint8_t, 16> address{};
    // A zero byte would end the text early for inet_pton.
    if (text.find('\0') != std::string_view::npos ||
        inet_pton(is_ipv4 ? AF_INET : AF_INET6, std::string(text).c_str(), address.data()) != 1)
        refuse(text, is_ipv4 ? "not an IPv4 address; give one such as \"192.0.2.1\""
                             : "not an IPv6 address; give one such as \"2001:db8::1\"");
    if (is_ipv4) {
        std::uint32_t number = 0;
        std::memcpy(&number, address.data(), sizeof number);
        store_integer(to, ntohl(number), 4);
    } else {
        std::memcpy(to, address.data(), address.size());
    }
}

std::optional<std::uint64_t> read_prefix(const slot &s, std::string_view text, std::uint8_t *to)
{
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos) {
        read_address(s, text, to);
        return std::nullopt;
    }
    const auto length = decimal(text.substr(slash + 1));
    if (!length)
        refuse(text, "no prefix; give an address, a / and a length, such as \"2001:db8::/32\"");
    read_address(s, text.substr(0, slash), to);
    return length;
}

/// Bits `from` to `from + count` of an address, as a number in hex.
std::string bits_text(const std::uint8_t *address, std::size_t from, std::size_t count)
{
    std::string digits;
    for (std::size_t done = 0; done < count;) {
        // What does not fill a digit is in the first one.
        const std::size_t size = (count - done) % 4 == 0 ? 4 : (count - done) % 4;
        unsigned digit = 0;
        for (std::size_t i = 0; i < size; ++i) {
            const std::size_t bit = from + done + i;
            digit = 2 * digit + (address[bit / 8] >> (7 - bit % 8) & 1U);
        }
        done += size;
        if (digit != 0 || !digits.empty())
            digits += hex_digits[digit];
    }
    return "0x" + (digits.empty() ? "0" : digits);
}

/// "2001:db8:a001:1:: (locator 2001:db8:a001::/48, function 0x1)"; bits behind the function are its
/// argument, which is shown when it is not zero.
std::string sid_text(const label &as, const slot &s, const std::uint8_t *value)
{
    std::array<std::uint8_t, 16> locator{};
    for (std::size_t bit = 0; bit < as.locator; ++bit)
        locator[bit / 8] |= static_cast<std::uint8_t>(value[bit / 8] & (0x80U >> bit % 8));
    const std::size_t argument_at = as.locator + as.function;
    const std::string argument = bits_text(value, argument_at, address_bits - argument_at);
    return address_text(s, value) + " (locator " + address_text(s, locator.data()) + "/" +
           std::to_string(as.locator) + ", function " + bits_text(value, as.locator, as.function) +
           (argument == "0x0" ? "" : ", argument " + argument) + ")";
}

void read_sid(const label &as, const slot &s, std::string_view text, std::uint8_t *to)
{
    const std::size_t parts = text.find(" (");
    std::array<std::uint8_t, 16> address{};
    read_address(s, text.substr(0, parts), address.data());
    if (parts != std::string_view::npos && text != sid_text(as, s, address.data()))
        refuse(text, "not the parts of that SID; give the SID alone, or \"" +
                         sid_text(as, s, address.data()) + "\"");
    std::copy(address.begin(), address.end(), to);
}

/// The six bytes, in the order of the text; of a number from its 48th bit down.
std::optional<std::string> mac_text(const slot &s, const std::uint8_t *value)
{
    std::array<std::uint8_t, mac_size> mac{};
    if (s.shape == slot_shape::array) {
        std::copy(value, value + mac_size, mac.begin());
    } else {
        if (load_integer(value, s.width) >> (8 * mac_size) != 0)
            return std::nullopt;
        std::reverse_copy(value, value + mac_size, mac.begin());
    }
    return to_hex(mac.data(), mac.size(), ":");
}

void read_mac(const slot &s, std::string_view text, std::uint8_t *to)
{
    std::array<std::uint8_t, mac_size> mac{};
    bool is_mac = text.size() == 3 * mac_size - 1;
    for (std::size_t i = 0; is_mac && i < mac_size; ++i) {
        const int high = hex_value(text[3 * i]);
        const int low = hex_value(text[3 * i + 1]);
        is_mac = high >= 0 && low >= 0 && (i + 1 == mac_size || text[3 * i + 2] == ':');
        mac[i] = static_cast<std::uint8_t>(16 * high + low);
    }
    if (!is_mac)
        refuse(text, "not a MAC address; give one such as \"00:00:5e:00:53:01\"");
    if (s.shape == slot_shape::array) {
        std::copy(mac.begin(), mac.end(), to);
        return;
    }
    store_integer(to, 0, s.width);
    std::reverse_copy(mac.begin(), mac.end(), to);
}

// Names.

const label::named_value *find_name(const label &as, std::string_view name)
{
    const auto found = std::find_if(as.names.begin(), as.names.end(),
                                    [name](const auto &named) { return named.name == name; });
    return found == as.names.end() ? nullptr : &*found;
}

[[noreturn]] void refuse_name(const label &as, std::string_view text, const std::string &otherwise)
{
    std::vector<std::string_view> names;
    for (const label::named_value &named : as.names)
        names.emplace_back(named.name);
    refuse(text, "no name of its values; " + did_you_mean_or(text, names, otherwise));
}

std::uint64_t read_enumeration(const label &as, std::string_view text)
{
    const label::named_value *found = find_name(as, text);
    if (found == nullptr)
        refuse_name(as, text, "give one that the labels have, or the number");
    return found->value;
}

// Times and numbers with a unit.

std::uint64_t read_unit(const label &as, std::string_view text, std::size_t width)
{
    const std::size_t blank = text.find(' ');
    const auto number = decimal(text.substr(0, blank));
    if (!number || blank == std::string_view::npos || text.substr(blank + 1) != as.unit)
        refuse(text, "not a number of " + as.unit + "; give one such as \"1 " + as.unit +
                         "\", or the number alone");
    if (*number > largest_integer(width))
        refuse(text, "out of range; give at most " + std::to_string(largest_integer(width)));
    return *number;
}

std::uint64_t read_time(const label &as, std::string_view text, std::size_t width)
{
    const unsigned digits = digits_of_unit(as.unit).value_or(0);
    const std::uint64_t value =
        as.since_start ? read_duration(text, digits) : read_date(text, digits);
    if (value > largest_integer(width))
        refuse(text, "out of range; give at most " + std::to_string(largest_integer(width)) + " " +
                         as.unit);
    return value;
}

} // namespace

bool is_list(const label &as, const slot &s)
{
    const bool is_number_form = as.shown_as == form::dec || as.shown_as == form::hex;
    return as.shown_as == form::flags ||
           (is_number_form && (kind_of(s) & (four_words_kind | words_kind)) != 0);
}

std::vector<std::string> list_of(const label &as, const slot &s, const std::uint8_t *value)
{
    std::vector<std::string> parts;
    if (as.shown_as != form::flags) {
        for (std::uint32_t i = 0; i < s.count; ++i) {
            const std::uint64_t number = load_integer(value + std::size_t{s.width} * i, s.width);
            parts.push_back(as.shown_as == form::dec
                                ? std::to_string(number)
                                : hex_number(number, std::size_t{2} * s.width));
        }
        return parts;
    }
    std::uint64_t rest = load_integer(value, s.width);
    for (const label::named_value &flag : as.names) {
        const std::uint64_t bit = std::uint64_t{1} << flag.value;
        if ((rest & bit) != 0)
            parts.push_back(flag.name);
        rest &= ~bit;
    }
    if (rest != 0)
        parts.push_back(hex_number(rest, 0));
    return parts;
}

std::optional<std::string> text_of(const label &as, const slot &s, const std::uint8_t *value,
                                   std::optional<std::uint64_t> length)
{
    if (is_list(as, s)) {
        const bool are_flags = as.shown_as == form::flags;
        std::string text;
        for (const std::string &part : list_of(as, s, value))
            text += (text.empty() ? "" : are_flags ? "|" : " ") + part;
        return text.empty() ? "0x0" : text;
    }
    const std::uint64_t number =
        s.shape == slot_shape::scalar ? load_integer(value, s.width) : std::uint64_t{0};
    const unsigned digits = digits_of_unit(as.unit).value_or(0);
    switch (as.shown_as) {
    case form::dec: return std::to_string(number);
    case form::hex:
        if (s.shape != slot_shape::scalar)
            return std::nullopt; // bytes are written so without a label, too
        return hex_number(number, std::size_t{2} * s.width);
    case form::ipv4:
    case form::ipv6: return address_text(s, value);
    case form::prefix:
        return address_text(s, value) + (length ? "/" + std::to_string(*length) : "");
    case form::mac: return mac_text(s, value);
    case form::sid: return sid_text(as, s, value);
    case form::time:
        return as.since_start ? duration_text(number, digits) : date_text(number, digits);
    case form::enumeration:
        for (const label::named_value &named : as.names) {
            if (named.value == number)
                return named.name;
        }
        return std::nullopt;
    case form::unit: return std::to_string(number) + " " + as.unit;
    case form::none:
    case form::flags: break;
    }
    return std::nullopt;
}

std::optional<std::uint64_t> read_text(const label &as, const slot &s, std::string_view text,
                                       std::uint8_t *to)
{
    switch (as.shown_as) {
    case form::ipv4:
    case form::ipv6: read_address(s, text, to); break;
    case form::prefix: return read_prefix(s, text, to);
    case form::mac: read_mac(s, text, to); break;
    case form::sid: read_sid(as, s, text, to); break;
    case form::hex: store_integer(to, read_hex_number(text, s.width), s.width); break;
    case form::time: store_integer(to, read_time(as, text, s.width), s.width); break;
    case form::enumeration: store_integer(to, read_enumeration(as, text), s.width); break;
    case form::unit: store_integer(to, read_unit(as, text, s.width), s.width); break;
    case form::flags: {
        std::vector<std::string_view> parts;
        for (std::size_t at = 0; at <= text.size();) {
            const std::size_t end = std::min(text.find('|', at), text.size());
            parts.push_back(text.substr(at, end - at));
            at = end + 1;
        }
        store_integer(to, read_flags(as, s, parts), s.width);
        break;
    }
    case form::none:
    case form::dec: refuse(text, "not a number; give it without quotes");
    }
    return std::nullopt;
}

std::uint64_t read_flags(const label &as, const slot &s, std::span<const std::string_view> parts)
{
    std::uint64_t value = 0;
    for (const std::string_view part : parts) {
        if (part.starts_with("0x"))
            value |= read_hex_number(part, s.width);
        else if (const label::named_value *flag = find_name(as, part))
            value |= std::uint64_t{1} << flag->value;
        else
            refuse_name(as, part, "give those that the labels have, other bits as in \"0x4\"");
    }
    return value;
}

std::uint64_t read_hex_number(std::string_view text, std::size_t width)
{
    std::uint64_t value = 0;
    const std::string wanted = "; give 0x and up to " + std::to_string(2 * width) + " hex digits";
    const char *const end = text.data() + text.size();
    if (!text.starts_with("0x") || text.size() == 2)
        refuse(text, "no hex number" + wanted);
    const auto [stop, error] = std::from_chars(text.data() + 2, end, value, 16);
    if (stop != end)
        refuse(text, "no hex number" + wanted);
    if (error != std::errc() || value > largest_integer(width))
        refuse(text, "out of range" + wanted);
    return value;
}

} // namespace vorl::inspect
