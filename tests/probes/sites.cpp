#include "tests/probes/sites.h"

#include <regex>
#include <sstream>
#include <stdexcept>

#include "tests/support/run.h"

namespace vorl::test {

std::vector<probe_site> probe_sites(const std::string &readelf, const std::string &library)
{
    const outcome listing = run(".", "LC_ALL=C '" + readelf + "' --wide --notes '" + library + "'");
    if (listing.status != 0 || !listing.err.empty())
        throw std::runtime_error("readelf --notes " + library + ": " + listing.err);
    // The first of a probe's lines begins with the note's owner.
    const std::regex member(R"(.*\b(Provider|Name|Location|Arguments): (.*))");
    const std::regex addresses(R"(0x([0-9a-f]+), Base: 0x[0-9a-f]+, Semaphore: 0x([0-9a-f]+))");
    std::vector<probe_site> sites;
    for (const std::string &line : lines_of(listing.out)) {
        std::smatch found;
        if (!std::regex_match(line, found, member))
            continue;
        const std::string value = found[2];
        if (found[1] == "Provider")
            sites.push_back({value, "", 0, 0, {}});
        if (sites.empty())
            throw std::runtime_error("readelf --notes " + library + ": no provider before " + line);
        probe_site &site = sites.back();
        if (found[1] == "Name") {
            site.name = value;
        } else if (found[1] == "Location") {
            std::smatch at;
            if (!std::regex_match(value, at, addresses))
                throw std::runtime_error("readelf --notes " + library + ": " + line);
            site.location = std::stoull(at[1], nullptr, 16);
            site.semaphore = std::stoull(at[2], nullptr, 16);
        } else if (found[1] == "Arguments") {
            std::istringstream words(value);
            for (std::string word; words >> word;)
                site.arguments.push_back(word);
        }
    }
    return sites;
}

} // namespace vorl::test
