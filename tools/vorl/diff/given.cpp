#include "tools/vorl/diff/given.h"

#include "catalogue/catalogue.h"
#include "inspect/integers.h"

namespace vorl::diff {
namespace {

constexpr std::size_t most_slots = 256; // docs/format.md, "Limits"
constexpr std::uint32_t vtable_head = 4;

std::uint32_t number_at(std::string_view bytes, std::uint32_t at, std::size_t width)
{
    return static_cast<std::uint32_t>(
        load_integer(reinterpret_cast<const std::uint8_t *>(bytes.data()) + at, width));
}

} // namespace

// A reader has checked every offset that is followed here; docs/format.md draws them.
std::uint32_t given::word(std::uint32_t at) const { return number_at(frame_, at, 4); }

given::given(std::string_view frame) : given(frame, number_at(frame, 0, 4)) {}

given::given(std::string_view frame, std::uint32_t table)
    : frame_(frame), table_(table), vtable_(table - word(table)),
      vtable_length_(number_at(frame, vtable_, 2))
{}

std::uint32_t given::entry(std::size_t slot) const
{
    const auto at = vtable_head + 2 * static_cast<std::uint32_t>(slot);
    return at + 2 > vtable_length_ ? 0 : number_at(frame_, vtable_ + at, 2);
}

const json::node *given::member(const message &m, std::size_t slot) const
{
    const catalogue::message_info &info = catalogue::info_of(m);
    for (const json::node &item : object_->items) {
        const std::size_t named = catalogue::find_slot(info, item.name);
        if (named == slot || (named == info.slots.size() && names_ != nullptr &&
                              names_->find_slot(m, item.name) == slot))
            return &item;
    }
    return nullptr;
}

bool given::has(const message &m, std::size_t slot) const
{
    if (object_ != nullptr)
        return member(m, slot) != nullptr;
    return !frame_.empty() && entry(slot) != 0;
}

given given::table(const message &m, std::size_t slot, std::size_t element) const
{
    if (!has(m, slot))
        return {};
    const bool is_one = m.slots[slot].shape == slot_shape::table;
    if (object_ != nullptr) {
        const json::node &found = *member(m, slot);
        if (is_one)
            return {found, names_};
        return element < found.items.size() ? given(found.items[element], names_) : given();
    }
    std::uint32_t at = table_ + entry(slot);
    if (!is_one) {
        const std::uint32_t body = at + word(at);
        if (element >= word(body))
            return {};
        at = body + 4 + 4 * static_cast<std::uint32_t>(element);
    }
    return {frame_, at + word(at)};
}

std::vector<std::size_t> given::unknown_slots(const message &m) const
{
    std::vector<std::size_t> found;
    for (std::size_t slot = m.slots.size; !frame_.empty() && slot < most_slots; ++slot) {
        if (entry(slot) != 0)
            found.push_back(slot);
    }
    return found;
}

} // namespace vorl::diff
