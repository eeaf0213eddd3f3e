#include "tests/facts/descriptions.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <stdexcept>

#include "tests/support/fnv1a.h"

namespace vorl::test {
namespace {

struct word {
    std::string text;
    std::size_t line;
};

std::vector<word> words_of(std::string_view text)
{
    std::vector<word> words;
    std::size_t line = 1;
    for (std::size_t at = 0; at < text.size();) {
        const auto is_of_a_name = [&](std::size_t i) {
            return i < text.size() &&
                   (std::isalnum(static_cast<unsigned char>(text[i])) != 0 || text[i] == '_');
        };
        std::size_t end = at + 1;
        if (text[at] == '\n') {
            ++line;
        } else if (text.substr(at, 2) == "//") {
            end = std::min(text.find('\n', at), text.size());
        } else if (std::isspace(static_cast<unsigned char>(text[at])) == 0) {
            if (text[at] == '"')
                end = text.find('"', at + 1) + 1;
            else
                while (is_of_a_name(at) && is_of_a_name(end))
                    ++end;
            words.push_back({std::string(text.substr(at, end - at)), line});
        }
        at = end;
    }
    return words;
}

class reader {
  public:
    explicit reader(std::string_view text) : words_(words_of(text)) {}

    std::vector<described_message> messages()
    {
        take("package");
        const std::string package = take();
        take(";");
        std::vector<described_message> result;
        while (at_ != words_.size()) {
            take("message");
            described_message m;
            m.package = package;
            m.name = take();
            take("{");
            while (!is_next("}"))
                m.slots.push_back(slot());
            take("}");
            result.push_back(std::move(m));
        }
        return result;
    }

  private:
    described_slot slot()
    {
        described_slot s;
        const std::string kind = take();
        s.is_array = kind == "array";
        s.is_vector = kind == "vector";
        if (s.is_array || s.is_vector) {
            take("<");
            s.type = kind + "<" + element(take(), s);
            if (s.is_array) {
                take(",");
                const std::string count = take();
                s.count = static_cast<std::uint32_t>(std::stoul(count));
                s.type += "," + count;
            }
            take(">");
            s.type += ">";
        } else {
            s.type = element(kind, s);
        }
        take(); // its name
        if (is_next("[")) {
            while (!is_next("]"))
                take();
            take("]");
        }
        take(";");
        return s;
    }

    std::string element(const std::string &first, described_slot &s)
    {
        static const std::map<std::string, std::uint32_t> widths = {
            {"uint8", 1}, {"uint16", 2}, {"uint32", 4}, {"uint64", 8}};
        if (first == "table") {
            s.table = take();
            return "table:" + s.table;
        }
        const auto found = widths.find(first);
        if (found == widths.end())
            throw unexpected(first);
        s.width = found->second;
        return first;
    }

    bool is_next(std::string_view text) const
    {
        return at_ < words_.size() && words_[at_].text == text;
    }
    std::string take()
    {
        if (at_ == words_.size())
            throw std::runtime_error("the description ends too early");
        return words_[at_++].text;
    }
    void take(std::string_view wanted)
    {
        if (const std::string found = take(); found != wanted)
            throw unexpected(found);
    }
    std::runtime_error unexpected(const std::string &found) const
    {
        return std::runtime_error("line " + std::to_string(words_[at_ - 1].line) + ": '" + found +
                                  "' is not expected here");
    }

    std::vector<word> words_;
    std::size_t at_ = 0;
};

std::uint64_t elements(const described_slot &s) { return s.is_array ? s.count : 1; }

std::uint64_t rounded_up(std::uint64_t value, std::uint64_t to)
{
    return (value + to - 1) / to * to;
}

/// Works out one message after another; a table's message before the one that holds it.
class layout {
  public:
    explicit layout(std::vector<described_message> &messages)
    {
        for (described_message &m : messages)
            by_name_[m.name] = &m;
        for (described_message &m : messages)
            work_out(m);
    }

