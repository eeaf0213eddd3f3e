// The static probes of a library's file, as its notes have them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorl::test {

struct probe_site {
    std::string provider;
    std::string name;
    std::uint64_t location; ///< of the instruction, as the file has addresses
    std::uint64_t semaphore;
    std::vector<std::string> arguments; ///< "4@%edi", "8@x1", "4@$0"
};

/// By readelf, in the order of the file.
std::vector<probe_site> probe_sites(const std::string &readelf, const std::string &library);

} // namespace vorl::test
