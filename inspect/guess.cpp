#include "inspect/guess.h"

#include <algorithm>
#include <string_view>
#include <tuple>

#include "inspect/decode.h"
#include "inspect/encode.h"
#include "inspect/explain.h"
#include "inspect/explain_lines.h"
#include "serial/layout.h"

namespace vorl::inspect {
namespace {

bool equal(const std::vector<std::uint8_t> &a, std::span<const std::uint8_t> b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

bool is_as_written(const message &m, std::span<const std::uint8_t> bytes)
{
    std::vector<std::uint64_t> record((m.record_size + 7) / 8);
    if (decode(m, bytes, record.data()))
        return false;
    const bool is_same = equal(encode(m, record.data(), encoding::frame), bytes) ||
                         equal(encode(m, record.data(), encoding::packed), bytes);
    release(m, record.data());
    return is_same;
}

/// A refusal weighs as much as so many bytes that nothing leads to. Damaged bytes of a long message
/// are then rather that message, damaged, than a short one with much behind it.
constexpr std::uint64_t bytes_of_a_refusal = 16;

/// Less is better.
auto rank(const candidate &c)
{
    return std::tuple(!c.is_as_written, c.stray + (c.why_not ? bytes_of_a_refusal : 0),
                      !c.has_its_slots);
}

candidate judge(const catalogue::message_info &info, std::span<const std::uint8_t> bytes)
{
    const message &m = info.data;
    const explanation e = explain(m, bytes);
    candidate c;
    c.info = &info;
    if (!e.damages.empty())
        c.why_not = e.damages[0];
    for_each_line(e, nullptr, [&c](const explained_line &line) {
        c.stray += std::string_view(line.what) == "stray" ? line.size : line.overlap;
    });
    for (const part &p : e.parts) {
        c.stray += p.is_partial ? p.size : 0;
        if (p.what == part::kind::vtable && p.table == 0)
            c.has_its_slots = p.size == vtable_length(m);
    }
    c.is_as_written = !c.why_not && is_as_written(m, bytes);
    return c;
}

} // namespace

std::vector<candidate> guess(std::span<const std::uint8_t> bytes)
{
    std::vector<candidate> all;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages)
            all.push_back(judge(info, bytes));
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const candidate &a, const candidate &b) { return rank(a) < rank(b); });
    return all;
}

} // namespace vorl::inspect
