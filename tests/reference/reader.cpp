#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/reference/reference.h"

namespace vorl::reference {
namespace {

constexpr std::uint64_t past_32_bits = std::uint64_t{1} << 32;

std::string text_of(const char *format, auto... arguments)
{
    char text[256];
    std::snprintf(text, sizeof text, format, arguments...);
    return text;
}

/// What reads a table, as the log and the allocator know it.
struct function {
    const message *of;
    bool is_root; ///< __unpack itself

    std::string text() const
    {
        return std::string(name_of(*of)) + (is_root ? "_unpack" : "_unpack_non_root");
    }
};

class reader {
  public:
    reader(const unpack_call &call, outcome &result, std::set<std::uint64_t> *edges)
        : bytes_(static_cast<const std::uint8_t *>(call.buf)),
          len_(static_cast<std::uint64_t>(call.len)), order_(call.byte_order),
          fail_at_(call.fail_allocation_at), result_(result), edges_(edges)
    {}

    struct table_place {
        std::uint64_t at;
        std::uint64_t vtable;
        std::uint64_t vtable_length;
    };

    /// Nothing when the table failed, which ends the read, as everything that fails does.
    std::optional<table_place> check_table(const function &name, std::uint64_t at)
    {
        edge(at + 4);
        if (at < 4 || at > len_ - 4)
            return refuse(0, name, "[ZELKO]:Table offset(%u) is out of range(4 - %u)", at, len_);
        const std::uint64_t soffset = word(at, 4);
        const std::uint64_t vtable = (at + past_32_bits - soffset) % past_32_bits;
        edge(vtable + 4);
        if (vtable < 4 || vtable > len_ - 4)
            return refuse(1, name, "[ZELKO]:Vtable offset(%u) is out of range(4 - %u)", at,
                          len_ - 4);
        const std::uint64_t length = word(vtable, 2);
        edge(vtable + length);
        if (vtable + length > len_)
            return refuse(2, name, "[ZELKO]:Vtable Len(%u) is out of range(0 - %u)", length,
                          len_ - vtable);
        return table_place{at, vtable, length};
    }

    bool read_slots(const message &m, const function &name, const table_place &table,
                    std::uint8_t *record)
    {
        for (std::size_t s = 0; s < m.slots.size; ++s) {
            if (table.vtable_length < 2 * s + 6)
                continue;
            const std::uint64_t entry = word(table.vtable + 4 + 2 * s, 2);
            if (entry != 0 && !read_slot(m, name, m.slots[s], table.at + entry, record))
                return false;
        }
        return true;
    }

    std::uint64_t word(std::uint64_t at, std::size_t width) const
    {
        if (at + width > len_)
            std::abort(); // this reader skipped a check
        return load(bytes_ + at, width, order_);
    }

  private:
    std::nullopt_t refuse(std::uint32_t check, const function &name, const char *format,
                          std::uint64_t a, std::uint64_t b)
    {
        result_.logs.push_back(
            {22, (name.is_root ? 10 : 20) + check, name.text(), format,
             text_of(format, static_cast<unsigned>(a), static_cast<unsigned>(b))});
        return std::nullopt;
    }

    void edge(std::uint64_t at)
    {
        if (edges_ != nullptr && at < past_32_bits)
            edges_->insert(at);
    }

    /// Bytes up to `end` must be in the buffer.
    bool has(std::uint64_t end)
    {
        edge(end);
        return end <= len_;
    }

    /// Where the offset word at `at` leads.
    std::optional<std::uint64_t> target(std::uint64_t at)
    {
        if (!has(at + 4))
            return std::nullopt;
        const std::uint64_t to = at + word(at, 4);
        return to < past_32_bits ? std::optional(to) : std::nullopt;
    }

    /// A body of a count and so many elements; returns where the elements start.
    std::optional<std::uint64_t> counted(std::uint64_t at, std::uint64_t element_size,
                                         std::uint64_t &count)
    {
        const std::optional<std::uint64_t> body = target(at);
        if (!body || !has(*body) || !has(*body + 4))
            return std::nullopt;
        count = word(*body, 4);
        if (count >= past_32_bits / 4 || !has(*body + 4 + element_size * count))
            return std::nullopt;
        return *body + 4;
    }

    /// The table to which the offset word at `at` leads.
    bool read_element_table(const message &m, std::uint64_t at, std::uint8_t *record)
    {
        const std::optional<std::uint64_t> to = target(at);
        if (!to)
            return false;
        const function name = {&m, false};
        const std::optional<table_place> table = check_table(name, *to);
        return table && read_slots(m, name, *table, record);
    }

    bool read_elements(const message &m, std::uint64_t words, std::uint64_t count,
                       std::uint8_t *records)
    {
        for (std::uint64_t i = 0; i < count; ++i) {
            if (!read_element_table(m, words + 4 * i, records + i * m.record_size))
                return false;
        }
        return true;
    }

