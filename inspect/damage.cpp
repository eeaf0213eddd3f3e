#include "inspect/damage.h"

#include <array>
#include <cstdio>

namespace vorl::inspect {

std::string offset_text(std::uint64_t offset)
{
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "0x%04llx", static_cast<unsigned long long>(offset));
    return text.data();
}

std::string to_text(const damage &d)
{
    return "offset " + offset_text(d.at) + (d.member.empty() ? "" : ", " + d.member) + ": " +
           d.what;
}

} // namespace vorl::inspect
