#include "parse.h"

#include <utility>

#include "lex.h"

namespace idlc {
namespace {

constexpr std::uint64_t count_limit = std::uint64_t{1} << 30;

class parser {
  public:
    parser(const std::string &file, const std::string &text) : lexer_(file, text)
    {
        package_.file = file;
    }

    package run()
    {
        step();
        expect_word("package", "a description opens with 'package <name>;'");
        package_.name_at = token_.at;
        package_.name = take_name("the package");
        expect(";");
        if (token_.kind == token_kind::end)
            unexpected("a package has at least one message: 'message <name> { ... }'");
        while (token_.kind != token_kind::end)
            package_.messages.push_back(parse_message());
        refuse_pending_doc();
        return std::move(package_);
    }

  private:
    [[noreturn]] void fail(position at, const std::string &text) const
    {
        throw description_error(package_.file, at, text);
    }
    [[noreturn]] void unexpected(const std::string &wanted) const
    {
        fail(token_.at, (token_.kind == token_kind::end ? "the description ends here"
                                                        : "found '" + token_.text + "'") +
                            "; " + wanted);
    }

    static void append(std::string &doc, const std::string &line)
    {
        doc += (doc.empty() ? "" : "\n") + line;
    }

    void refuse_pending_doc() const
    {
        if (!pending_doc_.empty())
            fail(pending_doc_at_,
                 "this documentation comment has no message or slot after it; move or remove it");
    }

    // Documentation comments stand between the other tokens: those before an item wait for it, and
    // whoever parses the item takes them before its first step; those right after a slot go to it.
    void step()
    {
        refuse_pending_doc();
        std::string *const completed_doc = std::exchange(completed_doc_, nullptr);
        for (token_ = lexer_.next();; token_ = lexer_.next()) {
            if (token_.kind == token_kind::doc_before) {
                if (pending_doc_.empty())
                    pending_doc_at_ = token_.at;
                append(pending_doc_, token_.text);
            } else if (token_.kind == token_kind::doc_after) {
                if (!completed_doc)
                    fail(token_.at,
                         "'///<' describes the slot before it, and there is none; use '///'");
                append(*completed_doc, token_.text);
            } else {
                return;
            }
        }
    }

    bool at(const std::string &punctuation) const
    {
        return token_.kind == token_kind::punctuation && token_.text == punctuation;
    }
    void expect(const std::string &punctuation)
    {
        if (!at(punctuation))
            unexpected("'" + punctuation + "' is wanted");
        step();
    }
    void expect_word(const std::string &word, const std::string &why)
    {
        if (token_.kind != token_kind::word || token_.text != word)
            unexpected(why);
        step();
    }
    std::string take_name(const std::string &of)
    {
        if (token_.kind != token_kind::word)
            unexpected("the name of " + of + " is wanted");
        for (const char c : token_.text) {
            if (c >= 'A' && c <= 'Z')
                fail(token_.at,
                     "'" + token_.text +
                         "' has a capital letter; names are lower-case with underscores");
        }
        std::string name = token_.text;
        step();
        return name;
    }

    message parse_message()
    {
        message m;
        m.doc = std::exchange(pending_doc_, {});
        expect_word("message", "after the package come messages: 'message <name> { ... }'");
        m.at = token_.at;
        m.name = take_name("the message");
        expect("{");
        if (at("}"))
            fail(token_.at, "message '" + m.name + "' has no slots; give it at least one");
        while (!at("}")) {
            m.slots.push_back(parse_slot());
            completed_doc_ = &m.slots.back().doc;
            step(); // past ';'
        }
        step();
        return m;
    }

    void parse_table(slot &s)
    {
        step();
        s.message_at = token_.at;
        s.message_name = take_name("the message that the table holds");
    }

    slot parse_slot()
    {
        slot s;
        s.doc = std::exchange(pending_doc_, {});
        s.at = token_.at;
        if (token_.kind != token_kind::word)
            unexpected("a wire type is wanted, or '}'");
        const std::string type = token_.text;
        if (type == "uint8" || type == "uint16" || type == "uint32" || type == "uint64") {
            s.type = type == "uint8"    ? wire_type::uint8
                     : type == "uint16" ? wire_type::uint16
                     : type == "uint32" ? wire_type::uint32
                                        : wire_type::uint64;
            step();
        } else if (type == "table") {
            s.type = wire_type::table;
            parse_table(s);
        } else if (type == "array" || type == "vector") {
            const bool array = type == "array";
            step();
            expect("<");
            if (token_.kind == token_kind::word && token_.text == "uint8") {
                s.type = array ? wire_type::array_uint8 : wire_type::vector_uint8;
                step();
            } else if (array && token_.kind == token_kind::word && token_.text == "uint32") {
                s.type = wire_type::array_uint32;
                step();
            } else if (token_.kind == token_kind::word && token_.text == "table") {
                s.type = array ? wire_type::array_table : wire_type::vector_table;
                parse_table(s);
            } else {
                unexpected(array ? "an array holds uint8, uint32 or table <message>"
                                 : "a vector holds uint8 or table <message>");
            }
            if (array) {
                expect(",");
                parse_count(s);
            }
            expect(">");
        } else {
            fail(s.at, "unknown type '" + type +
                           "'; the types are uint8, uint16, uint32, uint64, array<...>, "
                           "vector<...> and table <message>");
        }
        s.name_at = token_.at;
        s.name = take_name("the slot");
        if (at("["))
            parse_malloc_text(s);
        if (!at(";"))
            unexpected("';' is wanted after the slot");
        return s;
    }

    void parse_count(slot &s)
    {
        s.count_at = token_.at;
        if (token_.kind != token_kind::number)
            unexpected("the number of elements is wanted");
        for (const char c : token_.text) {
            if (c < '0' || c > '9')
                fail(token_.at, "'" + token_.text + "' is not a decimal number; write digits only");
            s.count = s.count * 10 + static_cast<std::uint64_t>(c - '0');
            if (s.count >= count_limit)
                fail(token_.at, "'" + token_.text +
                                    "' elements are too many, counts on the wire stay below 2^30; "
                                    "make the array smaller");
        }
        step();
    }

    void parse_malloc_text(slot &s)
    {
        step();
        const position at_attribute = token_.at;
        if (token_.kind != token_kind::word || token_.text != "malloc_text")
            unexpected("the only attribute of a slot is malloc_text = \"...\"");
        if (s.type != wire_type::vector_table)
            fail(at_attribute,
                 "only a vector of tables has a malloc_text; remove it from this slot");
        step();
        expect("=");
        if (token_.kind != token_kind::string)
            unexpected("malloc_text takes a text in quotes");
        s.malloc_text = token_.text;
        // The text is a printf format whose one argument is the size.
        const auto percent = s.malloc_text.find('%');
        if (percent == std::string::npos || s.malloc_text.compare(percent, 2, "%u") != 0 ||
            s.malloc_text.find('%', percent + 1) != std::string::npos)
            fail(token_.at,
                 "malloc_text is the format of a size; write %u in it once, and no other '%'");
        step();
        expect("]");
    }

    lexer lexer_;
    token token_;
    package package_;
    std::string pending_doc_;
    position pending_doc_at_;
    std::string *completed_doc_ = nullptr; ///< of the slot whose ';' is the token at hand
};

} // namespace

package parse(const std::string &file, const std::string &text) { return parser(file, text).run(); }

} // namespace idlc
