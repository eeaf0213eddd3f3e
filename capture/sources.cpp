#include "capture/sources.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace vorl::capture {
namespace {

class ring_source : public source {
  public:
    explicit ring_source(const std::string &name) : cursor_(name) {}

    const ring_cursor &cursor() const { return cursor_; }
    void set_offset(std::int64_t offset)
    {
        offset_ = static_cast<std::uint64_t>(offset);
        shift();
    }

    frame *front() override { return cursor_.front(); }
    void pop() override
    {
        cursor_.pop();
        shift();
    }
    process_facts process() const override { return cursor_.facts().process; }
    std::vector<process_total> totals() const override
    {
        return {{cursor_.facts().process, cursor_.count()}};
    }

  private:
    void shift()
    {
        if (frame *const next = cursor_.front())
            next->facts.time += offset_;
    }

    ring_cursor cursor_;
    std::uint64_t offset_ = 0;
};

class capture_source : public source {
  public:
    capture_source(const std::string &name, const merged_sources::take_note &note)
        : name_(name), note_(note), file_(name, std::ios::binary),
          reader_(file_, largest_frame,
                  [this](const std::string &why) { note_(name_ + ": " + why); })
    {
        pop();
    }

    frame *front() override { return next_ ? &next_->found : nullptr; }
    void pop() override
    {
        try {
            do {
                next_ = reader_.next();
                foreign_ += next_ && !next_->is_ours ? 1 : 0;
            } while (next_ && !next_->is_ours);
            if (!next_ && foreign_ != 0)
                note_(name_ + ": " + std::to_string(foreign_) +
                      " packets are no captured frames, and left out; vorl explain reads them");
        } catch (const capture_error &error) {
            next_.reset();
            note_(name_ + ": " + error.what());
        }
        if (next_) {
            const pcapng_interface &of = reader_.interfaces()[next_->interface];
            processes_[next_->interface] = {next_->found.facts.process, of.text};
        }
    }
    process_facts process() const override { return processes_.at(next_->interface); }
    std::vector<process_total> totals() const override
    {
        std::vector<process_total> all;
        for (const auto &[interface, process] : processes_)
            all.push_back({process, reader_.interfaces()[interface].counted.value_or(counters{})});
        return all;
    }
    const std::map<std::uint32_t, description> *descriptions() const override
    {
        return &reader_.descriptions();
    }

  private:
    static constexpr std::uint64_t largest_frame = 0x7FFFFFFF;

    std::string name_;
    merged_sources::take_note note_;
    std::ifstream file_;
    capture_reader reader_;
    std::optional<captured> next_;
    std::map<std::size_t, process_facts> processes_; ///< by interface
    std::uint64_t foreign_ = 0;
};

bool is_pcapng(const std::string &name)
{
    std::array<char, 4> first{};
    std::ifstream(name, std::ios::binary).read(first.data(), first.size());
    return std::memcmp(first.data(), "\x0a\x0d\x0d\x0a", first.size()) == 0;
}

} // namespace

std::vector<std::string> files_of(const std::vector<std::string> &names)
{
    std::vector<std::string> files;
    for (const std::string &name : names) {
        if (!std::filesystem::is_directory(name)) {
            files.push_back(name);
            continue;
        }
        const std::vector<std::string> rings = rings_in(name);
        files.insert(files.end(), rings.begin(), rings.end());
    }
    return files;
}

merged_sources::merged_sources(const std::vector<std::string> &names, const take_note &note)
{
    std::vector<ring_source *> rings;
    boot_offsets offsets;
    for (const std::string &name : files_of(names)) {
        if (is_pcapng(name)) {
            sources_.push_back(std::make_unique<capture_source>(name, note));
            continue;
        }
        try {
            auto ring = std::make_unique<ring_source>(name);
            if (!ring->cursor().damage().empty())
                note(ring->cursor().damage());
            offsets.add(ring->cursor().facts());
            rings.push_back(ring.get());
            sources_.push_back(std::move(ring));
        } catch (const capture_error &error) {
            note(error.what());
        }
    }
    for (ring_source *ring : rings)
        ring->set_offset(offsets.of(ring->cursor().facts()));
}

source *merged_sources::next()
{
    if (last_ != nullptr)
        last_->pop();
    last_ = nullptr;
    for (const auto &s : sources_) {
        const frame *const front = s->front();
        if (front != nullptr &&
            (last_ == nullptr || front->facts.time < last_->front()->facts.time))
            last_ = s.get();
    }
    return last_;
}

std::vector<process_total> merged_sources::totals() const
{
    std::vector<process_total> all;
    for (const auto &s : sources_) {
        for (const process_total &t : s->totals())
            all.push_back(t);
    }
    return all;
}

} // namespace vorl::capture
