// The bus's environment variables. A value that cannot be is refused: it was set for a reason, and
// what was meant is not known.
#pragma once

#include <stdint.h>

#include <chrono>
#include <stdexcept>
#include <string>

#include <sys/un.h>

namespace vorl::bus {

/// "VORL_BUS_X is ...; what to do".
class bad_setting : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// VORL_BUS_TIMEOUT_MS: 1 to 86,400,000, a day; 10,000 when it is not set. Throws bad_setting.
std::chrono::milliseconds send_timeout();

/// VORL_BUS_FAIL: the number of the send that fails, from 1; 0, as when it is not set: none.
/// Throws bad_setting.
uint64_t failing_send();

/// "<directory>/<dest><suffix>", of VORL_BUS_DIR or /tmp/vorl-bus-<uid>; makes the directory when
/// it is missing. Throws bad_setting when it cannot be made, when the default one is not this
/// user's alone, or when the path is too long for a socket.
std::string path_of(uint32_t dest, const char *suffix);

/// The address of a path that path_of gave.
sockaddr_un address_of(const std::string &path);

} // namespace vorl::bus
