// Which members of a table its sender gave: of a frame, those with an entry in the vtable; of an object of
// JSON, those that it names.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/labels.h"
#include "serial/slot.h"
#include "tools/vorl/json_node.h"

namespace vorl::diff {

class given {
  public:
    /// No member: the table is not there.
    given() = default;
    /// The root table of a frame that a reader accepts as that message. The bytes have to outlive this.
    explicit given(std::string_view frame);
    /// The object has to outlive this, as have the labels (null: none).
    given(const json::node &object, const inspect::labels *names) : object_(&object), names_(names)
    {}

    bool has(const message &m, std::size_t slot) const;

    /// Of the table that a slot leads to, or of its element of that number. No member, where there is none.
    given table(const message &m, std::size_t slot, std::size_t element) const;

    /// Slots of a frame's table that the message, as it is known here, does not have. The first ones, if
    /// there are more than a message can have.
    std::vector<std::size_t> unknown_slots(const message &m) const;

  private:
    given(std::string_view frame, std::uint32_t table);

    std::uint32_t word(std::uint32_t at) const;
    std::uint32_t entry(std::size_t slot) const;
    const json::node *member(const message &m, std::size_t slot) const;

    std::string_view frame_;
    std::uint32_t table_ = 0;
    std::uint32_t vtable_ = 0;
    std::uint32_t vtable_length_ = 0;
    const json::node *object_ = nullptr;
    const inspect::labels *names_ = nullptr;
};

} // namespace vorl::diff
