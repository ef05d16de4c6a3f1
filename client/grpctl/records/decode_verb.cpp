// A record of either wire field by field, from a file and without an owner.

#include <unistd.h>

#include <algorithm>
#include <cctype>

#include "client/grpctl/records/record_decoder.h"
#include "client/grpctl/text/failure.h"
#include "client/grpctl/text/hex.h"
#include "client/grpctl/text/input.h"
#include "client/grpctl/text/json_output.h"
#include "client/grpctl/text/table.h"
#include "client/grpctl/typed/verb_runs.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using Bytes = std::vector<uint8_t>;

// Blanks and line breaks between the digits are for people.
Bytes FromHex(const Bytes& input) {
    std::string digits(input.begin(), input.end());
    digits.erase(std::remove_if(digits.begin(), digits.end(),
                                [](unsigned char character) { return std::isspace(character); }),
                 digits.end());
    Bytes bytes;
    if (!AppendHex(digits, bytes)) {
        throw Failure{kWrongUsage, "this is no row of hexadecimal digits", "",
                      "write two for each byte, or leave --hex out: 0a1b"};
    }
    return bytes;
}

std::string ValueText(const DecodedField& field) {
    std::string text = field.number            ? std::to_string(*field.number)
                       : field.type == "zeros" ? ""
                       : field.type == "i32"   ? field.bytes
                                               : GrpOwnerLinux::Escaped(field.bytes);
    if (!field.meaning.empty()) {
        text += field.type == "i32" ? " " + field.meaning : " (" + field.meaning + ")";
    }
    return text;
}

// What all of the list belong to is said once, above them.
std::string ShownName(const std::string& name) {
    const size_t bracket = name.find('[');
    return bracket == name.npos ? name : "  " + name.substr(bracket);
}

void ShowText(const DecodedRecord& record, size_t size, const Screen& screen) {
    std::vector<Row> rows{{{"OFFSET", Style::kHead},
                           {"BYTES", Style::kHead},
                           {"FIELD", Style::kHead},
                           {"TYPE", Style::kHead},
                           {"VALUE", Style::kHead}}};
    for (const DecodedField& field : record.fields) {
        const bool isWrong = std::any_of(
            record.problems.begin(), record.problems.end(),
            [&field](const DecodedProblem& problem) { return problem.offset == field.offset; });
        rows.push_back({std::to_string(field.offset),
                        std::to_string(field.size),
                        ShownName(field.name),
                        field.type,
                        {ValueText(field), isWrong ? Style::kBad : Style::kPlain}});
    }
    Put(std::to_string(size) + " bytes, " + record.title + "\n\n" + LayOut(rows, screen.isColored));
    for (const DecodedProblem& problem : record.problems) {
        Put((&problem == &record.problems.front() ? "\n" : "") + screen.Mark(false) + " at " +
            std::to_string(problem.offset) + ": " + problem.what + "\n");
    }
}

Json ToJson(const DecodedField& field) {
    Json json{{"offset", field.offset},
              {"bytes", field.size},
              {"name", field.name},
              {"type", field.type}};
    if (field.number) {
        json["value"] = *field.number;
    } else if (field.type == "i32") {
        json["value"] = std::stoi(field.bytes);
    } else if (field.type != "zeros") {
        json["value"] = field.bytes;
        json["hex"] = ToHex({field.bytes.begin(), field.bytes.end()});
    }
    if (!field.meaning.empty()) {
        json["meaning"] = field.meaning;
    }
    return json;
}

void ShowJson(const DecodedRecord& record, size_t size) {
    Json json = NewObject();
    json["bytes"] = size;
    json["title"] = record.title;
    json["fields"] = Json::array();
    for (const DecodedField& field : record.fields) {
        json["fields"].push_back(ToJson(field));
    }
    json["problems"] = Json::array();
    for (const DecodedProblem& problem : record.problems) {
        json["problems"].push_back({{"offset", problem.offset}, {"what", problem.what}});
    }
    PutJson(json);
}

}  // namespace

int RunDecode(const Options& options) {
    const Bytes input = ReadInput(options.operands.empty() ? "-" : options.operands.front());
    const Bytes bytes = options.isHex ? FromHex(input) : input;
    const auto record = DecodeRecord(std::string(bytes.begin(), bytes.end()), options.recordShape);
    if (!record) {
        const bool isPm = !options.recordShape.empty() && bytes.size() == 3984;
        throw Failure{kWrongUsage,
                      isPm ? "a record of 3984 bytes says itself what it is"
                           : std::to_string(bytes.size()) + " bytes are no record",
                      "",
                      isPm ? "leave --as out"
                           : "3984 between owner and process manager, 4000 between system-state "
                             "manager and owner; digits go with --hex"};
    }
    const Screen screen = Screen::Of(STDOUT_FILENO, options.color);
    options.format == Format::kJson ? ShowJson(*record, bytes.size())
                                    : ShowText(*record, bytes.size(), screen);
    if (bytes.size() == 4000 && options.recordShape.empty()) {
        Say(options,
            "what the payload is, the record does not say: see --as in `grpctl decode --help`");
    }
    return record->problems.empty() ? kDone : kFailed;
}

}  // namespace GrpCtl
