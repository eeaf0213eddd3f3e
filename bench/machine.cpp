#include "bench/machine.h"

#include <sched.h>

#include <fstream>
#include <map>

#include "bench/library.h"

namespace vorl::bench {
namespace {

/// What /proc/cpuinfo says of a core. Cores of one chip can differ.
std::map<std::string, std::string> about(int core)
{
    std::map<std::string, std::string> values;
    std::ifstream file("/proc/cpuinfo");
    bool is_it = false;
    for (std::string line; std::getline(file, line);) {
        const size_t colon = line.find(':');
        if (colon == 0 || colon == std::string::npos)
            continue;
        const size_t key_end = line.find_last_not_of(" \t", colon - 1);
        const size_t value = line.find_first_not_of(" \t", colon + 1);
        if (key_end == std::string::npos || value == std::string::npos)
            continue;
        const std::string key = line.substr(0, key_end + 1);
        if (key == "processor")
            is_it = line.substr(value) == std::to_string(core);
        else if (is_it)
            values.try_emplace(key, line.substr(value));
    }
    return values;
}

/// Cores of Arm's own by part number, as their manuals give it for register MIDR_EL1.
const char *arm_core(const std::string &part)
{
    static const std::map<std::string, const char *> cores = {
        {"0xd03", "Cortex-A53"},   {"0xd04", "Cortex-A35"},  {"0xd05", "Cortex-A55"},
        {"0xd07", "Cortex-A57"},   {"0xd08", "Cortex-A72"},  {"0xd09", "Cortex-A73"},
        {"0xd0a", "Cortex-A75"},   {"0xd0b", "Cortex-A76"},  {"0xd0c", "Neoverse N1"},
        {"0xd0d", "Cortex-A77"},   {"0xd40", "Neoverse V1"}, {"0xd41", "Cortex-A78"},
        {"0xd42", "Cortex-A78AE"}, {"0xd46", "Cortex-A510"}, {"0xd49", "Neoverse N2"},
        {"0xd4b", "Cortex-A78C"},  {"0xd4f", "Neoverse V2"}};
    const auto found = cores.find(part);
    return found != cores.end() ? found->second : nullptr;
}

} // namespace

std::string processor(int core)
{
    std::map<std::string, std::string> values = about(core);
    if (values.contains("CPU part")) {
        const char *name =
            values["CPU implementer"] == "0x41" ? arm_core(values["CPU part"]) : nullptr;
        return std::string(name != nullptr ? name : "AArch64") + " (implementer " +
               values["CPU implementer"] + ", part " + values["CPU part"] + ")";
    }
    if (!values.contains("model name"))
        return "unknown processor";
    std::string name = values["model name"] + " (family " + values["cpu family"] + ", model " +
                       values["model"] + ")";
#ifdef __aarch64__
    name = "emulator on " + name; // which shows its host's
#endif
    return name;
}

size_t cache_size(int level)
{
    for (int index = 0; index < 8; ++index) {
        const std::string directory =
            "/sys/devices/system/cpu/cpu0/cache/index" + std::to_string(index) + "/";
        int found = 0;
        size_t size = 0;
        std::string type;
        char unit = ' ';
        if (!(std::ifstream(directory + "level") >> found) || found != level ||
            !(std::ifstream(directory + "type") >> type) || type == "Instruction" ||
            !(std::ifstream(directory + "size") >> size >> unit))
            continue;
        return unit == 'K' ? size << 10 : unit == 'M' ? size << 20 : size;
    }
    return 0;
}

int stay_on_one_core()
{
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        give_up("cannot tell", "the cores allowed");
    int last = 0;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &allowed))
            last = cpu;
    }
    CPU_ZERO(&allowed);
    CPU_SET(last, &allowed);
    if (sched_setaffinity(0, sizeof allowed, &allowed) != 0)
        give_up("cannot stay on", "one core");
    return last;
}

} // namespace vorl::bench
