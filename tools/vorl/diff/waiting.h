// Items that wait for their counterpart, of which more than memory should hold may come: what is too much
// waits in a file.
#pragma once

#include <cstdio>
#include <deque>
#include <list>
#include <memory>
#include <set>

#include "tools/vorl/diff/item.h"

namespace vorl::diff {

class item_queue;

/// Where the queues of one comparison have their items: in memory, up to a bound, and in a temporary file
/// that is gone with this. Throws std::runtime_error where that file cannot be written.
class item_store {
  public:
    explicit item_store(std::uint64_t most_bytes = std::uint64_t{1} << 25) : most_bytes_(most_bytes)
    {}
    item_store(const item_store &) = delete;
    item_store &operator=(const item_store &) = delete;

    std::uint64_t in_memory() const { return in_memory_; }
    std::uint64_t in_file() const { return in_file_; }

  private:
    friend class item_queue;

    std::uint64_t write(const std::string &text);
    std::string read(std::uint64_t at, std::size_t size) const;
    void add(std::uint64_t size);

    struct closer {
        void operator()(std::FILE *f) const { std::fclose(f); }
    };
    std::uint64_t most_bytes_;
    std::uint64_t in_memory_ = 0;
    std::uint64_t in_file_ = 0;
    std::set<item_queue *> queues_;
    std::unique_ptr<std::FILE, closer> file_;
};

/// First in, first out.
class item_queue {
  public:
    explicit item_queue(item_store &store) : store_(store) { store.queues_.insert(this); }
    ~item_queue() { store_.queues_.erase(this); }
    item_queue(const item_queue &) = delete;
    item_queue &operator=(const item_queue &) = delete;

    bool empty() const { return chunks_.empty() && new_.empty(); }
    void push(item &&i);
    item pop();

  private:
    friend class item_store;

    struct chunk {
        std::uint64_t at;
        std::size_t size;
        std::size_t items;
    };

    void put_away();
    static item take(std::list<item> &from);

    item_store &store_;
    std::deque<chunk> chunks_;
    std::list<item> read_;  ///< of the first chunk
    std::size_t taken_ = 0; ///< items of the first chunk
    std::list<item> new_;   ///< behind all chunks
};

} // namespace vorl::diff
