// hostile_cost [MESSAGE]: the worst time of __unpack for its input that a search finds, message by
// message: nanoseconds, and the bytes in and allocated of that input. It tries every form of the
// message, whole, cut and damaged, and every vector or array of tables with all offsets leading to
// one table. Times are the least of several, the release included, through the shared library and
// with malloc. ./dev hostile-cost runs it.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "tests/codec/support/hostile.h"

namespace vorl::test {
namespace {

/// Small inputs cost a call whatever they hold; a rate means something from here on.
constexpr std::size_t least_input = 64;
constexpr std::uint64_t most_memory = std::uint64_t{512} << 20;

struct cost {
    double ns = 0;
    std::size_t input = 1;
    std::string what;
    double rate() const { return ns / static_cast<double>(input); }
};

double time_of(const message &m, const bytes &input, void *record)
{
    using clock = std::chrono::steady_clock;
    double least = 1e18;
    std::uint32_t calls = 1;
    for (int i = 0; i < 7; ++i) {
        const auto begin = clock::now();
        for (std::uint32_t n = 0; n < calls; ++n) {
            functions_of(m).unpack(input.data(), static_cast<std::int32_t>(input.size()), record);
            functions_of(m).free_unpacked(record);
        }
        const double ns =
            std::chrono::duration<double, std::nano>(clock::now() - begin).count() / calls;
        least = std::min(least, ns);
        if (i == 0)
            calls = static_cast<std::uint32_t>(std::clamp(20000 / ns, 1.0, 2000.0));
    }
    return least;
}

class search {
  public:
    explicit search(const message &m) : m_(m), record_((m.record_size + 7) / 8) {}

    cost worst()
    {
        const std::pair<hostile_elements, const char *> forms[] = {
            {hostile_elements::empty, "one empty table"},
            {hostile_elements::framed, "one frame"},
            {hostile_elements::packed, "one full packed table"},
            {hostile_elements::sparse, "one sparse packed table"},
            {hostile_elements::late, "one full packed table, the last past the end"}};
        for (const auto &[elements, form] : forms) {
            for (const std::uint32_t count : {8u, 64u, 1024u, 16384u}) {
                if (count * hostile_bytes_per_word(m_) > most_memory)
                    continue;
                add("all offsets to " + std::string(form),
                    hostile_buffer(m_, count, order::little, elements));
                if (hostile_bytes_per_word(m_) == 0)
                    break;
            }
        }
        if (is_fixed_size(m_))
            add("a frame", reference::frame(m_, sample::ones(m_).data(), order::little));
        add("packed, full", reference::pack(m_, sample::ones(m_).data(), order::little));
        for (int i = 0; i < 8; ++i)
            add("packed, sparse",
                reference::pack(m_, sample::random(m_, random_).data(), order::little));
        // From the worst so far, uphill.
        for (int i = 0; i < 200 && best_input_.size() < 4096; ++i) {
            bytes damaged = best_input_;
            for (std::uint64_t n = 1 + random_() % 3; n != 0; --n)
                damaged[random_() % damaged.size()] = static_cast<std::uint8_t>(random_() % 16);
            if (random_() % 4 == 0)
                damaged.resize(std::max(least_input, random_() % (damaged.size() + 1)));
            add("damaged", damaged);
        }
        return worst_;
    }

  private:
    void add(const std::string &what, bytes input)
    {
        if (input.size() < least_input)
            input.resize(least_input); // what follows a message is not read
        cost c{0, input.size(), what};
        std::fill(record_.begin(), record_.end(), 0);
        c.ns = time_of(m_, input, record_.data());
        if (c.rate() <= worst_.rate())
            return;
        worst_ = c;
        best_input_ = std::move(input);
    }

    const message &m_;
    std::vector<std::uint64_t> record_;
    random_source random_{5};
    cost worst_;
    bytes best_input_;
};

int run(const char *only)
{
    std::vector<std::pair<const message *, cost>> costs;
    for (const message *m : all_messages()) {
        if (only == nullptr || std::strcmp(name_of(*m), only) == 0)
            costs.emplace_back(m, search(*m).worst());
        if (costs.size() % 10 == 0)
            std::fprintf(stderr, "hostile_cost: %zu of %zu messages\n", costs.size(),
                         all_messages().size());
    }
    std::sort(costs.begin(), costs.end(),
              [](const auto &a, const auto &b) { return a.second.rate() > b.second.rate(); });
    std::printf("%8s %10s %12s %11s  message: worst input found\n", "ns/byte", "bytes in", "ns",
                "bytes/byte");
    for (const auto &[m, c] : costs)
        std::printf("%8.2f %10zu %12.0f %11.1f  %s: %s\n", c.rate(), c.input, c.ns,
                    static_cast<double>(hostile_bytes_per_word(*m)) / 4, name_of(*m),
                    c.what.c_str());
    return costs.empty() ? 1 : 0;
}

} // namespace
} // namespace vorl::test

int main(int argc, char **argv) { return vorl::test::run(argc > 1 ? argv[1] : nullptr); }
