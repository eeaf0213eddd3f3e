// docs/messages.md shows the bytes of every message: its pictures, held to what the library sends.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "tests/facts/counts.h"
#include "tests/support/platform.h"
#include "tests/support/run.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

/// The section of a message, from its heading to the next.
std::string section_of(const std::string &page, const std::string &name)
{
    const std::size_t at = page.find("\n## " + name + "\n");
    if (at == std::string::npos)
        throw std::runtime_error("docs/messages.md has no section " + name);
    return page.substr(at, page.find("\n## ", at + 1) - at);
}

/// The lines of its picture, by their offsets.
std::map<std::size_t, std::string> picture_of(const std::string &section)
{
    std::map<std::size_t, std::string> lines;
    const std::regex form(R"( *(\d+)  (.*))");
    for (const std::string &line : lines_of(section)) {
        std::smatch part;
        if (line.starts_with("  ") && std::regex_match(line, part, form))
            lines[std::stoul(part[1])] = part[2];
    }
    return lines;
}

std::uint64_t number(const std::vector<std::uint8_t> &bytes, std::size_t at, std::size_t width)
{
    std::uint64_t value = 0;
    for (std::size_t i = width; i-- > 0;)
        value = value << 8 | bytes.at(at + i);
    return value;
}

/// What the library hands to the bus.
std::vector<std::uint8_t> sent(const message &m, const void *record)
{
    the_platform().forget_calls();
    if (functions_of(m).sendmsg(1, record, 1) != 0)
        throw std::runtime_error(std::string(name_of(m)) + " was not sent");
    return the_platform().sends.at(0).frames.at(0).bytes;
}

void expect_vtable(const std::string &line, const std::vector<std::uint8_t> &bytes, std::size_t at)
{
    const std::regex digits(R"(\d+)");
    std::size_t numbers = 0;
    for (std::sregex_iterator i(line.begin(), line.end(), digits), end; i != end; ++i, ++numbers)
        EXPECT_EQ(std::stoul(i->str()), number(bytes, at + 2 * numbers, 2)) << numbers;
    EXPECT_EQ(2 * numbers, number(bytes, at, 2));
}

TEST(messages_page, pictures_are_what_is_sent)
{
    const std::string page = content(fs::path(PROJECT_ROOT) / "docs/messages.md");
    std::size_t scalars = 0;
    std::size_t fixed = 0;
    for (const auto &[info, fact] : all_messages()) {
        const message &m = *info;
        SCOPED_TRACE(name_of(m));
        const std::string section = section_of(page, name_of(m));
        char id[16];
        std::snprintf(id, sizeof id, "`0x%08X`", m.msg_id);
        EXPECT_NE(section.find(id), std::string::npos);
        sample full(m, 1, 2);
        const std::vector<std::uint8_t> bytes = sent(m, full.record());
        const auto picture = picture_of(section);
        ASSERT_EQ(picture.count(0), 1u);
        EXPECT_EQ(picture.at(0), "root offset, " + std::to_string(number(bytes, 0, 4)));
        if (!is_fixed_size(m)) {
            const std::size_t table = number(bytes, 0, 4);
            EXPECT_EQ(picture.at(table), "soffset, " + std::to_string(number(bytes, table, 4)));
            EXPECT_EQ(picture.at(4).find("vtable: " + std::to_string(number(bytes, 4, 2)) + ","),
                      0u);
            continue;
        }
        ++fixed;
        EXPECT_EQ(picture.at(bytes.size()), "end");
        for (const auto &[at, line] : picture) {
            if (line.starts_with("vtable: ")) {
                expect_vtable(line, bytes, at);
            } else if (line.starts_with("padding, ")) {
                EXPECT_EQ(number(bytes, at, std::stoul(line.substr(9))), 0u) << at;
            } else if (line.starts_with("    count, ")) {
                EXPECT_EQ(number(bytes, at, 4), std::stoul(line.substr(11))) << at;
            }
        }
        for (std::size_t i = 0; i < m.slots.size; ++i) {
            const slot &s = m.slots[i];
            if (s.shape != slot_shape::scalar)
                continue;
            std::uint64_t value = 0;
            std::memcpy(&value, static_cast<const char *>(full.record()) + s.record_at, s.width);
            const std::string text =
                "f" + std::to_string(i) + "  uint" + std::to_string(8 * s.width);
            std::size_t places = 0;
            for (const auto &[at, line] : picture) {
                if (line != text)
                    continue;
                ++places;
                EXPECT_EQ(number(bytes, at, s.width), value) << text;
            }
            EXPECT_EQ(places, 1u) << text;
            ++scalars;
        }
    }
    EXPECT_EQ(fixed, counts::messages - counts::variable_size);
    EXPECT_GT(scalars, 400u);
}

} // namespace
} // namespace vorl::test
