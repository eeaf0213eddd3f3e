#include "tests/codec/support/facts.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace vorl::test {
namespace {

fact read_fact(const char *message, std::uint32_t msg_id, std::size_t record_size,
               std::uint32_t frame_length, std::uint32_t table_length, const char *slots)
{
    fact f{message, msg_id, record_size, frame_length, table_length, {}};
    std::istringstream words(slots);
    for (std::string word; words >> word;) {
        const std::size_t at = word.find('@');
        f.slots.push_back(
            {word.substr(0, at), static_cast<std::uint32_t>(std::stoul(word.substr(at + 1)))});
    }
    return f;
}

} // namespace

const std::vector<fact> &facts()
{
    static const std::vector<fact> list = {
#define FACT(message, ...) read_fact(#message, __VA_ARGS__),
#include "tests/facts/messages.inc"
#undef FACT
    };
    return list;
}

const fact *find_fact(const std::string &message)
{
    for (const fact &f : facts()) {
        if (f.message == message)
            return &f;
    }
    return nullptr;
}

const fact &fact_of(const std::string &message)
{
    const fact *f = find_fact(message);
    if (f == nullptr)
        throw std::logic_error(message + " is not in tests/facts/messages.inc; run ./dev regen");
    return *f;
}

bool leads_elsewhere(const fact &f)
{
    return std::any_of(f.slots.begin(), f.slots.end(), [](const slot_fact &s) {
        return s.type.find("table") != std::string::npos ||
               s.type.find("vector") != std::string::npos;
    });
}

} // namespace vorl::test