    /// A block of `size` bytes for the pointer member `pointer`. Null: it could not be had.
    std::uint8_t *allocate(std::uint64_t size, std::uint64_t slot, const function &name,
                           const char *no_memory_text, std::uint8_t *pointer)
    {
        const auto low = static_cast<std::uint32_t>(size);
        if (size < past_32_bits) {
            const bool fails = ++allocations_ == fail_at_;
            result_.memory.push_back(
                {memory_event::allocate, low, name.text(), fails ? 0 : result_.blocks.size() + 1});
            if (!fails) {
                result_.blocks.emplace_back(size);
                store(pointer, result_.blocks.size(), 8, order::little);
                return result_.blocks.back().data();
            }
        }
        result_.logs.push_back({12, static_cast<std::uint32_t>((name.is_root ? 1000 : 2000) + slot),
                                name.text(), no_memory_text, text_of(no_memory_text, low)});
        return nullptr;
    }

    bool read_slot(const message &m, const function &name, const vorl::slot &slot, std::uint64_t at,
                   std::uint8_t *record)
    {
        const auto number = static_cast<std::uint64_t>(&slot - m.slots.begin());
        std::uint8_t *member = record + slot.record_at;
        const std::size_t width = slot.width;
        std::uint64_t count = 0;
        switch (slot.shape) {
        case slot_shape::scalar:
            if (!has(at + width))
                return false;
            store(member, word(at, width), width, order::little);
            return true;
        case slot_shape::array: {
            const auto from = counted(at, width, count);
            if (!from || count != slot.count)
                return false;
            if (width == 1) { // no order to look after
                std::memcpy(member, bytes_ + *from, count);
                return true;
            }
            for (std::uint64_t i = 0; i < count; ++i)
                store(member + i * width, word(*from + i * width, width), width, order::little);
            return true;
        }
        case slot_shape::table: return read_element_table(*slot.nested, at, member);
        case slot_shape::table_array: {
            const auto words = counted(at, 4, count);
            return words && count == slot.count &&
                   read_elements(*slot.nested, *words, count, member);
        }
        case slot_shape::byte_vector: {
            const auto from = counted(at, 1, count);
            if (!from)
                return false;
            store(record + slot.count_at, count, 4, order::little);
            if (count == 0)
                return true;
            std::uint8_t *block = allocate(
                count, number, name, "[ZELKO]:Malloc unpack data unsuccess, size(%u)", member);
            if (block == nullptr)
                return false;
            std::memcpy(block, bytes_ + *from, count);
            return true;
        }
        case slot_shape::table_vector: {
            const auto words = counted(at, 4, count);
            if (!words)
                return false;
            store(record + slot.count_at, count, 4, order::little);
            if (count == 0)
                return true;
            const bool has_blanks = std::string_view(name_of(m)) == "srv6_cfg_query_dfx_rec";
            std::uint8_t *block = allocate(
                count * slot.nested->record_size, number, name,
                has_blanks ? "[ZELKO]:Malloc unpack data unsuccess,                size(%u)"
                           : "[ZELKO]:Malloc unpack data unsuccess, size(%u)",
                member);
            return block != nullptr && read_elements(*slot.nested, *words, count, block);
        }
        }
        return false;
    }

    const std::uint8_t *bytes_;
    std::uint64_t len_;
    order order_;
    std::uint32_t fail_at_;
    std::uint32_t allocations_ = 0;
    outcome &result_;
    std::set<std::uint64_t> *edges_;
};

void release(const message &m, std::uint8_t *record, outcome &state)
{
    for (const vorl::slot &slot : m.slots) {
        if (slot.shape != slot_shape::byte_vector && slot.shape != slot_shape::table_vector)
            continue;
        const std::uint64_t block = load(record + slot.record_at, 8, order::little);
        if (block == 0)
            continue;
        state.memory.push_back(
            {memory_event::release, 0, std::string(name_of(m)) + "_free_unpacked", block});
        state.blocks[block - 1].clear();
        store(record + slot.record_at, 0, 8, order::little);
    }
    for (const vorl::slot &slot : m.slots) {
        if (slot.shape == slot_shape::table)
            release(*slot.nested, record + slot.record_at, state);
    }
}

} // namespace

bool checks_root_itself(const message &m)
{
    for (const vorl::slot &slot : m.slots) {
        if (slot.nested != nullptr || slot.shape == slot_shape::byte_vector)
            return true;
    }
    return false;
}

outcome unpack(const message &m, const unpack_call &call, std::set<std::uint64_t> *edges)
{
    outcome result;
    result.record = call.record_before;
    if (call.buf == nullptr || call.len < 4 || call.null_out) {
        const char *format = "[ZELKO]:Param invalid(%s, %d, %s)";
        result.logs.push_back({22, 2, std::string(name_of(m)) + "_unpack", format,
                               text_of(format, call.buf == nullptr ? "null" : "nonNull", call.len,
                                       call.null_out ? "null" : "nonNull")});
        return result;
    }
    const bool at_root = checks_root_itself(m);
    const function name = {&m, at_root};
    const bytes zeros(m.record_size);
    reader r(call, result, edges);
    if (!at_root)
        result.record = zeros;
    const std::optional<reader::table_place> root = r.check_table(name, r.word(0, 4));
    if (!root)
        return result;
    result.record = zeros;
    if (!r.read_slots(m, name, *root, result.record.data()))
        free_unpacked(m, result);
    return result;
}

void free_unpacked(const message &m, outcome &state) { release(m, state.record.data(), state); }

} // namespace vorl::reference
