// Messages that a capture describes, and this tool does not know.
#pragma once

#include "capture/description.h"

namespace vorl::capture {

/// Has the catalogue know the message, so that its frames are read as those of any other; unless it knows
/// the identifier already, or the message is none that a codec reads: tables of messages that are not
/// known, more than 32 within each other, elements that hold vectors, a record of more than 16 MiB, or
/// elements of a vector of more than 64 KiB.
void adopt(const description &d);

} // namespace vorl::capture
