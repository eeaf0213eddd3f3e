// The bytes that the send functions put on the bus, without the bus.
//
// A frame writer is not exported, so the way to a frame is to send it. The program that links this
// defines VORL_SendMsg and VORL_SendToMsg itself; a program's own symbols come before those of the
// libraries. Both pass every call on to the next definition, which is the platform's bus, but for
// calls made by a thread inside capture_frame.
#pragma once

#include "tools/vorl/bytes_text.h"
#include "catalogue/catalogue.h"

namespace vorl {

/// The frame of one record. Empty: the library could not encode it.
bytes capture_frame(const catalogue::message_info &type, const void *record);

/// What __pack makes of it. Empty: the library could not encode it.
bytes pack_record(const catalogue::message_info &type, const void *record);

} // namespace vorl
