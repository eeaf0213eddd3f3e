#include "fuzz/mutator.h"

#include <algorithm>

#include "fuzz/sites.h"

namespace vorl::fuzz {
namespace {

std::uint64_t around(std::uint64_t value, std::uint64_t by, choice &random)
{
    return value - by + random() % (2 * by + 1);
}

/// The site's value that leads to `target`.
std::uint64_t leading_to(const site &s, std::uint64_t target)
{
    return s.kind == site_kind::soffset ? s.base - target : target - s.base;
}

/// A kind first: scalars are many and decide nothing.
const site &choose_site(const std::vector<site> &sites, choice &random)
{
    const auto kind = static_cast<site_kind>(random() % site_kinds);
    const std::size_t from = random() % sites.size();
    for (std::size_t i = 0; i < sites.size(); ++i) {
        const site &s = sites[(from + i) % sites.size()];
        if (s.kind == kind)
            return s;
    }
    return sites[from];
}

std::uint64_t new_value(const site &s, const std::vector<site> &sites, const bytes &content,
                        order o, choice &random)
{
    const std::uint64_t size = content.size();
    const std::uint64_t present = reference::load(&content[s.at], s.width, o);
    const site &other = sites[random() % sites.size()];
    switch (random() % 10) {
    case 0: return around(present, 8, random);
    case 1: return 0;
    case 2: return around(std::uint64_t{1} << (random() % 33), 2, random);
    case 3: return random() % 8 - 4; // about the largest, too
    case 4: return leading_to(s, other.at);
    case 5: return leading_to(s, around(size, 12, random));
    case 6: return leading_to(s, random() % (size + 8));
    case 7: // of a count or a length, as many as there is room for
        return around((size - std::min(s.base, size)) / std::max<std::size_t>(s.element_size, 1), 2,
                      random);
    case 8: {
        const site &like = choose_site(sites, random);
        return reference::load(&content[like.at], like.width, o);
    }
    default: return (std::uint64_t{random()} << 32) ^ random();
    }
}

void resize_at(bytes &content, const std::vector<site> &sites, std::size_t max_size, choice &random)
{
    const std::size_t edge =
        sites.empty() ? random() % (content.size() + 1) : choose_site(sites, random).at;
    const std::size_t at = std::min(around(edge + 4, 4, random), std::uint64_t{content.size()});
    const std::size_t some = 1 + random() % 12;
    const auto place = content.begin() + static_cast<std::ptrdiff_t>(at);
    switch (random() % 4) {
    case 0: content.resize(at); break;
    case 1: content.resize(content.size() - std::min<std::size_t>(content.size(), some)); break;
    case 2:
        if (content.size() + some <= max_size)
            content.insert(place, some, static_cast<std::uint8_t>(random()));
        break;
    default:
        content.erase(place, place + static_cast<std::ptrdiff_t>(
                                         std::min<std::size_t>(some, content.size() - at)));
        break;
    }
}

} // namespace

bytes fresh_content(const message &m, order o, choice &random)
{
    test::random_source values(random());
    const test::sample record =
        random() % 4 == 0 ? test::sample::ones(m, static_cast<std::uint32_t>(random() % 3))
                          : test::sample::random(m, values, 4);
    return is_fixed_size(m) && random() % 2 == 0 ? reference::frame(m, record.data(), o)
                                                 : reference::pack(m, record.data(), o);
}

void change(const message &m, order o, bytes &content, std::size_t max_size, choice &random)
{
    const std::vector<site> sites = find_sites(m, content, o);
    const std::uint64_t what = random() % 16;
    if (what < 2) {
        resize_at(content, sites, max_size, random);
    } else if (what < 4 || sites.empty()) {
        change_blindly(content, max_size);
    } else {
        const site &s = choose_site(sites, random);
        reference::store(&content[s.at], new_value(s, sites, content, o, random), s.width, o);
    }
}

void change_blindly(bytes &content, std::size_t max_size)
{
    const std::size_t before = content.size();
    content.resize(std::max(max_size, before));
    content.resize(LLVMFuzzerMutate(content.data(), before, max_size));
}

} // namespace vorl::fuzz
