// A ring in a file, written in this process by the tap's own writer.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "capture/frame.h"
#include "tap/record.h"

namespace vorl::test {

class made_ring {
  public:
    static constexpr std::uint64_t key = 0x0123456789ABCDEF;
    /// Nanoseconds since 1970 at which CLOCK_MONOTONIC was 0.
    static constexpr std::int64_t offset = 1'700'000'000'000'000'000;

    made_ring(std::string file, std::uint64_t size, std::uint32_t process = 4711)
        : name(std::move(file)), bytes_(ring::entries_at + size)
    {
        const int opened = open(name.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
        if (opened < 0 || ftruncate(opened, static_cast<off_t>(bytes_)) != 0)
            throw std::runtime_error("no ring");
        void *const mapped = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, opened, 0);
        close(opened);
        if (mapped == MAP_FAILED)
            throw std::runtime_error("no memory for a ring");
        header = static_cast<ring::header *>(mapped);
        header->version = 1;
        header->process = process;
        header->size = size;
        header->key = key;
        header->offset = offset;
        header->started = process;
        header->largest_kept = static_cast<std::uint32_t>(size / 8);
        header->settings.on = 1;
        header->magic = ring::magic;
    }
    ~made_ring() { munmap(header, bytes_); }
    made_ring(const made_ring &) = delete;
    made_ring &operator=(const made_ring &) = delete;

    void send(std::uint64_t time, const capture::bytes &content, std::uint32_t msg_id = 0x1000,
              std::uint32_t destination = 7)
    {
        tap::record(*header, {.time = time,
                              .data = content.data(),
                              .length = static_cast<std::uint32_t>(content.size()),
                              .flags = 13U << ring::known_shift,
                              .destination = destination,
                              .identifier = msg_id});
    }
    void receive(std::uint64_t time, const capture::bytes &content, std::uint32_t msg_id = 0x1000)
    {
        tap::record(*header, {.time = time,
                              .data = content.data(),
                              .length = static_cast<std::uint32_t>(content.size()),
                              .flags = 8U << ring::known_shift | ring::received_flag,
                              .identifier = msg_id});
    }
    /// What a writer leaves that is killed before it commits.
    void leave_unfinished(std::uint64_t size) { header->head += size; }

    unsigned char *entries()
    {
        return reinterpret_cast<unsigned char *>(header) + ring::entries_at;
    }

    const std::string name;
    ring::header *header = nullptr;

  private:
    std::uint64_t bytes_;
};

} // namespace vorl::test
