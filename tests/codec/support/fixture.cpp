#include "tests/codec/support/fixture.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace vorl::test {
namespace {

[[noreturn]] void wrong(const std::string &what)
{
    std::fprintf(stderr, "fixture: %s\n", what.c_str());
    std::abort();
}

std::vector<std::string> words_of(std::string_view text)
{
    std::istringstream lines{std::string(text)};
    std::vector<std::string> words;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream rest(line.substr(0, line.find("//")));
        for (std::string word; rest >> word;)
            words.push_back(word);
    }
    return words;
}

std::size_t width_named(const std::string &word)
{
    return word == "u8" ? 1 : word == "u16" ? 2 : word == "u32" ? 4 : word == "u64" ? 8 : 0;
}

bool is_hex_byte(const std::string &word)
{
    return word.size() == 2 && std::isxdigit(word[0]) != 0 && std::isxdigit(word[1]) != 0;
}

class assembler {
  public:
    explicit assembler(reference::order byte_order) : order_(byte_order) {}

    /// Called twice: the first time labels are still unknown.
    void run(const std::vector<std::string> &words)
    {
        out_.clear();
        for (std::size_t i = 0; i < words.size(); ++i) {
            const std::string &word = words[i];
            if (word.back() == ':') {
                labels_[word.substr(0, word.size() - 1)] = out_.size();
            } else if (word == "bytes") {
                while (i + 1 < words.size() && is_hex_byte(words[i + 1]))
                    out_.push_back(static_cast<std::uint8_t>(std::stoul(words[++i], nullptr, 16)));
            } else if (i + 1 == words.size()) {
                wrong("nothing follows " + word);
            } else if (word == "zeros") {
                out_.resize(out_.size() + value_of(words[++i]));
            } else if (const std::size_t width = width_named(word)) {
                const std::uint64_t value = value_of(words[++i]);
                out_.resize(out_.size() + width);
                reference::store(&out_[out_.size() - width], value, width, order_);
            } else {
                wrong("what is " + word);
            }
        }
        labels_["end"] = out_.size();
        ++pass_;
    }

    const reference::bytes &out() const { return out_; }

  private:
    std::uint64_t term(const std::string &text) const
    {
        if (std::isdigit(text[0]) != 0)
            return std::stoull(text, nullptr, 0);
        const auto found = labels_.find(text);
        if (found == labels_.end() && pass_ != 0)
            wrong("no label " + text);
        return found == labels_.end() ? 0 : found->second;
    }

    std::uint64_t value_of(const std::string &text) const
    {
        std::uint64_t value = 0;
        bool plus = true;
        std::size_t at = 0;
        if (text[0] == '@') {
            value = 0 - out_.size();
            at = 1;
        }
        while (at < text.size()) {
            const std::size_t end = std::min(text.find_first_of("+-", at), text.size());
            const std::uint64_t t = end == at ? 0 : term(text.substr(at, end - at));
            value = plus ? value + t : value - t;
            plus = end < text.size() && text[end] == '+';
            at = end + 1;
        }
        return value;
    }

    reference::order order_;
    reference::bytes out_;
    std::map<std::string, std::uint64_t> labels_;
    int pass_ = 0;
};

} // namespace

reference::bytes buffer_of(std::string_view text, reference::order byte_order)
{
    const std::vector<std::string> words = words_of(text);
    assembler a(byte_order);
    a.run(words);
    a.run(words);
    return a.out();
}

} // namespace vorl::test
