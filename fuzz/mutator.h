// Changes to a message's bytes that a reader's checks are about, beside those that libFuzzer makes
// to any bytes.
#pragma once

#include <random>

#include "fuzz/message_input.h"

namespace vorl::fuzz {

/// libFuzzer's, and in a replay a plain one.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t max_size);

using choice = std::minstd_rand; ///< made from a seed at every call, so it must be quick to make

/// A new record of the message, written as one writer or another would.
bytes fresh_content(const message &m, order o, choice &random);

/// One change; the bytes grow to `max_size` at most.
void change(const message &m, order o, bytes &content, std::size_t max_size, choice &random);

/// LLVMFuzzerMutate of all bytes.
void change_blindly(bytes &content, std::size_t max_size);

} // namespace vorl::fuzz
