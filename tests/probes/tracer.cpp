#include "tests/probes/tracer.h"

#include <dlfcn.h>
#include <signal.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <stdexcept>
#include <utility>

namespace vorl::test {
namespace {

std::map<std::uint64_t, probe_site> by_address;
std::vector<probe_hit> hits;

#if defined(__x86_64__)
constexpr unsigned char nop[] = {0x90};
constexpr unsigned char breakpoint[] = {0xCC};

/// The processor has gone on behind the breakpoint, which is as long as the instruction was.
std::uint64_t reached(ucontext_t &at) { return std::uint64_t(at.uc_mcontext.gregs[REG_RIP]) - 1; }
void go_on(ucontext_t &) {}

std::uint64_t value_of(const ucontext_t &at, std::string place)
{
    if (place.starts_with("$"))
        return static_cast<std::uint64_t>(std::stoll(place.substr(1)));
    static const std::map<std::string, int> numbers = {
        {"ax", REG_RAX}, {"bx", REG_RBX}, {"cx", REG_RCX}, {"dx", REG_RDX}, {"si", REG_RSI},
        {"di", REG_RDI}, {"bp", REG_RBP}, {"8", REG_R8},   {"9", REG_R9},   {"10", REG_R10},
        {"11", REG_R11}, {"12", REG_R12}, {"13", REG_R13}, {"14", REG_R14}, {"15", REG_R15}};
    // %eax and %rax, %r8d and %r8
    if (place.back() == 'd' && place.starts_with("%r"))
        place.pop_back();
    return std::uint64_t(at.uc_mcontext.gregs[numbers.at(place.substr(2))]);
}
#elif defined(__aarch64__)
constexpr unsigned char nop[] = {0x1F, 0x20, 0x03, 0xD5};
constexpr unsigned char breakpoint[] = {0x00, 0x00, 0x20, 0xD4}; // brk #0

std::uint64_t reached(ucontext_t &at) { return at.uc_mcontext.pc; }
void go_on(ucontext_t &at) { at.uc_mcontext.pc += sizeof nop; }

std::uint64_t value_of(const ucontext_t &at, const std::string &place)
{
    if (place[0] == 'w' || place[0] == 'x')
        return at.uc_mcontext.regs[std::stoul(place.substr(1))];
    return static_cast<std::uint64_t>(std::stoll(place));
}
#endif

/// "4@%edi": four bytes, in that register; "-4@%edi": with a sign.
std::uint64_t argument(const ucontext_t &at, const std::string &text)
{
    const std::size_t middle = text.find('@');
    const std::uint64_t value = value_of(at, text.substr(middle + 1));
    const std::string size = text.substr(0, middle);
    if (size == "4")
        return static_cast<std::uint32_t>(value);
    if (size == "8")
        return value;
    throw std::logic_error("an argument of another size than the library has: " + text);
}

void take(int, siginfo_t *, void *context)
{
    auto &at = *static_cast<ucontext_t *>(context);
    const auto site = by_address.find(reached(at));
    if (site == by_address.end())
        abort(); // not a breakpoint of this tracer
    probe_hit hit = {site->second.name, {}};
    for (const std::string &text : site->second.arguments)
        hit.arguments.push_back(argument(at, text));
    hits.push_back(std::move(hit));
    go_on(at);
}

void put_breakpoint(std::uint64_t address)
{
    auto *const code = reinterpret_cast<unsigned char *>(address);
    if (std::memcmp(code, nop, sizeof nop) != 0)
        throw std::runtime_error("the instruction of a probe does something");
    const auto page_size = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    auto *const page = reinterpret_cast<void *>(address / page_size * page_size);
    // An instruction may go on in the next page.
    if (mprotect(page, 2 * page_size, PROT_READ | PROT_WRITE) != 0)
        throw std::runtime_error("the code cannot be written to");
    std::memcpy(code, breakpoint, sizeof breakpoint);
    if (mprotect(page, 2 * page_size, PROT_READ | PROT_EXEC) != 0)
        throw std::runtime_error("the code cannot be run any more");
    __builtin___clear_cache(reinterpret_cast<char *>(code),
                            reinterpret_cast<char *>(code + sizeof breakpoint));
}

} // namespace

void attach_to(const void *function, const std::vector<probe_site> &sites)
{
    Dl_info library;
    if (dladdr(function, &library) == 0)
        throw std::runtime_error("the function is of no library");
    struct sigaction action = {};
    action.sa_sigaction = take;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGTRAP, &action, nullptr);
    for (const probe_site &site : sites) {
        const auto address = reinterpret_cast<std::uint64_t>(library.dli_fbase) + site.location;
        by_address[address] = site;
        put_breakpoint(address);
    }
}

std::vector<probe_hit> take_hits() { return std::exchange(hits, {}); }

} // namespace vorl::test
