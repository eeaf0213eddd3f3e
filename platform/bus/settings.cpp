#include "platform/bus/settings.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vorl::bus {
namespace {

/// The number in a variable; `otherwise` when it is not set, or empty.
uint64_t number_in(const char *name, uint64_t least, uint64_t most, uint64_t otherwise)
{
    const char *text = getenv(name);
    if (text == nullptr || *text == '\0')
        return otherwise;
    uint64_t number = 0;
    const char *const end = text + strlen(text);
    const auto [stop, error] = std::from_chars(text, end, number);
    if (error != std::errc() || stop != end || number < least || number > most)
        throw bad_setting(std::string(name) + " is \"" + text + "\"; give a whole number from " +
                          std::to_string(least) + " to " + std::to_string(most) + ", or unset it");
    return number;
}

[[noreturn]] void refuse_directory(const std::string &directory, const char *why)
{
    throw bad_setting("the directory " + directory + " cannot be used: " + why +
                      "; set VORL_BUS_DIR to one that is there or can be made");
}

} // namespace

std::chrono::milliseconds send_timeout()
{
    constexpr uint64_t usual_ms = 10'000;
    constexpr uint64_t a_day_ms = 86'400'000;
    return std::chrono::milliseconds(number_in("VORL_BUS_TIMEOUT_MS", 1, a_day_ms, usual_ms));
}

uint64_t failing_send() { return number_in("VORL_BUS_FAIL", 0, UINT64_MAX, 0); }

std::string path_of(uint32_t dest, const char *suffix)
{
    const char *named = getenv("VORL_BUS_DIR");
    const bool is_named = named != nullptr && *named != '\0';
    const std::string directory = is_named ? named : "/tmp/vorl-bus-" + std::to_string(geteuid());
    if (mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
        refuse_directory(directory, strerror(errno));
    struct stat found {};
    if (is_named ? stat(directory.c_str(), &found) != 0 : lstat(directory.c_str(), &found) != 0)
        refuse_directory(directory, strerror(errno));
    if (!S_ISDIR(found.st_mode))
        refuse_directory(directory, strerror(ENOTDIR));
    // /tmp is everybody's: somebody else may have made the directory first.
    if (!is_named && (found.st_uid != geteuid() || (found.st_mode & 0077) != 0))
        refuse_directory(directory, "it is not this user's alone");
    std::string path = directory + "/" + std::to_string(dest) + suffix;
    if (path.size() >= sizeof(sockaddr_un::sun_path))
        refuse_directory(directory, strerror(ENAMETOOLONG));
    return path;
}

sockaddr_un address_of(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.c_str(), path.size());
    return address;
}

} // namespace vorl::bus
