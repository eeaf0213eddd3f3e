// Dumps as the tools print them: xxd of vim 9.0, hexdump of util-linux 2.38, od and base64 of coreutils
// 9.1, gdb 13.1. Files of dumps/ hold what the tools themselves printed.
#pragma once

#include <cstdio>
#include <functional>
#include <string>

#include "tools/vorl/dumps/read_frames.h"

namespace vorl::test {

template <class... Arguments>
std::string printed(const char *format, Arguments... arguments)
{
    char text[128];
    std::snprintf(text, sizeof text, format, arguments...);
    return text;
}

inline char shown(std::uint8_t byte)
{
    return byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
}

/// Digits, `width` bytes a line; 0: all in one.
inline std::string xxd_plain(const bytes &b, std::size_t width)
{
    std::string text;
    for (std::size_t i = 0; i < b.size(); ++i) {
        text += printed("%02x", b[i]);
        if (width != 0 && (i + 1) % width == 0 && i + 1 != b.size())
            text += '\n';
    }
    return text + '\n';
}

inline std::string xxd(const bytes &b)
{
    std::string text;
    for (std::size_t at = 0; at < b.size(); at += 16) {
        std::string hex, chars;
        for (std::size_t i = at; i < at + 16 && i < b.size(); ++i) {
            hex += printed(i % 2 == 0 ? " %02x" : "%02x", b[i]);
            chars += shown(b[i]);
        }
        hex.resize(40, ' ');
        text += printed("%08zx:", at) + hex + "  " + chars + '\n';
    }
    return text;
}

/// Lines of 16 bytes with an address each; of lines that repeat the one before a single *.
inline std::string
dump_lines(const bytes &b, const char *address,
           const std::function<std::string(std::size_t at, std::size_t end)> &line)
{
    std::string text;
    bool is_repeating = false;
    for (std::size_t at = 0; at < b.size(); at += 16) {
        const bool repeats =
            at != 0 && at + 16 <= b.size() && std::equal(&b[at - 16], &b[at], &b[at]);
        if (!repeats)
            text += printed(address, at) + line(at, std::min(at + 16, b.size())) + '\n';
        else if (!is_repeating)
            text += "*\n";
        is_repeating = repeats;
    }
    return text + printed(address, b.size()) + '\n';
}

inline std::string hexdump_canonical(const bytes &b)
{
    return dump_lines(b, "%08zx", [&b](std::size_t at, std::size_t end) {
        std::string hex, chars;
        for (std::size_t i = at; i < end; ++i) {
            hex += printed(i % 8 == 0 ? "  %02x" : " %02x", b[i]);
            chars += shown(b[i]);
        }
        hex.resize(50, ' ');
        return hex + "  |" + chars + '|';
    });
}

/// `address` is "%07zx" of hexdump, "%07zo" of od -tx2, "%07zu" of od -Ad -tx2.
inline std::string dump_words(const bytes &b, const char *address)
{
    return dump_lines(b, address, [&b](std::size_t at, std::size_t end) {
        std::string text;
        for (std::size_t i = at; i < end; i += 2)
            text += printed(" %02x%02x", i + 1 < end ? b[i + 1] : 0, b[i]);
        return text;
    });
}

/// `address` is "%07zo" of od -tx1, "%07zu" with -Ad, "%06zx" with -Ax.
inline std::string od_bytes(const bytes &b, const char *address)
{
    return dump_lines(b, address, [&b](std::size_t at, std::size_t end) {
        std::string text;
        for (std::size_t i = at; i < end; ++i)
            text += printed(" %02x", b[i]);
        return text;
    });
}

/// od -An -v -tx1.
inline std::string od_alone(const bytes &b)
{
    std::string text;
    for (std::size_t i = 0; i < b.size(); ++i)
        text += printed(" %02x", b[i]) + (i % 16 == 15 || i + 1 == b.size() ? "\n" : "");
    return text;
}

/// x/b, x/h, x/w and x/g: numbers of `word` bytes, of which the size is a multiple.
inline std::string gdb(const bytes &b, std::size_t word, bool with_symbol)
{
    const std::size_t line = word == 1 || word == 2 ? 8 * word : 16;
    std::string text;
    for (std::size_t at = 0; at < b.size(); at += word) {
        if (at % line == 0) {
            text += printed("%s0x%zx", at == 0 ? "" : "\n", 0x7ffe4a30 + at);
            if (with_symbol)
                text += at == 0 ? " <frame>" : printed(" <frame+%zu>", at);
            text += ':';
        }
        text += "\t0x";
        for (std::size_t i = word; i != 0; --i)
            text += printed("%02x", b[at + i - 1]);
    }
    return text + '\n';
}

/// xxd -i FILE, or without a declaration xxd -i <FILE.
inline std::string c_array(const bytes &b, bool is_declared)
{
    std::string text = is_declared ? "unsigned char frame_bin[] = {\n" : "";
    for (std::size_t i = 0; i < b.size(); ++i) {
        text += printed(i % 12 == 0 ? "  0x%02x" : " 0x%02x", b[i]);
        text += i + 1 == b.size() ? "\n" : i % 12 == 11 ? ",\n" : ",";
    }
    return is_declared ? text + printed("};\nunsigned int frame_bin_len = %zu;\n", b.size()) : text;
}

/// Wireshark's array, with the characters of each line in a comment.
inline std::string wireshark_array(const bytes &b)
{
    std::string text = printed("/* Frame (%zu bytes) */\n", b.size()) +
                       printed("static const unsigned char pkt1[%zu] = {\n", b.size());
    std::string chars;
    for (std::size_t i = 0; i < b.size(); ++i) {
        text += printed("0x%02x", b[i]) + (i + 1 == b.size() ? " " : ", ");
        chars += b[i] == '*' || b[i] == '/' ? '.' : shown(b[i]);
        if (i % 8 == 7 || i + 1 == b.size()) {
            text += "/* " + chars + " */\n";
            chars.clear();
        }
    }
    return text + "};\n";
}

/// Wireshark's escaped string.
inline std::string wireshark_string(const bytes &b)
{
    std::string text;
    for (std::size_t i = 0; i < b.size(); ++i) {
        text += (i % 16 == 0 ? "\"" : "") + printed("\\x%02x", b[i]);
        if (i + 1 == b.size())
            text += "\"\n";
        else if (i % 16 == 15)
            text += "\" \\\n";
    }
    return text;
}

/// Of a multiple of four characters a line; 0: all in one.
inline std::string base64(const bytes &b, std::size_t width)
{
    static constexpr char digits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    std::size_t column = 0;
    for (std::size_t i = 0; i < b.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, b.size() - i);
        unsigned bits = 0;
        for (std::size_t c = 0; c < 3; ++c)
            bits = bits << 8 | (c < count ? b[i + c] : 0U);
        if (width != 0 && column == width) {
            text += '\n';
            column = 0;
        }
        for (std::size_t c = 0; c < 4; ++c)
            text += c <= count ? digits[bits >> (18 - 6 * c) & 63] : '=';
        column += 4;
    }
    return text + '\n';
}

} // namespace vorl::test
