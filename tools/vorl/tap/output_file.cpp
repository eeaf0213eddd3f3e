#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "tools/vorl/tap/output.h"

namespace vorl::tap {

output_file::output_file(const std::string &name)
    : name_(name == "-" ? "standard output" : name),
      file_(name == "-" ? stdout : std::fopen(name.c_str(), "wb"))
{
    if (file_ == nullptr)
        refuse();
}

output_file::~output_file()
{
    if (file_ != nullptr && file_ != stdout)
        std::fclose(file_);
}

void output_file::refuse() const
{
    throw std::runtime_error("vorl: " + name_ + " cannot be written (" + std::strerror(errno) +
                             "); make room there, or name another file");
}

void output_file::write(const void *from, std::size_t size)
{
    if (std::fwrite(from, 1, size, file_) != size)
        refuse();
}

void output_file::flush()
{
    if (std::fflush(file_) != 0)
        refuse();
}

bool output_file::is_terminal() const { return isatty(fileno(file_)) == 1; }

} // namespace vorl::tap
