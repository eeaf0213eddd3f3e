#include "tools/vorl/json_node.h"

#include <nlohmann/json.hpp>

namespace vorl::json {
namespace {

// Records nest four levels; deeper input is refused before recursion over it could hurt.
constexpr std::size_t depth_limit = 16;

/// Takes the parser's events; every event returns false to stop it.
class tree_builder : public nlohmann::json_sax<nlohmann::json> {
  public:
    node root;
    std::string error;

    bool null() override
    {
        add(node::kind_type::null);
        return true;
    }
    bool boolean(bool) override
    {
        add(node::kind_type::boolean);
        return true;
    }
    bool number_integer(number_integer_t value) override
    {
        // The parser reports whole numbers without a minus sign as unsigned.
        node &added = add(value < 0 ? node::kind_type::other_number : node::kind_type::number);
        added.text = std::to_string(value);
        return true;
    }
    bool number_unsigned(number_unsigned_t value) override
    {
        add(node::kind_type::number).number = value;
        return true;
    }
    bool number_float(number_float_t, const string_t &text) override
    {
        add(node::kind_type::other_number).text = text;
        return true;
    }
    bool string(string_t &value) override
    {
        add(node::kind_type::text).text = std::move(value);
        return true;
    }
    bool binary(binary_t &) override { return false; }
    bool start_object(std::size_t) override { return open(node::kind_type::object); }
    bool start_array(std::size_t) override { return open(node::kind_type::array); }
    bool key(string_t &name) override
    {
        name_ = std::move(name);
        return true;
    }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }

    bool parse_error(std::size_t position, const std::string &,
                     const nlohmann::json::exception &exception) override
    {
        // "[json.exception.parse_error.101] parse error at line 1, column 9: what is wrong"
        // "[json.exception.out_of_range.406] what is wrong"
        std::string what = exception.what();
        const std::size_t column = what.find(", column ");
        const std::size_t start =
            column == std::string::npos ? what.find("] ") : what.find(": ", column);
        if (start != std::string::npos)
            what.erase(0, start + 2);
        for (std::size_t at = 0; (at = what.find(';', at)) != std::string::npos;)
            what[at] = ',';
        error = "column " + std::to_string(position) + ": not JSON: " + printable(what) +
                "; give one JSON object a line";
        return false;
    }

  private:
    node &add(node::kind_type kind)
    {
        node &added = open_.empty() ? root : open_.back()->items.emplace_back();
        added.kind = kind;
        added.name = std::move(name_);
        name_.clear();
        return added;
    }
    bool open(node::kind_type kind)
    {
        node &added = add(kind);
        // Only the innermost container grows, so the addresses of the open ones hold.
        open_.push_back(&added);
        if (open_.size() <= depth_limit)
            return true;
        error = "object: is nested deeper than any message; see 'vorl describe'";
        return false;
    }
    bool close()
    {
        open_.pop_back();
        return true;
    }

    std::vector<node *> open_;
    std::string name_;
};

} // namespace

node parse_json(std::string_view text)
{
    tree_builder builder;
    if (!nlohmann::json::sax_parse(text.begin(), text.end(), &builder))
        throw input_error(builder.error);
    return std::move(builder.root);
}

} // namespace vorl::json
