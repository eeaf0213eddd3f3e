// Two items of one message, member by member.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "inspect/labels.h"
#include "inspect/decoded_record.h"
#include "tools/vorl/diff/given.h"
#include "tools/vorl/diff/item.h"
#include "tools/vorl/json_record.h"

namespace vorl::diff {

/// What a side has of a member.
struct state {
    enum class kind : std::uint8_t {
        absent, ///< not given, which reads as zero
        zero,   ///< given as zero, or of a vector without an element
        value,
        unknown, ///< there is something, and nobody knows what it says
    };
    kind is = kind::absent;
    std::string text; ///< JSON; of what is unknown: why
};

const char *name_of(state::kind k);

struct difference {
    std::string member; ///< its path, "f1[3].f6"; empty: the whole frame
    state a, b;
};

/// An item as a record. Its item, and the labels (null: none), have to outlive this.
class opened {
  public:
    opened(const item &from, const inspect::labels *names);
    opened(const opened &) = delete;
    opened &operator=(const opened &) = delete;

    /// Null: the bytes are no whole record, for which there is a reason.
    const std::uint8_t *record() const { return record_; }
    const std::string &why_not() const { return why_not_; }
    const message *type() const { return type_; } ///< null: not known
    const given &members() const { return members_; }
    const item &from() const { return from_; }

  private:
    const item &from_;
    const message *type_ = nullptr;
    std::unique_ptr<decoded_record> decoded_; ///< of a frame
    std::optional<json::record> parsed_;      ///< of a line of JSON
    json::node object_;
    const std::uint8_t *record_ = nullptr;
    given members_;
    std::string why_not_;
};

/// They are the same bytes, or the same line.
bool is_same(const item &a, const item &b);

/// Where two items of one identifier differ. `is_strict`: absent is not zero.
std::vector<difference> compare(const opened &a, const opened &b, bool is_strict,
                                const inspect::labels *names);

} // namespace vorl::diff
