// By which members records are found again: "srv6_localsid_fwd=f0,f5".
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "inspect/labels.h"
#include "serial/slot.h"

namespace vorl::diff {

class keys {
  public:
    /// The labels (null: none) have to outlive this. Throws wrong_usage.
    keys(const std::vector<std::string> &texts, const inspect::labels *names);

    bool has(std::uint32_t identifier) const { return of_message_.contains(identifier); }

    /// The same for records whose key members are the same, and for no others.
    std::string key_of(const message &m, const std::uint8_t *record) const;

    struct part {
        std::string member; ///< its path
        std::string value;  ///< JSON
    };
    std::vector<part> parts_of(const message &m, const std::uint8_t *record) const;

  private:
    struct member {
        std::string path;
        std::vector<std::size_t> slots; ///< of the message, of the table that it leads to, ...
    };

    void add(const std::string &text);
    member find(const message &m, const std::string &path) const;
    template <class Take>
    void each(const message &m, const std::uint8_t *record, Take take) const;

    const inspect::labels *names_;
    std::map<std::uint32_t, std::vector<member>> of_message_;
};

} // namespace vorl::diff
