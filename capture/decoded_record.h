// A frame's record, with the memory that its vectors own.
#pragma once

#include <memory>

#include "capture/frame.h"
#include "inspect/decode.h"

namespace vorl::capture {

class decoded_record {
  public:
    /// Of a frame of `m`, all of whose bytes are kept.
    decoded_record(const message &m, const frame &f)
        : type_(m), words_(std::make_unique<std::uint64_t[]>(m.record_size / 8 + 1)),
          is_there_(!inspect::decode(m, f.kept, words_.get()))
    {}
    ~decoded_record()
    {
        if (is_there_)
            inspect::release(type_, words_.get());
    }
    decoded_record(const decoded_record &) = delete;
    decoded_record &operator=(const decoded_record &) = delete;

    /// Null: a receiver refuses the frame.
    const std::uint8_t *get() const
    {
        return is_there_ ? reinterpret_cast<const std::uint8_t *>(words_.get()) : nullptr;
    }

  private:
    const message &type_;
    std::unique_ptr<std::uint64_t[]> words_;
    bool is_there_;
};

} // namespace vorl::capture
