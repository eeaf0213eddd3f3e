// What `idlc compat` prints. docs/evolution.md has both forms.
#pragma once

#include <string>
#include <vector>

#include "compat.h"

namespace idlc {

/// How much a change has to break to be a break.
enum class strictness : std::uint8_t { wire, api, all };

bool is_break(const difference &d, strictness strict);

/// Three lines and a fourth where there is something to do, each ended by a line feed.
std::string report(const difference &d);

/// One JSON object and a line feed.
std::string report_json(const std::vector<difference> &found, strictness strict);

} // namespace idlc
