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

std::string path_text(const std::string &member, const std::string &label)
{
    return label.empty() || label == member ? member : member + " (" + label + ")";
}

std::string to_text(const damage &d)
{
    const std::string path = path_text(d.member, d.label);
    return "offset " + offset_text(d.at) + (path.empty() ? "" : ", " + path) + ": " + d.what;
}

} // namespace vorl::inspect
