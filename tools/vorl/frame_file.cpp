#include "tools/vorl/frame_file.h"

#include <iostream>
#include <utility>

#include "catalogue/catalogue.h"
#include "inspect/hex.h"
#include "tools/vorl/json_lines.h"
#include "tools/vorl/progress.h"

namespace vorl {

bool each_frame(const std::string &file, const dump_options &form, const frame_naming &naming,
                const take_file_frame &take)
{
    const identifier_or_none given = naming.given;
    json::input_file input(file);
    bool all_accepted = true;
    std::uint64_t left_out = 0;
    identifier_or_none said; // of the frame that comes next, by the capture that it is of
    dump_options options = form;
    options.about = [&said, &form](const capture::frame_facts &facts) {
        if (form.about)
            form.about(facts);
        if (facts.knows(capture::identifier_known))
            said = facts.identifier;
    };
    progress shown("frames read");
    const frames_read count = read_frames(
        input.stream(), input.name(), options,
        [&](const std::string &place, const bytes &frame) {
            const identifier_or_none its = std::exchange(said, std::nullopt);
            if (given && its && *its != *given)
                ++left_out;
            else
                all_accepted = take(place, frame, given ? given : its) && all_accepted;
            shown.step();
        },
        std::cerr);
    if (count.taken + count.refused == 0) {
        const std::string why = input.name() + ": holds no bytes; give those of a frame";
        if (naming.is_needed && !given)
            throw message_not_named(why + ", and --message NAME unless they are a capture's");
        throw std::runtime_error(why);
    }
    if (left_out != 0)
        std::cerr << "vorl: " << input.name() << ": " << left_out
                  << " frames are of other messages, and left out\n";
    return all_accepted && count.refused == 0;
}

std::uint32_t named_or_throw(identifier_or_none identifier, const std::string &place)
{
    if (!identifier)
        throw message_not_named(place +
                                "nothing says which message the frame is of; give --message "
                                "NAME ('vorl explain --guess' lists what it can be)");
    return *identifier;
}

const message &message_of(identifier_or_none identifier, const std::string &place)
{
    const std::uint32_t named = named_or_throw(identifier, place);
    if (const catalogue::message_info *found = catalogue::find_message(named))
        return found->data;
    throw std::runtime_error(place + "no message has the identifier " + identifier_text(named) +
                             "; a newer vorl may know it, and --message NAME names another");
}

} // namespace vorl
