// One slot's table in a labels file.
#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <set>

#include "inspect/did_you_mean.h"
#include "inspect/integers.h"
#include "inspect/label_times.h"
#include "inspect/labels_toml.h"

namespace vorl::inspect {
namespace {

constexpr std::size_t longest_name = 64;
constexpr std::size_t longest_unit = 32;
constexpr std::int64_t address_bits = 128;

bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool is_slot_name(std::string_view name)
{
    return !name.empty() && name.size() <= longest_name && name[0] >= 'a' && name[0] <= 'z' &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return (c >= 'a' && c <= 'z') || is_digit(c) || c == '_'; });
}

bool looks_like_slot(std::string_view name)
{
    return name.size() > 1 && name[0] == 'f' && std::all_of(name.begin() + 1, name.end(), is_digit);
}

/// Of a value of an enumeration, or of a flag.
bool is_value_name(std::string_view name)
{
    return !name.empty() && name.size() <= longest_name && is_letter(name[0]) &&
           std::all_of(name.begin(), name.end(), [](char c) {
               return is_letter(c) || is_digit(c) || c == '_' || c == '-' || c == '.';
           });
}

bool is_unit(std::string_view unit)
{
    return !unit.empty() && unit.size() <= longest_unit && unit.front() != ' ' &&
           unit.back() != ' ' && std::all_of(unit.begin(), unit.end(), is_printable);
}

/// "7" or "0x1f".
std::optional<std::uint64_t> number_of(std::string_view key)
{
    const bool is_hex = key.starts_with("0x");
    const std::string_view digits = key.substr(is_hex ? 2 : 0);
    std::uint64_t value = 0;
    const char *const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value, is_hex ? 16 : 10);
    return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

/// The keys of a slot, and the forms that they go with; form::none: with any.
struct slot_key {
    std::string_view name;
    form goes_with;
};
constexpr auto slot_keys = std::to_array<slot_key>({
    {"name", form::none},
    {"unit", form::none},
    {"form", form::none},
    {"locator", form::sid},
    {"function", form::sid},
    {"length", form::prefix},
    {"since", form::time},
    {"values", form::enumeration},
    {"bits", form::flags},
});

/// Reads one slot's table.
class slot_reader {
  public:
    slot_reader(const catalogue::message_info &info, std::size_t slot, entry given,
                std::vector<labels_problem> &problems)
        : info_(info), slot_(info.data.slots[slot]), given_(given), problems_(problems)
    {}

    /// Nothing: something is wrong with it.
    std::optional<label> read()
    {
        const toml::table *const table = given_.value->as_table();
        if (table == nullptr) {
            refuse(given_.at, "is " + kind_of_value(*given_.value) +
                                  "; give a table such as { name = \"sid\" }");
            return std::nullopt;
        }
        const std::vector<entry> entries = entries_of(*table);
        for (const entry &e : entries) {
            if (e.key == "form")
                read_form(e);
        }
        for (const entry &e : entries)
            read_key(e);
        if (is_right_)
            ask_for_what_is_missing(*table);
        return is_right_ ? std::optional(std::move(read_)) : std::nullopt;
    }

  private:
    void refuse(toml::source_position at, const std::string &what)
    {
        const std::string path =
            std::string(name_of(info_.data)) + "." + printable(given_.key) + ": ";
        problems_.push_back({at.line, path + what});
        is_right_ = false;
    }

    /// Null: it is no text, which is refused.
    const std::string *text_of_value(const entry &e)
    {
        const auto *const text = e.value->as_string();
        if (text == nullptr)
            refuse(e.at, std::string(e.key) + " is " + kind_of_value(*e.value) +
                             "; give a text in quotes");
        return text == nullptr ? nullptr : &text->get();
    }

