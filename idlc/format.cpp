// Comments keep their text and their order. One that stands on the line of a ';' or a brace stays
// there, and so does what documents the slot before it; any other has a line of its own, before the
// statement that it stands before or in.
#include "format.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "lex.h"

namespace idlc {
namespace {

struct comment {
    std::string text; ///< with its delimiter
    bool is_set_off;  ///< an empty line stands before it
};

struct statement {
    std::vector<comment> before;
    bool is_set_off = false;
    std::string text;
    std::string name;      ///< of a slot, whose type is the text
    std::string attribute; ///< of a slot
    std::vector<std::string> behind;
};

constexpr std::string_view slot_indent = "    ";
constexpr std::string_view attribute_indent = "        ";
constexpr std::string_view before_comment = "  ";

std::string text_of(const token &t)
{
    return t.kind == token_kind::string ? '"' + std::string(t.text) + '"' : std::string(t.text);
}

bool is_mark(const token &t, std::string_view mark) { return t.is(token_kind::punctuation, mark); }

/// A blank between words, behind a comma and around an equals sign.
std::string joined(const std::vector<token> &tokens)
{
    std::string text;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        const bool follows = i > 0;
        const bool is_apart = follows && (is_mark(tokens[i - 1], ",") ||
                                          is_mark(tokens[i - 1], "=") || is_mark(tokens[i], "=") ||
                                          (tokens[i - 1].kind != token_kind::punctuation &&
                                           tokens[i].kind != token_kind::punctuation) ||
                                          is_mark(tokens[i], "{"));
        text += (is_apart ? " " : "") + text_of(tokens[i]);
    }
    return text;
}

class formatter {
  public:
    explicit formatter(const source &from) : lexer_(from.file, from.text, nullptr)
    {
        lexer_.keep_comments();
    }

    std::string run()
    {
        while (std::optional<statement> s = read(";{")) {
            const bool has_slots = s->text.ends_with('{');
            write_outside(*s);
            if (has_slots)
                write_slots();
        }
        write_comments(pending_, "", true);
        return std::move(out_);
    }

  private:
    /// The next statement, up to one of the marks, and what stands behind it in its line. Nothing: the
    /// text ends, or the message does. The comments before that are pending.
    std::optional<statement> read(std::string_view marks)
    {
        statement s;
        std::vector<token> tokens;
        for (;;) {
            const token t = next();
            if (is_comment(t)) {
                pending_.push_back({std::string(t.text), is_behind_empty_line_ && tokens.empty()});
                continue;
            }
            if (t.kind == token_kind::end || is_mark(t, "}"))
                return std::nullopt;
            if (tokens.empty())
                s.is_set_off = is_behind_empty_line_;
            tokens.push_back(t);
            if (t.kind == token_kind::punctuation && marks.find(t.text) != std::string_view::npos)
                break;
        }
        s.before = std::exchange(pending_, {});
        s.behind = read_behind(marks == ";");
        s.text = joined(tokens);
        if (marks == ";")
            divide(s, tokens);
        return s;
    }

    /// A slot's tokens are its type, its name, and what stands in brackets.
    static void divide(statement &s, const std::vector<token> &tokens)
    {
        const auto bracket = std::find_if(tokens.begin(), tokens.end() - 1,
                                          [](const token &t) { return is_mark(t, "["); });
        s.text = joined({tokens.begin(), bracket - 1});
        s.name = (bracket - 1)->text;
        s.attribute = joined({bracket, tokens.end() - 1});
    }

    /// The comments that stay behind what was read.
    std::vector<std::string> read_behind(bool is_slot)
    {
        std::vector<std::string> behind;
        for (;;) {
            const token t = look();
            const bool stays =
                (t.kind == token_kind::comment && t.at.line == line_ && pending_.empty()) ||
                (is_slot && t.kind == token_kind::doc_after);
            if (stays)
                behind.emplace_back(t.text);
            else if (is_slot && t.kind == token_kind::comment && is_documented_behind(t))
                pending_.push_back({std::string(t.text), t.at.line > line_ + 1});
            else
                return behind;
            next();
        }
    }

