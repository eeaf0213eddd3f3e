// Reads bytes once with the plain codec, and follows its steps: which table, member or element the
// reader is at, and why it stopped. Nothing is checked here; everything is derived from what the
// reader reports.
#pragma once

#include <vector>

#include "inspect/decode.h"
#include "serial/plain/listener.h"

namespace vorl::inspect {

class reading {
  public:
    /// What becomes of the records of a vector once they have been read.
    enum class records : bool { forget, keep };

    reading(std::span<const std::uint8_t> bytes, records read_ones);
    virtual ~reading() = default;
    reading(const reading &) = delete;
    reading &operator=(const reading &) = delete;

    /// To be called once. `record` is as in decode.
    std::optional<refusal> read(const message &m, std::uint8_t *record);

  protected:
    // For derived classes that report the steps. Each is called before a refusal is put into words.

    /// The root offset leads to a table at `to`, which is not checked yet.
    virtual void hear_root(std::uint32_t /*to*/) {}
    virtual void hear(const reading_step & /*step*/) {}
    /// The table at `at` is refused.
    virtual void hear_refused(table_check /*check*/, std::uint32_t /*at*/) {}

    std::span<const std::uint8_t> content() const { return bytes_; }
    std::uint32_t size() const { return static_cast<std::uint32_t>(bytes_.size()); }
    /// The unsigned integer at `at`, which the reader has found to lie inside the bytes.
    std::uint64_t integer(std::uint32_t at, std::size_t width) const;
    std::uint32_t word(std::uint32_t at) const;

    /// The message whose table is being read, or looked for.
    const message &table_message() const { return *levels_.back().m; }
    /// Where in the message that table is: "f1[3]"; empty: the root.
    std::string table_path() const { return path(levels_.size() - 1); }
    /// A member of that table: "f1[3].f6".
    std::string member_path(std::uint32_t slot) const;
    /// Element `number` of the slot being read: "f1[3]"; of a nested table: "f1".
    std::string element_path(std::uint32_t number) const;
    /// The slot being read.
    const slot &current() const { return levels_.back().m->slots[levels_.back().slot]; }

    /// "0x0030"
    static std::string offset_text(std::uint64_t offset);

  private:
    /// A table that is being read.
    struct level {
        const message *m;
        std::uint32_t slot;    ///< which of its slots is being read
        std::uint32_t element; ///< which element of that slot
        std::uint8_t *block;   ///< memory of that slot's elements, when it is a vector
        std::size_t forgotten; ///< bytes at the start of the block that are given back
    };
    struct ears : listener {
        reading *of;
    };
    static reading &by(const listener &l) { return *static_cast<const ears &>(l).of; }

    void take(const reading_step &step);
    void leave(std::size_t record_size);
    void refuse(const reading_step &step);
    void refuse_table(table_check check, std::uint32_t a, std::uint32_t b);
    void *allocate(std::uint32_t size);
    std::string path(std::size_t depth) const;

    std::span<const std::uint8_t> bytes_;
    records read_ones_;
    ears ears_;
    std::vector<level> levels_;
    std::uint32_t table_at_ = 0; ///< position of the table that is being looked for
    std::optional<refusal> why_;
};

} // namespace vorl::inspect
