// The facts of a message, by its name.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "tests/facts/message_facts.h"

namespace vorl::test {

constexpr const message_fact *find_fact(std::string_view name)
{
    for (const message_fact &fact : message_facts) {
        if (fact.name == name)
            return &fact;
    }
    return nullptr;
}

inline const message_fact &fact_of(std::string_view name)
{
    const message_fact *fact = find_fact(name);
    if (fact == nullptr)
        throw std::logic_error(std::string(name) +
                               " is not in tests/facts/messages.inc; run ./dev regen");
    return *fact;
}

} // namespace vorl::test