    void read_form(const entry &e)
    {
        const std::string *const text = text_of_value(e);
        if (text == nullptr)
            return;
        const form_info *const found = find_form(*text);
        if (found == nullptr) {
            std::vector<std::string_view> names;
            std::string listed;
            for (const form_info &f : all_forms()) {
                names.emplace_back(f.name);
                listed += (listed.empty() ? "" : ", ") + std::string(f.name);
            }
            refuse(e.at, "form " + quoted(*text) + " is none; " +
                             did_you_mean_or(*text, names, "the forms are " + listed));
            return;
        }
        if (!fits(found->is, slot_)) {
            const std::string that_fit = forms_that_fit(slot_);
            refuse(e.at, std::string("form ") + found->name + " does not fit " +
                             catalogue::type_text(slot_) + "; " +
                             (that_fit.empty() ? "leave the form out" : "take " + that_fit));
            return;
        }
        read_.shown_as = found->is;
    }

    void read_key(const entry &e)
    {
        const auto *const known = std::find_if(slot_keys.begin(), slot_keys.end(),
                                               [&e](const auto &key) { return key.name == e.key; });
        if (known == slot_keys.end()) {
            std::array<std::string_view, slot_keys.size()> names;
            std::transform(slot_keys.begin(), slot_keys.end(), names.begin(),
                           [](const slot_key &key) { return key.name; });
            refuse(e.at,
                   quoted(e.key) + " is no key of a slot; " +
                       did_you_mean_or(e.key, names,
                                       "the keys are name, unit, form and those of the form"));
            return;
        }
        if (known->goes_with != form::none && known->goes_with != read_.shown_as) {
            if (is_right_) // or the form is wrong, and this may be right
                refuse(e.at, std::string(e.key) + " goes with form " +
                                 info_of(known->goes_with).name + "; take one of them out");
            return;
        }
        if (e.key == "name")
            read_name(e);
        else if (e.key == "unit")
            read_unit(e);
        else if (e.key == "locator")
            read_bits_of_address(e, read_.locator, 1);
        else if (e.key == "function")
            read_bits_of_address(e, read_.function, 0);
        else if (e.key == "length")
            read_length(e);
        else if (e.key == "since")
            read_since(e);
        else if (e.key == "values")
            read_names(e, largest_integer(slot_.width), "value");
        else if (e.key == "bits")
            read_names(e, std::uint64_t{8} * slot_.width - 1, "bit");
    }

    void read_name(const entry &e)
    {
        const std::string *const text = text_of_value(e);
        if (text == nullptr)
            return;
        if (!is_slot_name(*text))
            refuse(e.at,
                   "name " + quoted(*text) +
                       " is not usable; give up to 64 of a to z, 0 to 9 and _, a letter first");
        else if (looks_like_slot(*text))
            refuse(e.at, "name " + *text + " looks like a slot; give another");
        else if (*text == "message")
            refuse(e.at, "name message is what an object's type is called; give another");
        else
            read_.name = *text;
    }

    void read_unit(const entry &e)
    {
        const std::string *const text = text_of_value(e);
        if (text == nullptr)
            return;
        const bool takes_unit = read_.shown_as == form::none ? fits(form::dec, slot_)
                                                             : info_of(read_.shown_as).has_unit;
        if (!takes_unit)
            refuse(e.at, "unit goes with numbers and times, not with " +
                             (read_.shown_as == form::none
                                  ? catalogue::type_text(slot_)
                                  : std::string("form ") + info_of(read_.shown_as).name) +
                             "; take it out");
        else if (read_.shown_as == form::time && !digits_of_unit(*text))
            refuse(e.at, "unit " + quoted(*text) + " is none of time; give s, ms, us or ns");
        else if (!is_unit(*text))
            refuse(e.at, "unit " + quoted(*text) +
                             " is not usable; give up to 32 characters of ASCII, none of them a "
                             "blank at either end");
        else
            read_.unit = *text;
    }

    void read_bits_of_address(const entry &e, std::uint32_t &to, std::int64_t least)
    {
        const auto *const number = e.value->as_integer();
        if (number == nullptr || number->get() < least || number->get() > address_bits)
            refuse(e.at, std::string(e.key) + " is no length in bits; give a number from " +
                             std::to_string(least) + " to 128");
        else
            to = static_cast<std::uint32_t>(number->get());
    }

