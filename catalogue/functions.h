// The exported functions of a message or a package whose name is known at run time only, looked up
// by name in a library or a program.
#pragma once

#include <cstdint>

#include "catalogue/catalogue.h"

namespace vorl::catalogue {

/// The seven functions of a message, with records as untyped addresses.
struct message_functions {
    std::uint32_t (*pack)(const void *in, void *buf, std::uint32_t *inout_len);
    std::uint32_t (*unpack)(const void *buf, std::int32_t len, void *out);
    void (*free_unpacked)(void *rec);
    std::uint32_t (*sendsingle)(std::uint32_t dest, const void *rec, std::uint32_t ignored,
                                std::uint64_t to);
    std::uint32_t (*sendbatch)(std::uint32_t dest, const void *recs, std::uint32_t count,
                               std::uint64_t to);
    std::uint32_t (*sendmsg)(std::uint32_t dest, const void *recs, std::uint32_t count);
    std::uint32_t (*sendtomsg)(std::uint32_t dest, const void *recs, std::uint32_t count,
                               std::uint64_t to);
};

/// The three functions of a package.
struct package_functions {
    std::uint32_t (*recv_init)();
    std::uint32_t (*send_init)();
    void (*send_resource_clean)();
};

/// `library` is a handle from dlopen, or RTLD_DEFAULT for the program itself and the libraries it
/// is linked with. Both throw std::runtime_error with the name of a function that is missing.
message_functions functions_of(const message &m, void *library);
package_functions functions_of(const package_info &p, void *library);

} // namespace vorl::catalogue
