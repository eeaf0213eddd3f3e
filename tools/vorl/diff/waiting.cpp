#include "tools/vorl/diff/waiting.h"

#include <cerrno>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace vorl::diff {
namespace {

constexpr std::size_t chunk_size = 1 << 16;

[[noreturn]] void refuse()
{
    throw std::runtime_error(std::string("vorl diff: what waits for its counterpart cannot be put "
                                         "into a temporary file (") +
                             std::strerror(errno) + "); make room in /tmp");
}

} // namespace

std::uint64_t item_store::write(const std::string &text)
{
    if (!file_)
        file_.reset(std::tmpfile());
    if (!file_ || std::fseek(file_.get(), static_cast<long>(in_file_), SEEK_SET) != 0 ||
        std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size() ||
        std::fflush(file_.get()) != 0)
        refuse();
    return std::exchange(in_file_, in_file_ + text.size());
}

std::string item_store::read(std::uint64_t at, std::size_t size) const
{
    std::string text(size, '\0');
    if (std::fseek(file_.get(), static_cast<long>(at), SEEK_SET) != 0 ||
        std::fread(text.data(), 1, size, file_.get()) != size)
        refuse();
    return text;
}

void item_store::add(std::uint64_t size)
{
    in_memory_ += size;
    if (in_memory_ <= most_bytes_)
        return;
    for (item_queue *queue : queues_)
        queue->put_away();
}

void item_queue::push(item &&i)
{
    const std::uint64_t size = i.size();
    new_.push_back(std::move(i));
    store_.add(size);
}

item item_queue::take(std::list<item> &from)
{
    item first = std::move(from.front());
    from.pop_front();
    return first;
}

item item_queue::pop()
{
    if (chunks_.empty()) {
        item first = take(new_);
        store_.in_memory_ -= first.size();
        return first;
    }
    if (read_.empty()) {
        const std::string text = store_.read(chunks_.front().at, chunks_.front().size);
        std::uint64_t size = 0;
        std::string_view rest = text;
        for (std::size_t i = 0; !rest.empty(); ++i) {
            item next = take_item(rest);
            if (i < taken_)
                continue;
            size += next.size();
            read_.push_back(std::move(next));
        }
        store_.in_memory_ += size;
    }
    item first = take(read_);
    store_.in_memory_ -= first.size();
    if (++taken_ == chunks_.front().items) {
        chunks_.pop_front();
        taken_ = 0;
    }
    return first;
}

void item_queue::put_away()
{
    // What was read is in the file still.
    for (const item &i : read_)
        store_.in_memory_ -= i.size();
    read_.clear();
    while (!new_.empty()) {
        std::string text;
        std::size_t items = 0;
        for (; !new_.empty() && text.size() < chunk_size; ++items) {
            const item i = take(new_);
            store_.in_memory_ -= i.size();
            append(text, i);
        }
        chunks_.push_back({store_.write(text), text.size(), items});
    }
}

} // namespace vorl::diff
