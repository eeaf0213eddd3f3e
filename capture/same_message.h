// Whether what a capture says of a message is what this program knows of it.
#pragma once

#include <map>
#include <string>

#include "capture/description.h"

namespace vorl::capture {

/// Why the message of that identifier, or one that it leads to, is described otherwise than the catalogue
/// has it: "srv6_localsid_fwd has 13 slots here, and 14 in the capture". Empty: it is the same, or one of
/// both does not know it. Labels do not matter.
std::string difference_from_catalogue(std::uint32_t identifier,
                                      const std::map<std::uint32_t, description> &described);

} // namespace vorl::capture