  private:
    described_message &message_of(const described_slot &s) const
    {
        const auto found = by_name_.find(s.table);
        if (found == by_name_.end())
            throw std::runtime_error("message '" + s.table + "' is not described");
        return *found->second;
    }

    void work_out(described_message &m)
    {
        if (m.record_size != 0)
            return;
        for (const described_slot &s : m.slots) {
            m.is_fixed_size &= !s.is_vector;
            if (s.table.empty())
                continue;
            work_out(message_of(s));
            m.is_fixed_size &= message_of(s).is_fixed_size;
        }
        m.msg_id = fnv1a(m.package + "." + m.name.substr(m.package.size() + 1));
        place_members(m);
        if (m.is_fixed_size)
            place_fields(m);
    }

    /// In slot order, each at its natural alignment; a vector as its count and then a pointer.
    void place_members(described_message &m) const
    {
        std::uint64_t at = 0;
        const auto place = [&](std::uint64_t size, std::uint64_t alignment) {
            m.alignment = std::max(m.alignment, alignment);
            const std::uint64_t begin = rounded_up(at, alignment);
            at = begin + size;
            return begin;
        };
        for (described_slot &s : m.slots) {
            if (s.is_vector) {
                s.count_at = place(4, 4);
                s.record_at = place(8, 8);
            } else if (!s.table.empty()) {
                const described_message &of = message_of(s);
                s.record_at = place(elements(s) * of.record_size, of.alignment);
            } else {
                s.record_at = place(elements(s) * s.width, s.width);
            }
        }
        m.record_size = rounded_up(at, m.alignment);
    }

    /// Root offset, soffset, the fields, zeros up to a multiple of 4, the vtable, zeros up to a
    /// multiple of 8.
    void place_fields(described_message &m) const
    {
        m.table_length = 4;
        for (described_slot &s : m.slots) {
            s.frame_at = m.table_length;
            const std::uint64_t frame = s.table.empty() ? 0 : message_of(s).frame_length;
            if (s.is_array && !s.table.empty())
                m.table_length += 4 + 4 + s.count * (4 + frame);
            else if (s.is_array)
                m.table_length += 4 + 4 + std::uint64_t{s.count} * s.width;
            else
                m.table_length += s.table.empty() ? s.width : frame;
        }
        m.vtable_at = 4 + rounded_up(m.table_length, 4);
        m.frame_length = rounded_up(m.vtable_at + 4 + 2 * m.slots.size(), 8);
    }

    std::map<std::string, described_message *> by_name_;
};

} // namespace

std::vector<described_message> read_descriptions(const std::vector<std::string> &texts)
{
    std::vector<described_message> all;
    for (const std::string &text : texts) {
        for (described_message &m : reader(text).messages())
            all.push_back(std::move(m));
    }
    layout worked_out(all);
    return all;
}

std::string fact_row(const described_message &m, std::string_view since)
{
    constexpr std::size_t longest_line = 98;
    char id[sizeof "0x00000000"];
    std::snprintf(id, sizeof id, "0x%08X", static_cast<unsigned>(m.msg_id));
    std::string row = since.empty() ? "FACT(" : "FACT_SINCE(" + std::string(since) + ", ";
    row += m.name + ", " + id + ", " + std::to_string(m.record_size) + ", " +
           std::to_string(m.frame_length) + ", " + std::to_string(m.table_length) + ",\n     \"";
    std::size_t column = 6;
    for (std::size_t i = 0; i < m.slots.size(); ++i) {
        const bool is_last = i + 1 == m.slots.size();
        const std::string text = m.slots[i].type + "@" + std::to_string(m.slots[i].frame_at);
        // A space, or what ends the row, goes behind it, and a quote.
        if (column + text.size() + 2 > longest_line) {
            row += "\"\n     \"";
            column = 6;
        }
        row += text + (is_last ? "\")\n" : " ");
        column += text.size() + 1;
    }
    return row;
}

} // namespace vorl::test
