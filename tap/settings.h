// Where rings are and how large, by the environment and the directory.
#pragma once

#include <limits.h>

#include "capture/ring.h"

namespace vorl::tap {

struct settings {
    char directory[PATH_MAX - 64]; ///< a file's name fits behind it
    bool is_named;                 ///< by VORL_TAP_DIR; otherwise it has to be this user's alone
    uint64_t size;                 ///< of a ring's entries
    uint64_t cap;                  ///< of all rings of the directory
};

/// Null: right. Otherwise the variable that is wrong, and what it may be.
const char *read_settings(settings &to);

/// Makes the directory, where it is missing, and opens it. -1: `why` says why not.
int open_directory(const settings &of, const char *&why);

/// Null: with a ring of so many bytes more, those of the directory stay within the cap. Otherwise what is wrong,
/// and what to do.
const char *why_no_room(int directory, const settings &of, uint64_t bytes);

/// What `vorl tap on` and `off` have said to processes to come. On, without a filter, where they have
/// said nothing.
void read_control(int directory, ring::control &to);

} // namespace vorl::tap
