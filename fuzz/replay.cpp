// Runs a target without libFuzzer, by any compiler: every file of the directories and files named,
// and with --mutations N so many more made from each by the target's own mutator.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" {
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);
[[gnu::weak]] int LLVMFuzzerInitialize(int *argc, char ***argv);
[[gnu::weak]] std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                                  std::size_t max_size, unsigned seed);
std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t max_size);
}

namespace {

namespace fs = std::filesystem;

constexpr std::size_t longest = 20000;
std::minstd_rand blind_choice(1);

std::vector<std::uint8_t> content_of(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
        std::exit(2);
    }
    return {std::istreambuf_iterator<char>(in), {}};
}

/// A block of exactly that size, so that the sanitizers see its end.
void run(const std::vector<std::uint8_t> &input)
{
    const std::vector<std::uint8_t> exact(input.begin(), input.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

void run_mutations(const std::vector<std::uint8_t> &input, unsigned long count, unsigned &seed)
{
    const std::size_t room = std::max(longest, input.size());
    std::vector<std::uint8_t> mutated;
    for (unsigned long i = 0; i < count; ++i) {
        // From the file again every so often: changes pile up.
        if (i % 8 == 0)
            mutated = input;
        std::size_t size = mutated.size();
        mutated.resize(room);
        size = LLVMFuzzerCustomMutator(mutated.data(), size, room, ++seed);
        if (size > room) {
            std::fprintf(stderr, "the mutator passes the end of its room\n");
            std::abort();
        }
        mutated.resize(size);
        run(mutated);
    }
}

void collect(const fs::path &path, std::vector<fs::path> &files)
{
    if (!fs::is_directory(path)) {
        files.push_back(path);
        return;
    }
    for (const auto &entry : fs::recursive_directory_iterator(path)) {
        if (entry.is_regular_file())
            files.push_back(entry.path());
    }
}

} // namespace

// Without libFuzzer, a byte is changed here and there.
std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t max_size)
{
    if (size == 0 || blind_choice() % 8 == 0) {
        if (size == max_size)
            return size;
        data[size++] = static_cast<std::uint8_t>(blind_choice());
    }
    data[blind_choice() % size] = static_cast<std::uint8_t>(blind_choice());
    return size;
}

int main(int argc, char **argv)
{
    if (LLVMFuzzerInitialize != nullptr)
        LLVMFuzzerInitialize(&argc, &argv);
    unsigned long mutations = 0;
    unsigned seed = 1;
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        if (i + 1 < argc && std::strcmp(argv[i], "--mutations") == 0)
            mutations = std::strtoul(argv[++i], nullptr, 10);
        else if (i + 1 < argc && std::strcmp(argv[i], "--seed") == 0)
            seed = static_cast<unsigned>(std::strtoul(argv[++i], nullptr, 10));
        else
            collect(argv[i], files);
    }
    std::sort(files.begin(), files.end());
    if (files.empty()) {
        std::fprintf(stderr, "usage: %s [--mutations N] [--seed N] FILE-OR-DIRECTORY...\n",
                     argv[0]);
        return 2;
    }
    for (const fs::path &path : files) {
        // Standard error tells which input was running when the process ends.
        std::fprintf(stderr, "%s\n", path.c_str());
        const std::vector<std::uint8_t> input = content_of(path);
        run(input);
        if (LLVMFuzzerCustomMutator != nullptr)
            run_mutations(input, mutations, seed);
    }
    std::printf("%zu files, %lu mutations each\n", files.size(), mutations);
    return 0;
}