    /// Whether, behind further comments, the slot's documentation goes on. What was found holds up to
    /// there, so that a text is looked at once.
    bool is_documented_behind(const token &t)
    {
        if (t.at.line >= documented_until_) {
            lexer ahead = lexer_.ahead();
            token behind = ahead.next();
            while (behind.kind == token_kind::comment)
                behind = ahead.next();
            documented_until_ = behind.kind == token_kind::doc_after ? behind.at.line : 0;
        }
        return t.at.line < documented_until_;
    }

    static bool is_comment(const token &t)
    {
        return t.kind == token_kind::comment || t.kind == token_kind::doc_before ||
               t.kind == token_kind::doc_after;
    }

    token look() const { return lexer_.ahead().next(); }
    token next()
    {
        const token t = lexer_.next();
        is_behind_empty_line_ = t.at.line > line_ + 1;
        line_ = t.at.line;
        return t;
    }

    void write_line(std::string_view indent, std::string_view text)
    {
        out_ += indent;
        out_ += text;
        out_ += '\n';
    }

    /// `is_apart`: an empty line comes before the first, but for the beginning of the file.
    void write_comments(const std::vector<comment> &comments, std::string_view indent,
                        bool is_apart)
    {
        for (std::size_t i = 0; i < comments.size(); ++i) {
            const bool is_at_top = out_.empty() || out_.ends_with("{\n");
            if (!is_at_top && (comments[i].is_set_off || (i == 0 && is_apart)))
                out_ += '\n';
            write_line(indent, comments[i].text);
        }
    }

    void write_behind(const statement &s, std::string line)
    {
        const std::string indent(line.size(), ' ');
        for (std::size_t i = 0; i < s.behind.size(); ++i)
            line += (i == 0 ? "" : "\n" + indent) + std::string(before_comment) + s.behind[i];
        write_line("", line);
    }

    void write_outside(const statement &s)
    {
        write_comments(s.before, "", true);
        if (!out_.empty() && (s.before.empty() || s.is_set_off))
            out_ += '\n';
        write_behind(s, s.text);
    }

    void write_slots()
    {
        opens_at_ = out_.size();
        std::vector<statement> slots;
        std::size_t width = 0;
        while (std::optional<statement> s = read(";")) {
            width = std::max(width, s->text.size());
            slots.push_back(std::move(*s));
        }
        std::vector<comment> last = std::exchange(pending_, {});
        statement close;
        close.text = "}";
        close.behind = read_behind(false);
        for (const statement &s : slots) {
            write_inside(s.before);
            if (s.is_set_off && out_.size() > opens_at_)
                out_ += '\n';
            std::string line = std::string(slot_indent) + s.text +
                               std::string(width + 1 - s.text.size(), ' ') + s.name;
            if (!s.attribute.empty()) {
                write_line("", line);
                line = std::string(attribute_indent) + s.attribute;
            }
            write_behind(s, line + ";");
        }
        write_inside(last);
        write_behind(close, close.text);
    }

    void write_inside(const std::vector<comment> &comments)
    {
        for (const comment &c : comments) {
            if (c.is_set_off && out_.size() > opens_at_)
                out_ += '\n';
            write_line(slot_indent, c.text);
        }
    }

    lexer lexer_;
    std::uint32_t line_ = 1; ///< of what was read last
    bool is_behind_empty_line_ = false;
    std::uint32_t documented_until_ = 0; ///< the line of a slot's documentation behind comments
    std::vector<comment> pending_;
    std::string out_;
    std::size_t opens_at_ = 0; ///< where the slots of the message at hand begin in it
};

} // namespace

std::string formatted(const source &from) { return formatter(from).run(); }

std::size_t first_difference(const std::string &a, const std::string &b)
{
    const auto [at, in_b] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    if (at == a.end() && in_b == b.end())
        return 0;
    return static_cast<std::size_t>(std::count(a.begin(), at, '\n')) + 1;
}

} // namespace idlc
