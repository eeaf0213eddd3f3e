#include "inspect/decode.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

#include "inspect/explain.h"
#include "inspect/refusals.h"
#include "serial/plain/read.h"
#include "serial/plain/release.h"

namespace vorl::inspect {
namespace {

/// Memory from the heap. A vector for which there is none is remembered.
struct heap : listener {
    bool has_failed = false;
    table_role role{};
    reading_step at{};
};
// The reader's listener is this one, which it does not write to.
heap &by(const listener &l) { return const_cast<heap &>(static_cast<const heap &>(l)); }

void free_block(const listener &, void *block, const message &) { std::free(block); }

heap make_heap()
{
    heap h;
    h.refused = [](const listener &, table_check, table_role, std::uint32_t, std::uint32_t,
                   std::uint32_t, const message &) {};
    h.refused_field = [](const listener &, const reading_step &) {};
    h.allocate = [](const listener &, std::uint32_t size, table_role, const message &) {
        return std::calloc(1, size);
    };
    h.no_memory = [](const listener &l, const reading_step &step, table_role role) {
        by(l).has_failed = true;
        by(l).role = role;
        by(l).at = step;
    };
    h.release = free_block;
    // calloc's memory is zero, and takes no room until it is touched.
    h.set_zero = [](void *, std::size_t) { return 0; };
    h.copy_bytes = [](void *, const void *, std::size_t) { return 1; };
    return h;
}

/// The path of the vector whose elements the step is about.
std::string path_of(const message &m, std::span<const std::uint8_t> bytes, const reading_step &step)
{
    const explanation e = explain(m, bytes);
    for (const part &p : e.parts) {
        if (p.what == part::kind::count && p.at + p.size == step.at && p.slot == step.slot &&
            e.tables[p.table].of == step.of)
            return member_path(e, p.table, p.slot);
    }
    return "";
}

} // namespace

std::optional<damage> decode(const message &m, std::span<const std::uint8_t> bytes, void *record)
{
    auto *const to = static_cast<std::uint8_t *>(record);
    std::memset(to, 0, m.record_size);
    if (bytes.size() < word_size || bytes.size() > std::numeric_limits<std::int32_t>::max())
        return first_damage(m, bytes);
    const received from = {bytes.data(), static_cast<std::uint32_t>(bytes.size())};
    const heap memory = make_heap();
    const auto root = static_cast<std::uint32_t>(integer_at(bytes, 0, word_size));
    if (plain::read_table<byte_order::native>(root, to, from, memory, m))
        return std::nullopt;
    plain::release(to, memory, m);
    if (memory.has_failed)
        return refused_memory(from, memory.role, memory.at, path_of(m, bytes, memory.at));
    std::optional<damage> why = first_damage(m, bytes);
    if (!why)
        throw std::logic_error("the plain reader refuses what its steps, one by one, accept");
    return why;
}

void release(const message &m, void *record)
{
    const heap memory = make_heap();
    plain::release(static_cast<std::uint8_t *>(record), memory, m);
}

} // namespace vorl::inspect
