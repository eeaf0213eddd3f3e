// Where rings are: in one directory, a file a process. Of libc and headers alone, as capture/ring.h.
#pragma once

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace vorl::ring {

inline constexpr const char *directory_variable = "VORL_TAP_DIR";
inline constexpr const char *size_variable = "VORL_TAP_BYTES";
inline constexpr const char *cap_variable = "VORL_TAP_TOTAL_BYTES";

/// What processes to come obey, a ring::control.
inline constexpr const char *control_file = "control";
inline constexpr const char *ring_suffix = ".ring";

/// The directory that VORL_TAP_DIR names, or else the user's own, in memory. False: the name is too long.
inline bool directory_name(char *to, size_t room, bool &is_named)
{
    const char *const named = getenv(directory_variable);
    is_named = named != nullptr && *named != '\0';
    const int length = is_named ? snprintf(to, room, "%s", named)
                                : snprintf(to, room, "/dev/shm/vorl-tap-%u", geteuid());
    return length >= 0 && static_cast<size_t>(length) < room;
}

/// "4711-0.ring"; the second number tells programs apart that a process ran one after the other.
inline bool is_ring_name(const char *name)
{
    const size_t length = strlen(name), suffix = strlen(ring_suffix);
    return length > suffix && *name >= '0' && *name <= '9' &&
           strcmp(name + length - suffix, ring_suffix) == 0;
}

} // namespace vorl::ring
