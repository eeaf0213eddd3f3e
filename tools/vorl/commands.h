// The commands of vorl, each with its options as parsed. Each returns the exit status: 0, or 1 when
// something was refused, which it said on standard error. std::runtime_error: a line for standard
// error, status 1.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/vorl/dumps/read_frames.h"

namespace vorl::commands {

struct list_options {
    std::string package; ///< empty: all
    bool as_json = false;
};
int list(const list_options &options);

struct describe_options {
    std::string message;
    std::string labels; ///< this and those below: of --labels (tools/vorl/labels_file.h)
    bool as_json = false;
};
int describe(const describe_options &options);

struct send_options {
    std::uint32_t dest = 0;
    std::uint64_t explicit_handle = 0; ///< 0: none
    bool keep_going = false;
    std::uint32_t batch = 1;
    double wait_seconds = 0;
    bool raw = false;
    std::string message; ///< of raw frames: name or identifier, known or not
    dump_options form;   ///< of raw frames
    std::string labels;
    std::string file;
};
int send(const send_options &options);

struct recv_options {
    std::uint32_t dest = 0;
    std::uint64_t count = 0;       ///< 0: no limit
    double timeout_seconds = -1;   ///< negative: none
    std::uint64_t queue_bytes = 0; ///< 0: the bus's own choice
    bool sparse = false;
    std::string labels;
};
int recv(const recv_options &options);

struct encode_options {
    bool packed = false;
    bool binary = false;
    std::string labels;
    std::string file;
};
int encode(const encode_options &options);

struct explain_options {
    std::string message; ///< empty with `guess`
    bool guess = false;
    dump_options form;
    bool as_json = false;
    bool in_colour = false;
    std::string labels;
    std::string file = "-";
};
int explain(const explain_options &options);

struct decode_options {
    std::string message;
    dump_options form; ///< of the bytes
    bool explain = false;
    bool sparse = false;
    std::string labels;
    std::string file;
};
int decode(const decode_options &options);

struct explain_log_options {
    std::vector<std::string> lines; ///< none, or "-" alone: standard input
    bool as_json = false;
    bool in_colour = false;
};
int explain_log(const explain_log_options &options);

} // namespace vorl::commands
