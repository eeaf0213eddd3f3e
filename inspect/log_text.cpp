#include "inspect/log_text.h"

#include <charconv>
#include <limits>
#include <stdexcept>

namespace vorl::inspect {
namespace {

/// The number that `text` begins with; nothing where printf would not write it so.
std::optional<log_value> number_at(std::string_view text, std::int64_t least, std::int64_t most)
{
    const bool is_negative = text.starts_with('-');
    const std::size_t first = is_negative ? 1 : 0;
    if (text.size() > first + 1 && text[first] == '0' &&
        (is_negative || (text[1] >= '0' && text[1] <= '9')))
        return std::nullopt;
    std::int64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number < least || number > most)
        return std::nullopt;
    return log_value{std::string(text.data(), stop), number};
}

std::optional<log_value> word_at(std::string_view text)
{
    for (const char *word : {"null", "nonNull"}) {
        if (text.starts_with(word))
            return log_value{word, 0};
    }
    return std::nullopt;
}

/// A value of the conversion, %s, %d or %u.
std::optional<log_value> value_at(char conversion, std::string_view text)
{
    switch (conversion) {
    case 's': return word_at(text);
    case 'd':
        return number_at(text, std::numeric_limits<std::int32_t>::min(),
                         std::numeric_limits<std::int32_t>::max());
    default: return number_at(text, 0, std::numeric_limits<std::uint32_t>::max());
    }
}

} // namespace

std::optional<filled_text> match(std::string_view format, std::string_view line)
{
    const std::size_t whole = line.size();
    filled_text found{};
    while (!format.empty()) {
        const std::size_t fixed = std::min(format.find('%'), format.size());
        if (!line.starts_with(format.substr(0, fixed)))
            return std::nullopt;
        line.remove_prefix(fixed);
        format.remove_prefix(fixed);
        if (format.empty())
            break;
        std::optional<log_value> value = value_at(format[1], line);
        if (!value)
            return std::nullopt;
        line.remove_prefix(value->text.size());
        format.remove_prefix(2);
        found.values.push_back(*std::move(value));
    }
    found.length = whole - line.size();
    return found;
}

std::string fill(std::string_view sentence, const log_values &values, std::uint64_t derived)
{
    std::string out;
    for (std::size_t open; (open = sentence.find('{')) != std::string_view::npos;) {
        out += sentence.substr(0, open);
        const std::size_t close = sentence.find('}', open);
        const std::string_view place = sentence.substr(open + 1, close - open - 1);
        if (place == "d") {
            out += std::to_string(derived);
        } else {
            const log_value &value = values.at(static_cast<std::size_t>(place.at(0) - '0'));
            // "1-4": what stands behind the digit is added.
            if (place.size() == 1)
                out += value.text;
            else
                out +=
                    std::to_string(value.number + (place[1] == '-' ? -1 : 1) * (place.at(2) - '0'));
        }
        sentence.remove_prefix(close + 1);
    }
    return out.append(sentence);
}

std::string meaning_of(const log_entry &entry, const log_values &values, std::size_t index)
{
    const log_argument &argument = entry.arguments.at(index);
    const bool is_other = argument.otherwise != nullptr && !values.at(index).is_null();
    return fill(is_other ? argument.otherwise : argument.meaning, values);
}

} // namespace vorl::inspect
