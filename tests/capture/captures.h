// Captures as texts, written and read.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "capture/capture_read.h"
#include "capture/pcapng_write.h"

namespace vorl::test {

using capture::bytes;

/// What is written ends up in `text`.
class written_capture {
  public:
    std::string text;
    capture::pcapng_writer to{
        [this](std::span<const std::uint8_t> block) { text.append(block.begin(), block.end()); },
        "vorl test"};
};

struct read_outcome {
    std::vector<capture::captured> found;
    std::map<std::uint32_t, capture::description> descriptions;
    std::vector<capture::pcapng_interface> interfaces;
    std::vector<std::string> notes;
    std::string error; ///< empty: none
    std::uint64_t refused = 0;
};

inline read_outcome read_capture(const std::string &text, std::uint64_t largest = 0x7FFFFFFF)
{
    std::istringstream in(text);
    read_outcome outcome;
    capture::capture_reader reader(
        in, largest, [&outcome](const std::string &note) { outcome.notes.push_back(note); });
    try {
        while (std::optional<capture::captured> next = reader.next())
            outcome.found.push_back(std::move(*next));
    } catch (const capture::capture_error &error) {
        outcome.error = error.what();
    }
    outcome.descriptions = reader.descriptions();
    outcome.interfaces = reader.interfaces();
    outcome.refused = reader.refused();
    return outcome;
}

/// Bytes that tell their place.
inline bytes pattern(std::size_t size)
{
    bytes all(size);
    for (std::size_t i = 0; i < size; ++i)
        all[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    return all;
}

inline capture::frame frame_of(std::uint64_t number, const bytes &content)
{
    capture::frame f;
    f.facts.time = 1'700'000'000'123'456'789 + number;
    f.facts.way = capture::direction::sent;
    f.facts.known = capture::destination_known | capture::result_known | capture::identifier_known;
    f.facts.process = 4711;
    f.facts.thread = 4712;
    f.facts.destination = 7;
    f.facts.identifier = 0xB7B345A9;
    f.facts.length = static_cast<std::uint32_t>(content.size());
    f.facts.number = number;
    f.kept = content;
    return f;
}

} // namespace vorl::test
