// The exported functions of the shared library that the program is linked with.
#include <dlfcn.h>

#include "bench/library.h"

namespace vorl::bench {

message_functions functions_of(const message &m)
{
    return catalogue::functions_of(m, RTLD_DEFAULT);
}

} // namespace vorl::bench
