// A labels file, and behind a byte 0x1C objects that are read with it, one a line.
//
// What is wrong with the file is said in lines that can be shown. What is right of it names slots as
// a labels file may, in forms that fit. An object that is accepted is the same when it has been
// written with the labels and read again, and when it has been written without them.
#include <sstream>
#include <string>

#include "catalogue/catalogue.h"
#include "fuzz/finding.h"
#include "inspect/labels.h"
#include "tools/vorl/json_lines.h"

namespace {

using vorl::message;
using vorl::fuzz::check;
using vorl::fuzz::finding;
namespace catalogue = vorl::catalogue;
namespace inspect = vorl::inspect;
namespace json = vorl::json;

constexpr char separator = 0x1C;

void check_text(const std::string &text)
{
    for (const char c : text)
        check(c >= 0x20 && c < 0x7F, "a message that is not one line of printable characters");
}

void check_problems(const inspect::labels_file &file)
{
    std::size_t line = 1;
    for (const inspect::labels_problem &problem : file.problems) {
        check(problem.line >= line, "problems in another order than the file's");
        line = problem.line;
        check_text(problem.what);
        const bool has_remedy = problem.what.find("; ") != std::string::npos;
        check(has_remedy, "a problem without what to do");
    }
}

void check_labels(const catalogue::message_info &info, const inspect::labels &names)
{
    for (std::size_t i = 0; i < info.slots.size(); ++i) {
        const inspect::label *const as = names.label_of(info.data, i);
        if (as == nullptr)
            continue;
        check(as->shown_as == inspect::form::none ||
                  inspect::fits(as->shown_as, info.data.slots[i]),
              "a form that does not fit");
        check(as->name != "message", "a member that hides the message's name");
        check(catalogue::find_slot(info, as->name) == info.slots.size(),
              "a name that is a slot's, too");
        check(as->name.empty() || names.find_slot(info.data, as->name) == i, "a name of two slots");
    }
}

void write_and_read(const json::record &record, const inspect::labels &names)
{
    const message &type = record.type();
    for (const json::zeros zeros : {json::zeros::omit, json::zeros::write}) {
        for (const inspect::labels *as : {static_cast<const inspect::labels *>(nullptr), &names}) {
            const std::string line = json::format_record(type, record.data(), zeros, as);
            const json::record again = json::parse_record(line, &names);
            const std::string path = json::first_difference(type, record.data(), again.data());
            if (!path.empty())
                finding(std::string(name_of(type)) + ", " + path + " differs when written as " +
                        line);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    const std::size_t cut = text.find(separator);
    const inspect::labels_file file = inspect::read_labels(text.substr(0, cut));
    check_problems(file);
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages)
            check_labels(info, file.right);
    }
    if (cut == std::string::npos)
        return 0;
    std::istringstream objects(text.substr(cut + 1));
    json::line_reader lines(objects, "text", &file.right);
    for (;;) {
        try {
            const auto record = lines.next();
            if (!record)
                return 0;
            write_and_read(*record, file.right);
        } catch (const json::input_error &error) {
            check_text(error.what());
        }
    }
}