    void read_length(const entry &e)
    {
        const std::string *const text = text_of_value(e);
        if (text == nullptr)
            return;
        const std::size_t at = catalogue::find_slot(info_, *text);
        if (at == info_.slots.size())
            refuse(e.at, "length " + quoted(*text) + " is no slot; the message has " +
                             catalogue::slot_range(info_));
        else if (info_.data.slots[at].shape != slot_shape::scalar)
            refuse(e.at, "length " + *text + " is " + catalogue::type_text(info_.data.slots[at]) +
                             "; name a slot that is a number");
        else
            read_.length_slot = static_cast<std::uint32_t>(at);
    }

    void read_since(const entry &e)
    {
        const std::string *const text = text_of_value(e);
        if (text == nullptr)
            return;
        read_.since_start = *text == "start";
        if (*text != "start" && *text != "1970")
            refuse(e.at, "since " + quoted(*text) + R"( is neither "1970" nor "start"; give one)");
    }

    /// Names of numbers up to `largest`, each of which is a `what`.
    void read_names(const entry &e, std::uint64_t largest, const std::string &what)
    {
        const toml::table *const table = e.value->as_table();
        if (table == nullptr || table->empty()) {
            refuse(e.at,
                   std::string(e.key) +
                       R"( is no table of names; give one such as { 1 = "first", 2 = "second" })");
            return;
        }
        std::map<std::uint64_t, std::string> taken;
        std::set<std::string_view> names;
        for (const entry &named : entries_of(*table)) {
            const auto number = number_of(named.key);
            const auto *const name = named.value->as_string();
            if (!number || *number > largest)
                refuse(named.at, what + " " + quoted(named.key) + " is none of " +
                                     catalogue::type_text(slot_) + "; give 0 to " +
                                     std::to_string(largest));
            else if (name == nullptr || !is_value_name(name->get()))
                refuse(named.at, what + " " + std::string(named.key) +
                                     " has no usable name; give up to 64 letters, digits, _, - "
                                     "and ., a letter first");
            else if (const auto [of, is_new] = taken.emplace(*number, name->get()); !is_new)
                refuse(named.at, what + " " + std::string(named.key) + " has a name, " +
                                     of->second + "; give it one alone");
            else if (!names.insert(name->get()).second)
                refuse(named.at, "name " + name->get() + " stands for another " + what +
                                     ", too; give each its own");
            else
                read_.names.push_back({*number, name->get()});
        }
        std::sort(read_.names.begin(), read_.names.end(),
                  [](const auto &a, const auto &b) { return a.value < b.value; });
    }

    void ask_for_what_is_missing(const toml::table &table)
    {
        for (const slot_key &key : slot_keys) {
            const bool is_due = (key.goes_with == read_.shown_as && key.name != "since" &&
                                 key.goes_with != form::none) ||
                                (key.name == "unit" &&
                                 (read_.shown_as == form::time || read_.shown_as == form::unit));
            if (is_due && !table.contains(key.name))
                refuse(given_.at, std::string("form ") + info_of(read_.shown_as).name + " needs " +
                                      std::string(key.name) + "; add it");
        }
        if (is_right_ && read_.locator + read_.function > address_bits)
            refuse(given_.at, "locator and function are longer than 128 bits; shorten one");
        if (is_right_ && table.empty())
            refuse(given_.at, "says nothing; give a name, a unit or a form");
    }

    const catalogue::message_info &info_;
    const vorl::slot &slot_;
    const entry given_;
    std::vector<labels_problem> &problems_;
    label read_;
    bool is_right_ = true;
};

} // namespace

std::optional<label> read_slot(const catalogue::message_info &info, std::size_t slot,
                               const entry &given, std::vector<labels_problem> &problems)
{
    return slot_reader(info, slot, given, problems).read();
}

} // namespace vorl::inspect
