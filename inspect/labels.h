// Names, units and forms that a file gives to slots (docs/labels.md). What a slot means is for its
// sender and its receivers to agree on, so no description says it, and nothing here reaches the wire.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/label_forms.h"

namespace vorl::inspect {

class labels {
  public:
    /// Null: the slot has no label.
    const label *label_of(const message &m, std::size_t slot) const
    {
        const auto of_message = labels_.find(m.msg_id);
        if (of_message == labels_.end())
            return nullptr;
        const auto found = of_message->second.find(slot);
        return found == of_message->second.end() ? nullptr : &found->second;
    }

    /// The slot of that label's name; nothing: no label of the message has it.
    std::optional<std::size_t> find_slot(const message &m, std::string_view name) const
    {
        const auto of_message = labels_.find(m.msg_id);
        if (of_message == labels_.end() || name.empty())
            return std::nullopt;
        for (const auto &[slot, found] : of_message->second) {
            if (found.name == name)
                return slot;
        }
        return std::nullopt;
    }

    void set(const message &m, std::size_t slot, label given)
    {
        labels_[m.msg_id][slot] = std::move(given);
    }

  private:
    std::map<std::uint32_t, std::map<std::size_t, label>> labels_; ///< by msg_id, then slot
};

struct labels_problem {
    std::size_t line; ///< from 1
    std::string what; ///< "what is wrong; what to do", printable
};

struct labels_file {
    labels right;                         ///< those with which nothing is wrong
    std::vector<labels_problem> problems; ///< in the order of the file
};

/// Longer files are refused.
inline constexpr std::size_t longest_labels_file = std::size_t{1} << 20;

/// Reads the text of a labels file. A slot with which something is wrong gets no label; a file that
/// is not TOML, or of another version, gives none.
labels_file read_labels(std::string text);

} // namespace vorl::inspect
