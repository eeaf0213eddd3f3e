// vorl explain: what each byte of a frame is, and why a receiver refuses it.
#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "capture/frame.h"
#include "inspect/explain_text.h"
#include "inspect/guess.h"
#include "tools/vorl/commands.h"
#include "tools/vorl/explain_json.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/frame_file.h"
#include "tools/vorl/labels_file.h"

namespace vorl::commands {
namespace {

constexpr std::size_t most_candidates = 10; // of 115

/// Why a candidate stands where it does in the list.
std::string merits(const inspect::candidate &c)
{
    std::string text = c.is_as_written   ? "exactly what this library writes"
                       : c.has_its_slots ? "its number of slots"
                                         : "another number of slots";
    if (c.stray != 0)
        text += ", " + std::to_string(c.stray) + " bytes that are nothing of it";
    return text + (c.why_not ? ", refused at " + to_text(*c.why_not) : "");
}

void write_guesses(const bytes &frame, const std::string &place)
{
    const std::vector<inspect::candidate> found = inspect::guess(frame);
    const auto accepting = std::count_if(found.begin(), found.end(),
                                         [](const inspect::candidate &c) { return !c.why_not; });
    std::cout << place << frame.size() << " bytes, which do not say what they are. " << accepting
              << " messages accept them. The likeliest first, whether they do or not:\n";
    for (std::size_t i = 0; i < most_candidates; ++i)
        std::cout << "  " << name_of(found[i].info->data) << ": " << merits(found[i]) << '\n';
    std::cout << "  and " << found.size() - most_candidates << " more\n";
}

void write_guesses_json(const bytes &frame)
{
    std::cout << R"({"bytes":)" << frame.size() << R"(,"guesses":[)";
    const char *separator = "";
    for (const inspect::candidate &c : inspect::guess(frame)) {
        std::cout << separator << R"({"message":")" << name_of(c.info->data) << R"(","accepted":)"
                  << (c.why_not ? "false" : "true") << R"(,"is_as_written":)"
                  << (c.is_as_written ? "true" : "false") << R"(,"has_its_slots":)"
                  << (c.has_its_slots ? "true" : "false") << R"(,"stray_bytes":)" << c.stray << '}';
        separator = ",";
    }
    std::cout << "]}\n";
}

/// ", received by process 4711"
std::string whose(const capture::frame_facts &facts)
{
    return (facts.way == capture::direction::sent ? ", sent by process "
                                                  : ", received by process ") +
           std::to_string(facts.process);
}

/// False: a receiver refuses the bytes.
bool explain_frame(const explain_options &options, const inspect::labels *labels, const message *m,
                   const bytes &frame, const std::string &place)
{
    if (m == nullptr) {
        if (options.as_json)
            write_guesses_json(frame);
        else
            write_guesses(frame, place);
        return true;
    }
    const inspect::explanation e = inspect::explain(*m, frame, labels);
    if (options.as_json)
        json::write_explanation(e, labels, std::cout);
    else
        write_text(e, std::cout,
                   options.in_colour ? inspect::colours::terminal : inspect::colours::none, labels);
    std::cout.flush();
    if (!e.damages.empty())
        std::cerr << place << name_of(*m) << ": refused at " << to_text(e.damages[0]) << '\n';
    return e.damages.empty();
}

} // namespace

int explain(const explain_options &options)
{
    identifier_or_none given;
    if (!options.message.empty())
        given = find_message_or_throw(options.message).data.msg_id;
    const chosen_labels labels(options.labels);
    bool is_first = true;
    std::string whose_frame; // of the frame that comes next, where a capture says it
    dump_options form = options.form;
    form.about = [&whose_frame](const capture::frame_facts &facts) { whose_frame = whose(facts); };
    const bool all_accepted = each_frame(
        options.file, form, {given, !options.guess},
        [&](std::string place, const bytes &frame, identifier_or_none identifier) {
            const std::string of_capture = std::exchange(whose_frame, "");
            place.insert(place.size() - std::min<std::size_t>(place.size(), 2), of_capture); // ": "
            const message *const m = options.guess ? nullptr : &message_of(identifier, place);
            if (!is_first && !options.as_json)
                std::cout << '\n';
            is_first = false;
            if (!of_capture.empty() && !options.as_json)
                std::cout << place.substr(0, place.size() - 2) << '\n';
            const bool is_accepted = explain_frame(options, labels.get(), m, frame, place);
            if (!std::cout)
                throw std::runtime_error("vorl: standard output cannot be written");
            return is_accepted;
        });
    return all_accepted ? 0 : 1;
}

} // namespace vorl::commands
