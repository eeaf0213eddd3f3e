// The labels that a command works with.
#pragma once

#include <optional>
#include <string>

#include "inspect/labels.h"

namespace vorl {

/// A labels file, whole; standard input for "-". Throws std::runtime_error, "NAME: why not".
inspect::labels_file read_labels_file(const std::string &name);

/// "FILE:LINE: what is wrong; what to do".
std::string to_text(const inspect::labels_problem &problem, const std::string &file);

/// Labels as a command's option has them: of the file of that name, or where that is empty, of the
/// one that VORL_LABELS in the environment names. Says on standard error what is wrong with it, and
/// leaves that out.
class chosen_labels {
  public:
    /// Throws std::runtime_error, "NAME: why not", when there is a file and it cannot be read.
    explicit chosen_labels(const std::string &file);

    /// Null: neither names a file.
    const inspect::labels *get() const { return labels_ ? &*labels_ : nullptr; }

  private:
    std::optional<inspect::labels> labels_;
};

} // namespace vorl
