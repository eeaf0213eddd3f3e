#include "tools/vorl/dumps/plain_frames.h"

#include <algorithm>
#include <utility>

#include "tools/vorl/dumps/frame_start.h"

namespace vorl::dumps {
namespace {

struct usual_width {
    dump_form form;
    std::size_t bytes;
    const char *tool;
};
constexpr usual_width usual_widths[] = {
    {dump_form::hex, 30, "xxd -p"},
    {dump_form::hex, 16, "od -An -tx1"},
    {dump_form::base64, 57, "base64"},
    {dump_form::base64, 48, "openssl base64"},
};

/// The root offset, and of the vtable's length or place what differs between messages: alike in frames
/// of one message.
constexpr std::size_t telling_bytes = 6;

const usual_width *find_usual(dump_form form, std::size_t width)
{
    for (const usual_width &usual : usual_widths) {
        if (usual.form == form && usual.bytes == width)
            return &usual;
    }
    return nullptr;
}

} // namespace

void plain_frames::add(dump_form form, std::size_t line, const plain_line &text)
{
    if (form != form_)
        gap();
    form_ = form;
    append(unfinished_, {line, line, text.content});
    if (!text.goes_on)
        add_piece(std::exchange(unfinished_, {}));
}

void plain_frames::gap()
{
    if (!unfinished_.is_empty())
        add_piece(std::exchange(unfinished_, {}));
    if (to_.options().layout != dump_layout::one_frame && !frame_.is_empty())
        deliver(frame_);
    before_ = 0;
    form_ = dump_form::automatic;
}

void plain_frames::finish()
{
    gap();
    if (!frame_.is_empty())
        deliver(frame_);
}

void plain_frames::add_piece(piece added)
{
    switch (to_.options().layout) {
    case dump_layout::one_frame: append(frame_, added); break;
    case dump_layout::frame_a_line: deliver(added); break;
    case dump_layout::automatic: add_guessing(std::move(added));
    }
}

void plain_frames::add_guessing(piece added)
{
    const std::size_t size = added.content.size();
    const std::size_t width = width_ != 0 ? width_ : frame_.content.size();
    if (!frame_.is_empty()) {
        const bool is_another = starts_another(added);
        if (!is_another && size <= width) {
            width_ = width;
            append(frame_, added);
            if (size < width)
                deliver(frame_);
            return;
        }
        if (!is_another && width_ != 0)
            to_.refuse(added.first_line,
                       "is longer than the lines before it, which were read as one wrapped frame; "
                       "put an empty line between two frames, or give --lines or --one-frame");
        deliver(frame_);
    }
    note_lines(added);
    before_ = size;
    before_line_ = added.last_line;
    if (may_be_wrapped(added))
        frame_ = std::move(added);
    else
        deliver(added);
}

std::span<const std::uint8_t> plain_frames::behind_headers(const piece &p) const
{
    const std::span all(p.content);
    return all.subspan(std::min<std::uint64_t>(to_.options().skip, all.size()));
}

bool plain_frames::begins(const piece &p) const { return begins_frame(behind_headers(p)); }

/// Frames hold tables that begin as frames do, so a line may go on with frame_ though it begins so.
bool plain_frames::starts_another(const piece &p) const
{
    if (!begins(p))
        return false;
    if (!begins(frame_))
        return true;
    const auto before = behind_headers(frame_);
    if (holds_root_table(before) && (width_ == 0 || has_vtable_last(before)))
        return true;
    return std::ranges::equal(behind_headers(p).first(telling_bytes),
                              behind_headers(frame_).first(telling_bytes));
}

bool plain_frames::may_be_wrapped(const piece &p) const
{
    if (find_usual(form_, p.content.size()) != nullptr)
        return true;
    return begins(p) && !holds_root_table(behind_headers(p));
}

void plain_frames::append(piece &to, const piece &added) const
{
    if (to.is_empty())
        to.first_line = added.first_line;
    to.last_line = added.last_line;
    to_.append(to.content, added.content, to_.place(added.last_line));
}

void plain_frames::deliver(piece &p)
{
    note_wrapped();
    width_ = 0;
    piece whole = std::exchange(p, {});
    to_.deliver(to_.place(whole.first_line), std::move(whole.content));
}

/// Says once that lines were put together.
void plain_frames::note_wrapped()
{
    if (width_ == 0)
        return;
    before_ = 0;
    if (std::exchange(has_noted_wrapped_, true))
        return;
    const usual_width *const usual = find_usual(form_, width_);
    to_.note("lines " + std::to_string(frame_.first_line) + " to " +
             std::to_string(frame_.last_line) + " are read as one frame, wrapped" +
             (usual == nullptr ? "" : std::string(" as ") + usual->tool + " does it") +
             "; --lines reads a frame a line");
}

/// Says once that lines were not put together that may be one frame.
void plain_frames::note_lines(const piece &added)
{
    if (before_ == 0 || added.content.size() > before_ || begins(added) || has_noted_lines_)
        return;
    has_noted_lines_ = true;
    to_.note("lines " + std::to_string(before_line_) + " and " + std::to_string(added.first_line) +
             " are read as two frames; --one-frame reads all lines as one");
}

} // namespace vorl::dumps
