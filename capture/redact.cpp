#include "capture/redact.h"

#include <sys/random.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "inspect/explain.h"
#include "inspect/integers.h"

namespace vorl::capture {
namespace {

std::uint64_t rotated(std::uint64_t value, int by) { return value << by | value >> (64 - by); }

/// SipHash-2-4 of `bytes`, of at most 17.
std::uint64_t hash(const redactor::key &key, const std::uint8_t *bytes, std::size_t size)
{
    std::array<std::uint64_t, 4> v = {key[0] ^ 0x736f6d6570736575, key[1] ^ 0x646f72616e646f6d,
                                      key[0] ^ 0x6c7967656e657261, key[1] ^ 0x7465646279746573};
    const auto rounds = [&v](int count) {
        for (int i = 0; i < count; ++i) {
            v[0] += v[1];
            v[1] = rotated(v[1], 13) ^ v[0];
            v[0] = rotated(v[0], 32);
            v[2] += v[3];
            v[3] = rotated(v[3], 16) ^ v[2];
            v[0] += v[3];
            v[3] = rotated(v[3], 21) ^ v[0];
            v[2] += v[1];
            v[1] = rotated(v[1], 17) ^ v[2];
            v[2] = rotated(v[2], 32);
        }
    };
    const auto add = [&](std::uint64_t word) {
        v[3] ^= word;
        rounds(2);
        v[0] ^= word;
    };
    std::size_t at = 0;
    for (; at + 8 <= size; at += 8)
        add(load_integer(bytes + at, 8));
    add(load_integer(bytes + at, size - at) | std::uint64_t{size} << 56);
    v[2] ^= 0xFF;
    rounds(4);
    return v[0] ^ v[1] ^ v[2] ^ v[3];
}

bool bit_of(const std::uint8_t *bytes, std::size_t bit)
{
    return (bytes[bit / 8] >> (7 - bit % 8) & 1) != 0;
}

/// Bytes of a slot's value that are an address; 0: it is none.
std::size_t address_size(const slot &s, const inspect::label *as)
{
    using inspect::form;
    const inspect::wire_kind kind = inspect::kind_of(s);
    if (as != nullptr && as->shown_as != form::none) {
        const bool is_one = as->shown_as == form::ipv4 || as->shown_as == form::ipv6 ||
                            as->shown_as == form::prefix || as->shown_as == form::mac ||
                            as->shown_as == form::sid;
        return !is_one ? 0 : s.width * std::max<std::size_t>(s.count, 1);
    }
    if (kind == inspect::four_words_kind || kind == inspect::address_bytes_kind)
        return 16;
    return kind == inspect::mac_bytes_kind ? 6 : 0;
}

} // namespace

redactor::redactor() : key_{}
{
    if (getrandom(key_.data(), sizeof key_, 0) != static_cast<ssize_t>(sizeof key_))
        throw std::runtime_error(
            "vorl: the system gives no random numbers, so nothing is redacted");
}

void redactor::replace(std::uint8_t *address, std::size_t count) const
{
    std::size_t last = count; // behind the last bit that is one
    while (last != 0 && !bit_of(address, last - 1))
        --last;
    if (last == 0)
        return;
    std::array<std::uint8_t, 17> before{}; // the bits so far, and behind them how many they are
    for (std::size_t bit = 0; bit + 1 < last; ++bit) {
        before[16] = static_cast<std::uint8_t>(bit);
        const auto mask = static_cast<std::uint8_t>(0x80U >> bit % 8);
        const bool was = bit_of(address, bit);
        if ((hash(key_, before.data(), before.size()) & 1) != 0)
            address[bit / 8] ^= mask;
        if (was)
            before[bit / 8] |= mask;
    }
}

void redactor::redact(frame &f, const message *m, const inspect::labels *names) const
{
    f.facts.known |= addresses_replaced;
    if (m == nullptr || f.kept.size() < f.facts.length) {
        f.kept.clear();
        return;
    }
    const bytes whole = f.kept;
    const inspect::explanation found = inspect::explain(*m, whole);
    if (!found.damages.empty() || found.is_cut) {
        f.kept.clear();
        return;
    }
    std::fill(f.kept.begin(), f.kept.end(), std::uint8_t{0});
    for (const inspect::part &p : found.parts)
        std::copy_n(whole.begin() + p.at, p.size, f.kept.begin() + p.at);
    for (const inspect::part &p : found.parts) {
        if (p.what != inspect::part::kind::value && p.what != inspect::part::kind::values)
            continue;
        const message &of = *found.tables[p.table].of;
        const slot &s = of.slots[p.slot];
        if (address_size(s, names == nullptr ? nullptr : names->label_of(of, p.slot)) != p.size)
            continue;
        // From the bytes as they were: parts may overlap, and none is replaced twice.
        std::array<std::uint8_t, 16> address{};
        std::copy_n(whole.begin() + p.at, p.size, address.begin());
        if (p.what == inspect::part::kind::value)
            std::reverse(address.begin(), address.begin() + p.size);
        const bool is_mac_in_a_word = p.what == inspect::part::kind::value && p.size == 8;
        std::uint8_t *const from = address.data() + (is_mac_in_a_word ? 2 : 0);
        replace(from, 8 * (p.size - (is_mac_in_a_word ? 2U : 0U)));
        if (p.what == inspect::part::kind::value)
            std::reverse(address.begin(), address.begin() + p.size);
        std::copy_n(address.begin(), p.size, f.kept.begin() + p.at);
    }
}

} // namespace vorl::capture
