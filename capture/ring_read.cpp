#include "capture/ring_read.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

#include "capture/ring_files.h"

namespace vorl::capture {
namespace {

std::size_t read_at(int file, std::uint64_t at, std::size_t size, void *to)
{
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got =
            pread(file, static_cast<char *>(to) + done, size - done, static_cast<off_t>(at + done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

/// Field 22 of /proc/PID/stat; 0: there is no such process.
std::uint64_t start_of(std::uint32_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t name_ends = text.rfind(')');
    if (name_ends == std::string::npos)
        return 0;
    std::istringstream rest(text.substr(name_ends + 1));
    std::string field;
    constexpr int between = 19; // fields 3 to 21: the name in brackets is the second
    for (int i = 0; i < between; ++i)
        rest >> field;
    std::uint64_t started = 0;
    rest >> started;
    return started;
}

/// As the header of a ring has it.
std::string this_boot()
{
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string text, digits, id;
    file >> text;
    std::remove_copy(text.begin(), text.end(), std::back_inserter(digits), '-');
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        id += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return id;
}

/// A header, whose members are atomic, of bytes that were read.
struct header_copy {
    alignas(ring::header) std::uint8_t bytes_of[sizeof(ring::header)] = {};
    const ring::header &get() const { return *reinterpret_cast<const ring::header *>(bytes_of); }
};

std::uint64_t value(const std::atomic<std::uint64_t> &of)
{
    return of.load(std::memory_order_relaxed);
}

/// Whether a tap has such a head. So many bytes as the bound says none records in a hundred years, and with
/// it no sum of a position and a size passes 64 bits.
bool is_possible_head(std::uint64_t head)
{
    constexpr std::uint64_t bound = std::uint64_t{1} << 62;
    return head % ring::unit == 0 && head < bound;
}

bool is_possible(const ring::header &h)
{
    return h.size >= ring::least_size && h.size <= ring::most_size &&
           (h.size & (h.size - 1)) == 0 && h.largest_kept <= h.size / ring::largest_part &&
           value(h.dictionary_used) <= ring::dictionary_size && is_possible_head(value(h.head));
}

void read_dictionary(int file, std::uint64_t used, ring_facts &to)
{
    bytes all(used);
    all.resize(read_at(file, ring::dictionary_at, all.size(), all.data()));
    for (std::size_t at = 0; at + sizeof(ring::dictionary_entry) <= all.size();) {
        ring::dictionary_entry e{};
        std::memcpy(&e, &all[at], sizeof e);
        if (e.length < sizeof e || e.length > all.size() - at || e.text > e.length - sizeof e)
            return;
        const auto *const text = reinterpret_cast<const char *>(&all[at] + sizeof e);
        if (e.kind == ring::dictionary_entry::command)
            to.process.command.assign(text, e.text);
        else if (e.kind == ring::dictionary_entry::message)
            to.names[e.identifier].assign(text, e.text);
        at += e.length;
    }
}

} // namespace

ring_reader::ring_reader(std::string name)
    : name_(std::move(name)), file_(open(name_.c_str(), O_RDONLY | O_CLOEXEC))
{
    if (file_ < 0)
        throw capture_error(name_ + ": " + std::strerror(errno) +
                            "; give a ring of a tapped process");
    header_copy copy;
    const std::size_t got = read_at(file_, 0, sizeof copy.bytes_of, copy.bytes_of);
    const ring::header &h = copy.get();
    std::string why;
    const bool is_unfinished = value(h.magic) == 0 && got == sizeof copy.bytes_of;
    if (is_unfinished)
        why = "is a ring that its process had not finished making, so nothing is in it; remove it, "
              "or wait";
    else if (value(h.magic) != ring::magic || got < sizeof copy.bytes_of)
        why = "is no ring of a tapped process; give one, or the directory that has them";
    else if (h.version != ring::version)
        why = "is a ring of version " + std::to_string(h.version) +
              ", and this vorl reads version 1; use the vorl of that tap";
    else if (!is_possible(h))
        why = "is a ring with a header that no tap writes; it is damaged, so capture again";
    if (!why.empty()) {
        close(file_);
        why = name_ + ": " + why;
        if (is_unfinished)
            throw unfinished_ring(why);
        throw capture_error(why);
    }
    key_ = h.key;
    facts_.size = h.size;
    facts_.process.process = h.process;
    facts_.boot.assign(reinterpret_cast<const char *>(h.boot), sizeof h.boot);
    facts_.offset = h.offset;
    facts_.started = h.started;
    facts_.largest_kept = h.largest_kept;
    struct stat its {};
    const std::uint64_t whole = ring::entries_at + h.size;
    if (fstat(file_, &its) == 0 && static_cast<std::uint64_t>(its.st_size) < whole)
        damage_ = name_ + ": has " + std::to_string(its.st_size) + " of its " +
                  std::to_string(whole) + " bytes; copy it again, whole";
    refresh();
}

ring_reader::~ring_reader() { close(file_); }

bool ring_reader::is_removed() const
{
    struct stat its {};
    return fstat(file_, &its) == 0 && its.st_nlink == 0;
}

void ring_reader::refresh()
{
    header_copy copy;
    read_at(file_, 0, sizeof copy.bytes_of, copy.bytes_of);
    const ring::header &h = copy.get();
    // Whoever has the file mapped may have written anything since the header was looked at first.
    if (!is_possible_head(value(h.head))) {
        damage_ = name_ +
                  ": its header was changed to one that no tap writes, so what came since is not "
                  "read; capture again";
        return;
    }
    facts_.head = value(h.head);
    facts_.seen = value(h.seen);
    facts_.dropped = value(h.dropped);
    facts_.wrapped = value(h.wrapped);
    facts_.unwrapped = value(h.unwrapped);
    facts_.is_on = h.settings.on.load(std::memory_order_relaxed) != 0;
    facts_.is_running =
        facts_.boot == this_boot() && start_of(facts_.process.process) == facts_.started;
    read_dictionary(file_, std::min(value(h.dictionary_used), ring::dictionary_size), facts_);
    window_.clear();
    vain_ = 0;
}

std::uint64_t ring_reader::oldest() const
{
    return facts_.head > facts_.size ? facts_.head - facts_.size : 0;
}

std::size_t ring_reader::read_ring(std::uint64_t position, std::size_t size, std::uint8_t *to) const
{
    const std::uint64_t from = position & (facts_.size - 1);
    const auto first = static_cast<std::size_t>(std::min<std::uint64_t>(size, facts_.size - from));
    const std::size_t got = read_at(file_, ring::entries_at + from, first, to);
    if (got < first)
        return got;
    return got + read_at(file_, ring::entries_at, size - first, to + first);
}

/// Has the window begin at `position`, with `least` bytes at least: what is not there is zero.
void ring_reader::fill(std::uint64_t position, std::size_t least, std::uint64_t end)
{
    const std::uint64_t wanted =
        std::max<std::uint64_t>(least, std::min<std::uint64_t>(end - position, reach_));
    window_.assign(wanted, 0);
    window_at_ = position;
    read_ring(position, window_.size(), window_.data());
}

bool ring_reader::is_whole(std::uint64_t position, std::uint64_t end)
{
    std::memcpy(reinterpret_cast<void *>(&head_), at(position), sizeof head_);
    const std::uint64_t word = value(head_.commit);
    if (!ring::is_commit_of(key_, position, word) || head_.kept > facts_.largest_kept ||
        head_.kept > head_.length || ring::size_of_entry(head_.kept) > end - position)
        return false;
    const std::uint64_t size = ring::size_of_entry(head_.kept);
    if (position + size > window_at_ + window_.size()) {
        fill(position, size, end);
        std::memcpy(reinterpret_cast<void *>(&head_), at(position), sizeof head_);
        if (value(head_.commit) != word || ring::size_of_entry(head_.kept) != size)
            return false;
    }
    kept_ = at(position) + sizeof head_;
    ring::entry_words words;
    std::memcpy(words, at(position), sizeof words);
    words[0] = 0;
    if (ring::commit_word(key_, position, words, kept_, head_.kept) == word)
        return true;
    vain_ += size;
    return false;
}

/// Whether an entry is there; it is in head_ and kept_ then.
bool ring_reader::look_at(std::uint64_t position, std::uint64_t end)
{
    if (position < window_at_ || position + ring::unit > window_at_ + window_.size())
        fill(position, ring::unit, end);
    if (is_whole(position, end))
        return true;
    if (!ring::is_commit_of(key_, position, value(head_.commit)))
        return false;
    // Committed, and the bytes were read before they were written.
    fill(position, ring::unit, end);
    vain_ += window_.size();
    return is_whole(position, end);
}

/// Of a ring that a tap wrote, few places look like an entry and are none. One in which all places do costs
/// the product of places and bytes, unless somebody puts an end to it.
bool ring_reader::is_exhausted()
{
    constexpr std::uint64_t rounds = 16;
    constexpr std::uint64_t always = 1 << 26;
    if (vain_ <= rounds * facts_.size + always)
        return false;
    damage_ = name_ +
              ": has so many entries whose checksums are wrong that the rest is not read; it is "
              "damaged, so capture again";
    return true;
}

void ring_reader::take(frame &f) const
{
    frame_facts &facts = f.facts;
    facts = {};
    facts.time = head_.time;
    facts.way =
        (head_.thread_and_flags & ring::received_flag) != 0 ? direction::received : direction::sent;
    facts.known = static_cast<std::uint8_t>((head_.thread_and_flags & ~ring::received_flag) >>
                                            ring::known_shift);
    facts.process = facts_.process.process;
    facts.thread = head_.thread_and_flags & ring::thread_mask;
    facts.destination = head_.destination;
    facts.handle = head_.handle;
    facts.identifier = head_.identifier;
    facts.result = head_.result;
    facts.length = head_.length;
    facts.number = head_.number;
    facts.index = head_.index;
    facts.of_send = head_.of_send;
    f.kept.assign(kept_, kept_ + head_.kept);
}

std::optional<entry_place> ring_reader::next(std::uint64_t &position, std::uint64_t end, frame &f)
{
    for (; position < end; position += ring::unit) {
        if (is_exhausted()) {
            position = end;
            break;
        }
        if (!look_at(position, end))
            continue;
        const entry_place found{position, head_.time};
        take(f);
        position += ring::size_of_entry(head_.kept);
        return found;
    }
    return std::nullopt;
}

bool ring_reader::read(std::uint64_t position, frame &f)
{
    reach_ = 4096;
    if (!look_at(position, position + ring::size_of_entry(facts_.largest_kept)))
        return false;
    take(f);
    return true;
}

std::vector<std::string> rings_in(const std::string &directory)
{
    std::vector<std::string> found;
    std::error_code error;
    for (std::filesystem::directory_iterator at(directory, error), end; !error && at != end;
         at.increment(error)) {
        if (ring::is_ring_name(at->path().filename().c_str()))
            found.push_back(at->path());
    }
    if (error)
        throw capture_error(directory + ": " + error.message() +
                            "; set VORL_TAP_DIR to the directory of the tapped processes");
    std::sort(found.begin(), found.end());
    return found;
}

std::string tap_directory()
{
    char name[PATH_MAX];
    bool is_named = false;
    if (!ring::directory_name(name, sizeof name, is_named))
        throw capture_error("VORL_TAP_DIR is too long a name; give another");
    return name;
}

} // namespace vorl::capture
