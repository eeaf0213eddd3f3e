#include <map>

#include <nlohmann/json.hpp>

#include "inspect/decoded_record.h"
#include "inspect/hex.h"
#include "tools/vorl/json_record.h"
#include "tools/vorl/tap/output.h"
#include "tools/vorl/tap/times.h"

namespace vorl::tap {
namespace {

using namespace capture;

class json_output : public output {
  public:
    json_output(output_file &to, const inspect::labels *names, bool leaves_out_commands)
        : to_(to), names_(names), leaves_out_commands_(leaves_out_commands)
    {}

    void add(const frame &f, const process_facts &, const verdict &judged,
             const std::map<std::uint32_t, description> *described) override
    {
        const frame_facts &facts = f.facts;
        nlohmann::ordered_json line = {
            {"time", time_text(facts.time)},
            {"process", facts.process},
            {"thread", facts.thread},
            {"direction", facts.way == direction::sent ? "sent" : "received"}};
        if (facts.knows(destination_known))
            line["destination"] = facts.destination;
        if (facts.knows(handle_given))
            line["handle"] = facts.handle;
        if (facts.knows(result_known))
            line["result"] = facts.result;
        if (facts.knows(identifier_known))
            line["identifier"] = identifier_text(facts.identifier);
        if (judged.of != nullptr)
            line["message"] = vorl::name_of(*judged.of);
        else if (described != nullptr && described->contains(facts.identifier))
            line["message"] = described->at(facts.identifier).name;
        line["number"] = facts.number;
        if (facts.of_send != 1) {
            line["index"] = facts.index;
            line["of_send"] = facts.of_send;
        }
        line["length"] = facts.length;
        line["kept"] = f.kept.size();
        if (facts.lost != 0)
            line["lost_before"] = facts.lost;
        if (facts.knows(addresses_replaced))
            line["addresses_replaced"] = true;
        line["verdict"] = capture::name_of(judged.is);
        if (judged.why)
            line["why"] = to_text(*judged.why);
        write_line(line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), f, judged);
    }

    void count(const process_facts &of, const counters &counted) override
    {
        nlohmann::ordered_json line = {{"process", of.process}};
        if (!of.command.empty() && !leaves_out_commands_)
            line["command"] = of.command;
        line["counters"] = {{"seen", counted.seen},
                            {"overwritten", counted.overwritten},
                            {"dropped", counted.dropped},
                            {"given", counted.given}};
        write(line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n');
    }

  private:
    void write(std::string_view text) { to_.write(text.data(), text.size()); }

    /// With the record as its last member, or the bytes where there is none.
    void write_line(std::string facts, const frame &f, const verdict &judged)
    {
        facts.pop_back();
        write(facts);
        if (judged.is == verdict::kind::accepted) {
            decoded_record record(*judged.of);
            if (!record.read(f.kept)) {
                write(",\"record\":");
                json::write_record(*judged.of, record.data(), json::zeros::omit, names_,
                                   [this](std::string_view part) { write(part); });
                write("}\n");
                return;
            }
        }
        write(",\"bytes\":\"");
        write(to_hex(f.kept.data(), f.kept.size()));
        write("\"}\n");
    }

    output_file &to_;
    const inspect::labels *names_;
    bool leaves_out_commands_;
};

} // namespace

std::unique_ptr<output> make_json_output(output_file &to, const inspect::labels *names,
                                         bool leaves_out_commands)
{
    return std::make_unique<json_output>(to, names, leaves_out_commands);
}

} // namespace vorl::tap
