#include "tools/vorl/dumps/capture.h"

#include <dlfcn.h>
#include <pcap/pcap.h>

#include <cstdio>
#include <memory>

#include "capture/capture_read.h"
#include "tools/vorl/json_node.h"

namespace vorl::dumps {
namespace {

constexpr const char *file_name = "libpcap.so.0.8";

/// libpcap, opened when a capture is read, and its functions that this file calls.
class pcap_library {
  public:
    explicit pcap_library(const reading &to) : handle_(dlopen(file_name, RTLD_NOW | RTLD_LOCAL))
    {
        if (handle_ == nullptr) {
            const std::string why = dlerror();
            throw dump_error(to.place() + "is a packet capture, and " + file_name +
                             " cannot be loaded (" + why + "); install package libpcap0.8");
        }
        find(open, "pcap_fopen_offline", to);
        find(next, "pcap_next_ex", to);
        find(error_of, "pcap_geterr", to);
        find(close, "pcap_close", to);
    }

    decltype(&pcap_fopen_offline) open = nullptr;
    decltype(&pcap_next_ex) next = nullptr;
    decltype(&pcap_geterr) error_of = nullptr;
    decltype(&pcap_close) close = nullptr;

  private:
    template <class Function>
    void find(Function &function, const char *name, const reading &to)
    {
        function = reinterpret_cast<Function>(dlsym(handle_, name));
        if (function == nullptr)
            throw dump_error(to.place() + file_name + " has no " + name +
                             "; install package libpcap0.8");
    }

    void *handle_;
};

ssize_t read_stream(void *stream, char *to, std::size_t size)
{
    auto &in = *static_cast<std::istream *>(stream);
    in.read(to, static_cast<std::streamsize>(size));
    return static_cast<ssize_t>(in.gcount());
}

[[noreturn]] void refuse(const std::string &place, const char *why)
{
    throw dump_error(place + "cannot be read (" + json::printable(why) +
                     "); give a whole pcap or pcapng file");
}

} // namespace

bool is_pcap(std::string_view first)
{
    using namespace std::string_view_literals;
    // pcap: with microseconds, with nanoseconds, with more about each packet; in both byte orders.
    for (const std::string_view magic :
         {"\xa1\xb2\xc3\xd4"sv, "\xd4\xc3\xb2\xa1"sv, "\xa1\xb2\x3c\x4d"sv, "\x4d\x3c\xb2\xa1"sv,
          "\xa1\xb2\xcd\x34"sv, "\x34\xcd\xb2\xa1"sv}) {
        if (first.starts_with(magic))
            return true;
    }
    return false;
}

bool is_pcapng(std::string_view first)
{
    using namespace std::string_view_literals;
    // A section header, its length, and the byte order.
    const std::string_view order = first.substr(std::min<std::size_t>(first.size(), 8), 4);
    return first.starts_with("\x0a\x0d\x0d\x0a"sv) &&
           (order == "\x1a\x2b\x3c\x4d"sv || order == "\x4d\x3c\x2b\x1a"sv);
}

void read_pcap(std::istream &in, reading &to)
{
    const pcap_library pcap(to);
    cookie_io_functions_t calls{};
    calls.read = read_stream;
    FILE *const file = fopencookie(&in, "r", calls);
    if (file == nullptr)
        throw dump_error(to.place() + "there is no memory to read a capture");
    char why[PCAP_ERRBUF_SIZE] = "";
    pcap_t *const opened = pcap.open(file, why);
    if (opened == nullptr) {
        std::fclose(file);
        refuse(to.place(), why);
    }
    const std::unique_ptr<pcap_t, decltype(&pcap_close)> capture(opened, pcap.close);
    pcap_pkthdr *header = nullptr;
    const u_char *packet = nullptr;
    for (std::uint64_t number = 1;; ++number) {
        const std::string place = to.place() + "packet " + std::to_string(number) + ": ";
        const int result = pcap.next(capture.get(), &header, &packet);
        if (result == PCAP_ERROR_BREAK)
            return;
        if (result != 1)
            refuse(place, pcap.error_of(capture.get()));
        if (header->caplen < header->len)
            to.note_cut(number, header->caplen, header->len);
        bytes frame;
        to.append(frame, {packet, header->caplen}, place);
        to.deliver(place, std::move(frame));
    }
}

void read_pcapng(std::istream &in, reading &to)
{
    capture::capture_reader packets(in, to.options().largest_frame, [&to](const std::string &why) {
        to.leave_out(to.place() + why);
    });
    try {
        while (std::optional<capture::captured> p = packets.next()) {
            const capture::frame_facts &facts = p->found.facts;
            if (p->found.kept.size() < facts.length)
                to.note_cut(p->packet, p->found.kept.size(), facts.length);
            to.deliver(to.place() + "packet " + std::to_string(p->packet) + ": ",
                       std::move(p->found.kept), p->is_ours ? &facts : nullptr);
        }
    } catch (const capture::capture_error &error) {
        throw dump_error(to.place() + error.what());
    }
}

} // namespace vorl::dumps
