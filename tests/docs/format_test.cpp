// docs/format.md explains two messages byte by byte. Here the bytes are taken out of the page's
// tables and compared with what the library writes for the records that the page names.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "inspect/explain_text.h"
#include "srv6.h"
#include "tests/support/platform.h"
#include "tests/support/run.h"

namespace vorl::test {
namespace {

using byte_string = std::vector<std::uint8_t>;

std::string document(const char *name) { return content(fs::path(PROJECT_ROOT) / name); }

byte_string bytes_of(const std::string &hex)
{
    byte_string bytes;
    std::istringstream in(hex);
    for (std::string pair; in >> pair;)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
    return bytes;
}

std::string hex_of(const byte_string &bytes)
{
    std::string hex;
    for (const std::uint8_t byte : bytes) {
        char pair[4];
        std::snprintf(pair, sizeof pair, "%02X ", byte);
        hex += pair;
    }
    return hex;
}

/// Little-endian; the sign is that of the last byte.
std::int64_t signed_value(const byte_string &bytes)
{
    std::int64_t value = (bytes.back() & 0x80) != 0 ? -1 : 0;
    for (std::size_t at = bytes.size(); at-- > 0;)
        value = value * 256 + bytes[at];
    return value;
}

/// The bytes of the first table of bytes that follows `record` on the page:
///
///   | offset | bytes | what | value |
///   | --- | --- | --- | --- |
///   | 4 | `1E 00` | ... | 30 |
///
/// Each row has one value of up to 7 bytes, begins where the one before it ended, and states the
/// value that its bytes have.
byte_string stated_after(const std::string &page, const std::string &record)
{
    const auto shown = page.find(record);
    if (shown == std::string::npos)
        throw std::runtime_error("docs/format.md does not show the record: " + record);
    const std::string head = "\n| offset | bytes | what | value |\n| --- | --- | --- | --- |\n";
    const auto table = page.find(head, shown);
    if (table == std::string::npos)
        throw std::runtime_error("docs/format.md has no table of bytes after: " + record);

    const std::regex row(R"(\| (\d+) \| `([0-9A-F]{2}(?: [0-9A-F]{2}){0,6})` \| .* \| (\S+) \|)");
    byte_string all;
    for (const std::string &line : lines_of(page.substr(table + head.size()))) {
        if (line.empty())
            break;
        std::smatch m;
        if (!std::regex_match(line, m, row))
            throw std::runtime_error("docs/format.md: not a row of bytes: " + line);
        EXPECT_EQ(std::stoull(m[1]), all.size()) << "offset of: " << line;
        const byte_string bytes = bytes_of(m[2]);
        const std::int64_t value = std::stoll(m[3], nullptr, 0);
        const std::int64_t wanted = signed_value(bytes);
        const std::int64_t range = std::int64_t{1} << (8 * bytes.size());
        EXPECT_EQ(value, value < 0 || wanted >= 0 ? wanted : wanted + range)
            << "value of: " << line;
        all.insert(all.end(), bytes.begin(), bytes.end());
    }
    return all;
}

// A process's first call also binds the platform's services, so both tests call twice.

TEST(format_page, packed_local_sid)
{
    const std::string record = "srv6_localsid_fwd sid = {.f0 = 1, .f6 = 48}";
    srv6_localsid_fwd sid = {};
    sid.f0 = 1;
    std::memcpy(sid.f5, "\x20\x01\x0D\xB8", 4);
    sid.f6 = 48;
    // The page says that it is the README's record.
    EXPECT_NE(document("README.md").find(record), std::string::npos) << record;

    const std::string stated = hex_of(stated_after(document("docs/format.md"), record));
    for (int call = 1; call <= 2; ++call) {
        byte_string packed(256);
        auto length = static_cast<std::uint32_t>(packed.size());
        ASSERT_EQ(srv6_localsid_fwd__pack(&sid, packed.data(), &length), 0U);
        ASSERT_EQ(length, 68U);
        packed.resize(length);
        EXPECT_EQ(stated, hex_of(packed)) << "call " << call;
    }
}

TEST(format_page, frame_of_a_class_item)
{
    const std::string record = "srv6_class_item item = {.f0 = 7, .f1 = 0, .f2 = 3}";
    const srv6_class_item item = {7, 0, 3};
    for (int call = 1; call <= 2; ++call)
        ASSERT_EQ(srv6_class_item__sendmsg(7, &item, 1), 0U);

    const std::string stated = hex_of(stated_after(document("docs/format.md"), record));
    const std::vector<bus_call> &sends = the_platform().sends;
    ASSERT_EQ(sends.size(), 2U);
    for (const bus_call &send : sends) {
        ASSERT_EQ(send.frames.size(), 1U);
        ASSERT_EQ(send.frames[0].bytes.size(), 32U);
        EXPECT_EQ(stated, hex_of(send.frames[0].bytes)) << "call " << &send - sends.data() + 1;
    }
}

/// The text of every block that opens with ```explain.
std::vector<std::string> explained_blocks(const std::string &page)
{
    static const std::string opening = "\n```explain\n";
    std::vector<std::string> blocks;
    for (std::size_t at = 0; (at = page.find(opening, at)) != std::string::npos;) {
        at += opening.size();
        blocks.push_back(page.substr(at, page.find("```\n", at) - at));
    }
    return blocks;
}

TEST(format_page, explained_frames_are_what_vorl_explain_shows)
{
    const std::vector<std::string> blocks = explained_blocks(document("docs/format.md"));
    ASSERT_EQ(blocks.size(), 2u);
    const std::regex heading(R"((\w+), (\d+) bytes)");
    const std::regex row(R"(  0x([0-9a-f]{4})  ((?:[0-9a-f]{2} )+).*)");
    std::size_t damaged = 0;
    for (const std::string &block : blocks) {
        std::smatch part;
        const std::vector<std::string> lines = lines_of(block);
        ASSERT_TRUE(std::regex_match(lines.at(0), part, heading)) << block;
        const message &m = catalogue::find_message(part[1].str())->data;
        byte_string bytes(std::stoul(part[2]));
        for (const std::string &line : lines) {
            if (!std::regex_match(line, part, row))
                continue;
            const byte_string here = bytes_of(part[2]);
            std::copy(here.begin(), here.end(),
                      bytes.begin() +
                          static_cast<std::ptrdiff_t>(std::stoul(part[1], nullptr, 16)));
        }
        std::ostringstream shown;
        const inspect::explanation e = inspect::explain(m, bytes);
        write_text(e, shown, inspect::colours::none);
        EXPECT_EQ(shown.str(), block);
        damaged += e.damages.empty() ? 0 : 1;
    }
    EXPECT_EQ(damaged, 1u);
}

} // namespace
} // namespace vorl::test
