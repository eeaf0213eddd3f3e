#include "tests/codec/support/hostile.h"

#include <string_view>

#include "tests/codec/support/facts.h"

namespace vorl::test {
namespace {

/// Of all vectors of a message, and of the tables that it holds: the elements of four bytes each have
/// a record, and bytes one.
std::uint64_t allocated_per_word(const fact &f)
{
    std::uint64_t sum = 0;
    for (const slot_fact &s : f.slots) {
        constexpr std::string_view tables = "vector<table:";
        constexpr std::string_view table = "table:";
        if (s.type.starts_with(tables))
            sum += fact_of(s.type.substr(tables.size(), s.type.size() - tables.size() - 1))
                       .record_size;
        else if (s.type.starts_with("vector<"))
            sum += 4;
        else if (s.type.starts_with(table))
            sum += allocated_per_word(fact_of(s.type.substr(table.size())));
    }
    return sum;
}

/// Writes tables of offsets only; where these lead is filled in from behind.
class hostile_writer {
  public:
    hostile_writer(std::uint32_t count, order o, hostile_elements elements)
        : count_(count), order_(o), elements_(elements)
    {}

    bytes buffer(const message &m)
    {
        append(4 + vtable_size(m), 4);
        table(m);
        // The body of all vectors: 4 x count bytes, of which all but the first 4 are offsets.
        if (!vectors_.empty()) {
            const std::size_t byte_body = append(4 * std::uint64_t{count_}, 4);
            const std::size_t table_body = append(count_, 4);
            const message *last = nullptr;
            for (const auto &[field, element] : vectors_) {
                point(field, element == nullptr ? byte_body : table_body);
                last = element != nullptr ? element : last;
            }
            words(count_, last);
        }
        for (const auto &[field, slot] : arrays_) {
            point(field, append(slot->count, 4));
            words(slot->count, slot->nested);
        }
        for (const auto &[first, count, element] : runs_)
            lead_to_element(first, count, *element);
        return std::move(out_);
    }

  private:
    static std::uint64_t vtable_size(const message &m) { return 4 + 2 * m.slots.size; }

    std::size_t append(std::uint64_t value, std::size_t width)
    {
        out_.resize(out_.size() + width);
        reference::store(&out_[out_.size() - width], value, width, order_);
        return out_.size() - width;
    }

    void point(std::size_t word, std::size_t to)
    {
        reference::store(&out_[word], to - word, 4, order_);
    }

    void table(const message &m)
    {
        const std::size_t vtable = append(vtable_size(m), 2);
        append(4, 2);
        for (std::size_t s = 0; s < m.slots.size; ++s)
            append(0, 2);
        const std::size_t at = append(vtable_size(m), 4);
        std::vector<std::pair<std::size_t, const message *>> inner;
        for (std::size_t s = 0; s < m.slots.size; ++s) {
            const vorl::slot &slot = m.slots[s];
            if (slot.nested == nullptr && slot.shape != slot_shape::byte_vector)
                continue;
            const std::size_t field = append(0, 4);
            reference::store(&out_[vtable + 4 + 2 * s], field - at, 2, order_);
            if (slot.shape == slot_shape::table)
                inner.emplace_back(field, slot.nested);
            else if (slot.shape == slot_shape::table_array)
                arrays_.emplace_back(field, &slot);
            else
                vectors_.emplace_back(field, slot.nested);
        }
        for (const auto &[field, element] : inner) {
            point(field, out_.size() + vtable_size(*element));
            table(*element);
        }
    }

    void words(std::uint32_t count, const message *element)
    {
        if (element != nullptr)
            runs_.push_back({out_.size(), count, element});
        out_.resize(out_.size() + 4 * std::size_t{count});
    }

    void lead_to_element(std::size_t first, std::uint32_t count, const message &element)
    {
        bytes packed = {};
        random_source random(7);
        switch (elements_) {
        case hostile_elements::empty: break;
        case hostile_elements::framed:
            packed = reference::frame(element, sample::ones(element).data(), order_);
            break;
        case hostile_elements::sparse:
            packed = reference::pack(element, sample::random(element, random).data(), order_);
            break;
        default: packed = reference::pack(element, sample::ones(element).data(), order_); break;
        }
        std::size_t at = out_.size();
        if (packed.empty()) {
            append(4, 2);
            append(4, 2);
            at = append(4, 4);
        } else {
            at += reference::load(&packed[0], 4, order_);
            out_.insert(out_.end(), packed.begin(), packed.end());
        }
        for (std::uint32_t i = 0; i < count; ++i)
            point(first + 4 * std::size_t{i}, at);
        if (elements_ == hostile_elements::late)
            point(first + 4 * std::size_t{count - 1}, out_.size());
    }

    struct run {
        std::size_t first;
        std::uint32_t count;
        const message *element;
    };

    std::uint32_t count_;
    order order_;
    hostile_elements elements_;
    bytes out_;
    std::vector<std::pair<std::size_t, const message *>> vectors_;
    std::vector<std::pair<std::size_t, const slot *>> arrays_;
    std::vector<run> runs_;
};

} // namespace

std::uint64_t hostile_bytes_per_word(const message &m)
{
    return allocated_per_word(fact_of(name_of(m)));
}

bytes hostile_buffer(const message &m, std::uint32_t count, order o, hostile_elements elements)
{
    return hostile_writer(count, o, elements).buffer(m);
}

} // namespace vorl::test
