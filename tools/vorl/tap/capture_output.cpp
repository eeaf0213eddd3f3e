#include <map>
#include <set>

#include "capture/pcapng_write.h"
#include "tools/vorl/tap/output.h"

namespace vorl::tap {
namespace {

using namespace capture;

class capture_output : public output {
  public:
    capture_output(output_file &to, const inspect::labels *names)
        : names_(names),
          writer_(
              [&to](std::span<const std::uint8_t> block) { to.write(block.data(), block.size()); },
              "vorl " VORL_VERSION)
    {}

    void add(const frame &f, const process_facts &from, const verdict &,
             const std::map<std::uint32_t, description> *described) override
    {
        const std::uint32_t interface = interface_of(from);
        if (f.facts.knows(identifier_known))
            describe(interface, f.facts, f.facts.identifier, described);
        writer_.add(interface, f);
        last_time_ = f.facts.time;
    }

    void count(const process_facts &of, const counters &counted) override
    {
        writer_.count(interface_of(of), last_time_, counted);
    }

  private:
    std::uint32_t interface_of(const process_facts &from)
    {
        const auto key = std::make_pair(from.process, from.command);
        const auto known = interfaces_.find(key);
        if (known != interfaces_.end())
            return known->second;
        return interfaces_.emplace(key, writer_.add_interface(from)).first->second;
    }

    /// Nested messages before those that lead to them.
    void describe(std::uint32_t interface, const frame_facts &at, std::uint32_t identifier,
                  const std::map<std::uint32_t, description> *described)
    {
        if (!described_.insert(identifier).second)
            return;
        description d;
        if (const catalogue::message_info *info = catalogue::find_message(identifier))
            d = capture::describe(*info, names_);
        else if (described != nullptr && described->contains(identifier))
            d = described->at(identifier);
        else
            return;
        for (const described_slot &s : d.slots) {
            if (s.nested != 0)
                describe(interface, at, s.nested, described);
        }
        writer_.describe(interface, at.time, to_packet(d));
    }

    const inspect::labels *names_;
    pcapng_writer writer_;
    std::map<std::pair<std::uint32_t, std::string>, std::uint32_t> interfaces_;
    std::set<std::uint32_t> described_;
    std::uint64_t last_time_ = 0;
};

} // namespace

std::unique_ptr<output> make_capture_output(output_file &to, const inspect::labels *names)
{
    return std::make_unique<capture_output>(to, names);
}

} // namespace vorl::tap
