#include "inspect/log_around.h"

#include <algorithm>
#include <charconv>

#include "catalogue/catalogue.h"

namespace vorl::inspect {
namespace {

bool is_of_name(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

/// What stands between a name and its number: `:20`, `(20)`, `() 20`, `, line 20`, `":"20"`.
constexpr std::string_view separators = " \t:=,()[]\"'#@";

/// The number that `text` begins with, after separators.
std::optional<std::uint32_t> number_behind(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
    std::uint32_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool ends = stop == text.data() + text.size() || !is_of_name(*stop);
    return error == std::errc() && ends ? std::optional(number) : std::nullopt;
}

/// The longer ones first, because they end like the shorter.
constexpr std::string_view suffixes[] = {"_unpack_non_root", "_unpack", "_pack"};

/// Messages of other versions are recognised by the packages' names, with which all begin.
bool is_message_name(std::string_view name)
{
    return std::any_of(std::begin(catalogue::packages), std::end(catalogue::packages),
                       [name](const catalogue::package_info *package) {
                           const std::string_view own = package->name;
                           return name.starts_with(own) && name.size() > own.size() + 1 &&
                                  name[own.size()] == '_';
                       });
}

std::optional<named_function> function_of(std::string_view name)
{
    for (const std::string_view suffix : suffixes) {
        if (!name.ends_with(suffix))
            continue;
        const std::string_view message_name = name.substr(0, name.size() - suffix.size());
        if (!is_message_name(message_name))
            return std::nullopt;
        const catalogue::message_info *info = catalogue::find_message(message_name);
        return named_function{std::string(name), suffix, info == nullptr ? nullptr : &info->data,
                              std::nullopt};
    }
    return std::nullopt;
}

/// Calls `visit` with each name, and with what stands behind it.
template <class Visit>
void each_name(std::string_view text, Visit &&visit)
{
    while (!text.empty()) {
        const auto end = std::find_if_not(text.begin(), text.end(), is_of_name);
        const auto length = static_cast<std::size_t>(end - text.begin());
        if (length != 0)
            visit(text.substr(0, length), text.substr(length));
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
}

std::vector<named_function> functions_in(std::string_view text)
{
    std::vector<named_function> found;
    each_name(text, [&found](std::string_view name, std::string_view behind) {
        if (std::optional<named_function> function = function_of(name)) {
            function->line = number_behind(behind);
            found.push_back(*std::move(function));
        }
    });
    return found;
}

bool is_line_word(std::string_view name)
{
    constexpr std::string_view word = "line";
    if (name.size() < word.size())
        return false;
    const std::string_view end = name.substr(name.size() - word.size());
    const bool is_word = std::equal(end.begin(), end.end(), word.begin(),
                                    [](char a, char b) { return (a | 0x20) == b; });
    // Also of CODE_LINE, but not of "offline".
    return is_word && (name.size() == word.size() || name[name.size() - word.size() - 1] == '_');
}

} // namespace

std::vector<named_function> functions_around(std::string_view before, std::string_view behind)
{
    std::vector<named_function> all = functions_in(before);
    std::reverse(all.begin(), all.end());
    for (named_function &function : functions_in(behind))
        all.push_back(std::move(function));
    return all;
}

std::optional<std::uint32_t> line_number_around(std::string_view before, std::string_view behind)
{
    std::optional<std::uint32_t> found;
    for (const std::string_view text : {behind, before}) {
        each_name(text, [&found](std::string_view name, std::string_view rest) {
            if (is_line_word(name)) {
                if (const auto number = number_behind(rest))
                    found = number;
            }
        });
    }
    return found;
}

} // namespace vorl::inspect
