// What differs, as text or as JSON lines.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/vorl/diff/compare.h"
#include "tools/vorl/diff/keys.h"

namespace vorl::diff {

/// Whose items are compared.
struct lane {
    std::uint32_t identifier = 0;
    std::size_t sender = 0; ///< its number, from 1; 0: nothing is known of senders
    capture::direction way = capture::direction::sent;

    auto operator<=>(const lane &) const = default;
};

struct totals {
    std::uint64_t compared = 0; ///< pairs
    std::uint64_t different = 0;
    std::uint64_t only_a = 0;
    std::uint64_t only_b = 0;
    std::uint64_t not_compared = 0; ///< behind the damage of the other input
};

/// Throws std::runtime_error when standard output cannot be written.
class report {
  public:
    report(std::string name_a, std::string name_b, bool as_json, const keys &by,
           const inspect::labels *names)
        : name_a_(std::move(name_a)), name_b_(std::move(name_b)), as_json_(as_json), keys_(by),
          names_(names)
    {}

    void different(const lane &in, const opened &a, const opened &b,
                   const std::vector<difference> &where);
    /// Of one side alone.
    void only(const lane &in, const opened &there, bool is_in_a);
    void finish(const totals &counted);

  private:
    void begin();
    std::string title(const lane &in, const opened &of) const;
    std::string head(const lane &in, const opened &of) const;
    std::vector<keys::part> key_of(const opened &of) const;
    std::string content_of(const opened &of) const;
    void write(const std::string &text);

    std::string name_a_, name_b_;
    bool as_json_;
    const keys &keys_;
    const inspect::labels *names_;
    bool has_begun_ = false;
};

} // namespace vorl::diff
