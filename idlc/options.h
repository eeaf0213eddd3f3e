// What a command is called with.
#pragma once

#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "faults.h"

namespace idlc {

/// "what is wrong; what to do": the call is wrong, and ends with status 2.
class usage_error : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum : int { status_done = 0, status_refused = 1, status_usage = 2 };

/// The arguments of a command, one after another: "--name VALUE", "--name=VALUE" and names of files.
/// Behind "--" are names only.
class arguments {
  public:
    /// `known` are all options of the command, for those who misspell one.
    arguments(std::span<const std::string> given, std::vector<std::string_view> known)
        : given_(given), known_(std::move(known))
    {}
    /// False: there is none any more.
    bool next();
    bool is_option() const { return is_option_; }
    /// Of an option its name, "--check"; otherwise the argument.
    const std::string &text() const { return text_; }
    /// The value of the option at hand. Throws usage_error where there is none.
    std::string value();
    /// From `least` to `most`.
    std::size_t number(std::size_t least, std::size_t most);
    /// One of them.
    std::string choice(std::span<const std::string_view> choices);
    /// For an option that is none, or one that takes no value and has one.
    [[noreturn]] void refuse() const;
    /// To be called for an option that takes no value.
    void refuse_value() const;

  private:
    std::span<const std::string> given_;
    std::vector<std::string_view> known_;
    std::size_t at_ = 0;
    std::string text_;
    std::string value_;
    bool has_value_ = false;
    bool is_option_ = false;
    bool are_names_only_ = false;
};

/// How faults are shown; options of every command.
struct showing {
    static constexpr std::string_view options[] = {"--color", "--max-errors"};

    std::string colour = "auto";
    std::size_t most = faults::usually_shown;

    /// False: the option at hand is another.
    bool take(arguments &from);
    /// Writes them to standard error.
    void show(const faults &found, std::span<const source> sources) const;
};

/// Says on standard error what is wrong with the call, and returns its exit status.
int refuse_call(const std::string &command, const std::string &what);

} // namespace idlc
