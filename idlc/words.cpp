#include "words.h"

#include <algorithm>

#include "inspect/did_you_mean.h"

namespace idlc {
namespace {

/// What other languages, and people, call a type.
struct alias {
    std::string_view word;
    std::string_view is;
};
constexpr alias aliases[] = {
    {"bool", "uint8"},
    {"boolean", "uint8"},
    {"byte", "uint8"},
    {"char", "uint8"},
    {"double", "uint64"},
    {"float", "uint32"},
    {"int", "uint32"},
    {"integer", "uint32"},
    {"i8", "uint8"},
    {"i16", "uint16"},
    {"i32", "uint32"},
    {"i64", "uint64"},
    {"int8", "uint8"},
    {"int16", "uint16"},
    {"int32", "uint32"},
    {"int64", "uint64"},
    {"int8_t", "uint8"},
    {"int16_t", "uint16"},
    {"int32_t", "uint32"},
    {"int64_t", "uint64"},
    {"long", "uint64"},
    {"short", "uint16"},
    {"u8", "uint8"},
    {"u16", "uint16"},
    {"u32", "uint32"},
    {"u64", "uint64"},
    {"unsigned", "uint32"},
    {"uint", "uint32"},
    {"ulong", "uint64"},
    {"ushort", "uint16"},
    {"fixed32", "uint32"},
    {"fixed64", "uint64"},
    {"bytes", "vector<uint8>"},
    {"text", "vector<uint8>"},
    {"string", "vector<uint8>"},
    {"list", "vector<...>"},
    {"repeated", "vector<...>"},
    {"ipv6", "array<uint32, 4>"},
    {"uint128", "array<uint32, 4>"},
    {"message", "table <message>"},
    {"struct", "table <message>"},
};

} // namespace

std::string lower(std::string_view word)
{
    std::string text(word);
    for (char &c : text)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
}

bool is_type_word(std::string_view word)
{
    return std::find(type_words.begin(), type_words.end(), word) != type_words.end();
}

std::string quoted(std::string_view word)
{
    return "'" + std::string(word.substr(0, longest_name)) +
           (word.size() > longest_name ? "...'" : "'");
}

bool is_slot_name(std::string_view word, std::size_t &number)
{
    if (word.size() < 2 || word.size() > 10 || word[0] != 'f' ||
        (word[1] == '0' && word.size() > 2))
        return false;
    number = 0;
    for (const char c : word.substr(1)) {
        if (c < '0' || c > '9')
            return false;
        number = number * 10 + static_cast<std::size_t>(c - '0');
    }
    return true;
}

std::string instead_of_type(std::string_view word, const std::vector<std::string_view> &messages)
{
    const std::string small = lower(word);
    if (std::find(messages.begin(), messages.end(), word) != messages.end())
        return "a message is held as 'table " + std::string(word) + "'";
    for (const alias &a : aliases) {
        if (small == a.word)
            return "write '" + std::string(a.is) + "'";
    }
    if (const std::string_view near = vorl::did_you_mean(small, type_words); !near.empty())
        return "did you mean '" + std::string(near) + "'?";
    if (const std::string_view near = vorl::did_you_mean(small, messages); !near.empty())
        return "did you mean 'table " + std::string(near) + "'?";
    return "the types are uint8, uint16, uint32, uint64, array<...>, vector<...> and table "
           "<message>";
}

std::string meant(std::string_view word, const std::vector<std::string_view> &candidates,
                  const std::string &otherwise)
{
    const std::string_view near = vorl::did_you_mean(word, candidates);
    return near.empty() ? otherwise : "did you mean '" + std::string(near) + "'?";
}

bool is_reserved(std::string_view word)
{
    // A package is an enumerator and a message a type, so neither has a name that C or C++ keeps, or
    // that a compiler or a header that is included makes a macro.
    static constexpr std::string_view words =
        " alignas alignof and and_eq asm assert auto bitand bitor bool break case catch char"
        " char16_t char32_t char8_t class co_await co_return co_yield compl concept const "
        "const_cast"
        " consteval constexpr constinit continue decltype default delete do double dynamic_cast"
        " else enum errno explicit export extern false float for friend goto if inline int int16_t"
        " int32_t int64_t int8_t linux long main mutable namespace new noexcept not not_eq nullptr"
        " offsetof operator or or_eq private protected public register reinterpret_cast requires"
        " restrict return short signed size_t sizeof static static_assert static_cast std struct"
        " switch template this thread_local throw true try typedef typeid typename typeof uint16_t"
        " uint32_t uint64_t uint8_t union unix unsigned using virtual void volatile wchar_t while"
        " xor xor_eq ";
    return words.find(" " + std::string(word) + " ") != std::string_view::npos;
}

} // namespace idlc
