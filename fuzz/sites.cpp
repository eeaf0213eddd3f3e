#include "fuzz/sites.h"

#include <algorithm>

namespace vorl::fuzz {
namespace {

constexpr std::size_t most_sites = 2000;
/// Of a body with many elements, so many are followed.
constexpr std::uint64_t most_elements = 8;
constexpr std::uint64_t word_mask = 0xFFFFFFFF;

class walk {
  public:
    walk(std::span<const std::uint8_t> content, order o) : content_(content), order_(o) {}

    void table(const message &m, std::uint64_t at)
    {
        if (!add(at, 4, site_kind::soffset, at))
            return;
        const std::uint64_t vtable = (at - word(at, 4)) & word_mask;
        if (!add(vtable, 2, site_kind::vtable_length, vtable) ||
            !add(vtable + 2, 2, site_kind::table_length, at))
            return;
        for (std::size_t s = 0; s < m.slots.size; ++s) {
            const std::uint64_t entry_at = vtable + 4 + 2 * s;
            if (word(vtable, 2) < 2 * s + 6 || !add(entry_at, 2, site_kind::entry, at))
                return;
            if (const std::uint64_t entry = word(entry_at, 2); entry != 0)
                field(m.slots[s], at + entry);
        }
    }

    std::vector<site> found;

  private:
    std::uint64_t word(std::uint64_t at, std::size_t width) const
    {
        return reference::load(content_.data() + at, width, order_);
    }

    /// False: not there, or enough found.
    bool add(std::uint64_t at, std::size_t width, site_kind kind, std::uint64_t base,
             std::size_t element_size = 0)
    {
        if (at > content_.size() || content_.size() - at < width || found.size() >= most_sites)
            return false;
        found.push_back({static_cast<std::size_t>(at), width, kind, base, element_size});
        return true;
    }

    void field(const vorl::slot &slot, std::uint64_t at)
    {
        if (reference::is_scalar(slot)) {
            add(at, slot.width, site_kind::scalar, at);
            return;
        }
        if (!add(at, 4, site_kind::offset, at))
            return;
        const std::uint64_t body = at + word(at, 4);
        if (slot.shape == slot_shape::table) {
            table(*slot.nested, body);
            return;
        }
        const std::size_t element_size = slot.nested != nullptr ? 4 : slot.width;
        if (!add(body, 4, site_kind::count, body + 4, element_size) || slot.nested == nullptr)
            return;
        const std::uint64_t count = std::min(word(body, 4), most_elements);
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::uint64_t element = body + 4 + 4 * i;
            if (!add(element, 4, site_kind::offset, element))
                return;
            table(*slot.nested, element + word(element, 4));
        }
    }

    std::span<const std::uint8_t> content_;
    order order_;
};

} // namespace

std::vector<site> find_sites(const message &m, std::span<const std::uint8_t> content, order o)
{
    if (content.size() < 4)
        return {};
    walk w(content, o);
    w.found.push_back({0, 4, site_kind::root, 0, 0});
    w.table(m, reference::load(content.data(), 4, o));
    return w.found;
}

} // namespace vorl::fuzz
