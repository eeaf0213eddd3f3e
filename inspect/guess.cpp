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

/// Both are compared: more is better.
struct worth {
    candidate c;
    std::size_t parts; ///< what was found in the bytes
    auto rank() const
    {
        return std::tuple(!c.why_not, c.is_as_written, c.has_its_slots, -std::int64_t(c.stray),
                          c.why_not ? parts : 0);
    }
};

worth judge(const catalogue::message_info &info, std::span<const std::uint8_t> bytes)
{
    const message &m = info.data;
    const explanation e = explain(m, bytes);
    worth w{{&info, std::nullopt}, e.parts.size()};
    if (!e.damages.empty())
        w.c.why_not = e.damages[0];
    for_each_line(e, nullptr, [&w](const explained_line &line) {
        if (std::string_view(line.what) == "stray")
            w.c.stray += line.size;
    });
    for (const part &p : e.parts) {
        if (p.what == part::kind::vtable && p.table == 0)
            w.c.has_its_slots = p.size == vtable_length(m);
    }
    w.c.is_as_written = !w.c.why_not && is_as_written(m, bytes);
    return w;
}

} // namespace

std::vector<candidate> guess(std::span<const std::uint8_t> bytes)
{
    std::vector<worth> all;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages)
            all.push_back(judge(info, bytes));
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const worth &a, const worth &b) { return a.rank() > b.rank(); });
    const bool any_accepts = !all.empty() && !all[0].c.why_not;
    std::vector<candidate> found;
    for (worth &w : all) {
        if (!any_accepts || !w.c.why_not)
            found.push_back(std::move(w.c));
    }
    return found;
}

} // namespace vorl::inspect
