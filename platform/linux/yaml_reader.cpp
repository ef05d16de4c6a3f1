#include "platform/linux/yaml_reader.h"

#include <yaml.h>

#include <string_view>
#include <unordered_map>

#include "platform/linux/utf8.h"

namespace GrpOwnerLinux {

namespace {

constexpr size_t kDeepest = 64;
// Nested aliases let a small file stand for a huge one. A node costs 1 and what its text takes.
constexpr uint64_t kAliasBudget = 200000;
constexpr uint64_t kBytesPerCost = 16;

struct Event {
    Event() = default;
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    ~Event() { yaml_event_delete(&raw); }

    yaml_event_t raw{};
};

std::string_view TextOf(const yaml_char_t* text) {
    return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

uint32_t Position(size_t fromZero) {
    return static_cast<uint32_t>(fromZero + 1);  // the file is small
}

/// Builds the nodes from the parser's events. The recursion is as deep as the file, which is
/// limited.
class Reader {
public:
    Reader(const SourceText& text, Findings& findings) : text_(text), findings_(findings) {
        isUsable_ = yaml_parser_initialize(&parser_) != 0;
        if (isUsable_) {
            yaml_parser_set_input_string(
                &parser_, reinterpret_cast<const unsigned char*>(text.Bytes().data()),
                text.Bytes().size());
            yaml_parser_set_encoding(&parser_, YAML_UTF8_ENCODING);
        }
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() {
        if (isUsable_) {
            yaml_parser_delete(&parser_);
        }
    }

    YamlTree Read() {
        Event event;
        while (Next(event) && event.raw.type != YAML_STREAM_END_EVENT) {
            if (event.raw.type != YAML_DOCUMENT_START_EVENT) {
                continue;
            }
            if (tree_.root != nullptr) {
                Stop(PlaceOf(event), "a second document begins here",
                     "one file describes one group");
            } else if (Next(event)) {
                tree_.root = ReadNode(event, 1);
            }
        }
        tree_.isComplete = !isStopped_;
        return std::move(tree_);
    }

private:
    struct Anchor {
        YamlNode* node = nullptr;
        bool isOpen = true;  // its node is still being read
    };

    // False at the end of what can be read.
    bool Next(Event& event) {
        yaml_event_delete(&event.raw);
        if (!isUsable_ || isStopped_) {
            return false;
        }
        if (yaml_parser_parse(&parser_, &event.raw) == 0) {
            ComplainOfSyntax();
            return false;
        }
        return event.raw.type != YAML_NO_EVENT;
    }

    void Stop(const Span& place, std::string message, std::string help) {
        findings_.Error(place, std::move(message), std::move(help));
        isStopped_ = true;
    }

    void ComplainOfSyntax();

    Span PlaceOf(const yaml_mark_t& start, const yaml_mark_t& end) const {
        return text_.Between(Position(start.line), Position(start.column), Position(end.line),
                             Position(end.column));
    }
    Span PlaceOf(const Event& event) const {
        return PlaceOf(event.raw.start_mark, event.raw.end_mark);
    }

    YamlNode* NewNode(YamlNode::Kind kind, const Event& event) {
        YamlNode& node = tree_.nodes.emplace_back();
        node.kind = kind;
        node.place = PlaceOf(event);
        return &node;
    }

    YamlNode* ReadNode(const Event& event, size_t depth);
    YamlNode* ReadAlias(const Event& event);
    YamlNode* ReadScalar(const Event& event);
    void ReadSequence(YamlNode& sequence, size_t depth);
    void ReadMapping(YamlNode& mapping, size_t depth);
    void AddEntry(YamlNode& mapping, YamlNode* key, YamlNode* value,
                  std::unordered_map<std::string_view, uint32_t>& lines);
    void CloseCollection(YamlNode& node, const Event& end);
    void RefuseTag(const Event& event, const yaml_char_t* tag);

    const SourceText& text_;
    Findings& findings_;
    yaml_parser_t parser_{};
    bool isUsable_ = false;
    bool isStopped_ = false;
    YamlTree tree_;
    std::unordered_map<std::string, Anchor> anchors_;
    uint64_t aliasCost_ = 0;
};

void Reader::ComplainOfSyntax() {
    const std::string_view problem = TextOf(reinterpret_cast<const yaml_char_t*>(parser_.problem));
    const std::string_view context = TextOf(reinterpret_cast<const yaml_char_t*>(parser_.context));
    const yaml_mark_t& mark = parser_.problem_mark;
    const Span place{Position(mark.line), Position(mark.column), 1};
    const std::string_view line = text_.Line(place.line);
    const size_t indent = line.find_first_not_of(" \t");
    if (context == "while scanning a quoted scalar" &&
        problem.find("unexpected") != std::string_view::npos) {
        const yaml_mark_t& quote = parser_.context_mark;
        Stop({Position(quote.line), Position(quote.column), 1}, "this quote is never closed", "");
    } else if (line.substr(0, indent).find('\t') != std::string_view::npos) {
        Stop({place.line, static_cast<uint32_t>(line.find('\t') + 1), 1},
             "this line is indented with a tab", "indent with blanks");
    } else {
        std::string message = "this is not YAML: ";
        message.append(problem.empty() ? "it cannot be read" : problem);
        if (!context.empty()) {
            message.append(", ").append(context);
        }
        std::string help;
        if (parser_.context_mark.line < mark.line && !context.empty()) {
            help = "what cannot go on here begins in line " +
                   std::to_string(Position(parser_.context_mark.line));
        }
        Stop(place, std::move(message), std::move(help));
    }
}

YamlNode* Reader::ReadNode(const Event& event, size_t depth) {
    if (event.raw.type == YAML_ALIAS_EVENT) {
        return ReadAlias(event);
    }
    if (event.raw.type == YAML_SCALAR_EVENT) {
        return ReadScalar(event);
    }
    const bool isSequence = event.raw.type == YAML_SEQUENCE_START_EVENT;
    YamlNode& node =
        *NewNode(isSequence ? YamlNode::Kind::kSequence : YamlNode::Kind::kMapping, event);
    if (depth > kDeepest) {
        node.isComplete = false;
        Stop(node.place, "this is nested deeper than 64 levels", "");
        return &node;
    }
    // Lists and maps have the same layout in the event, but for their style.
    RefuseTag(event,
              isSequence ? event.raw.data.sequence_start.tag : event.raw.data.mapping_start.tag);
    const std::string anchor(TextOf(isSequence ? event.raw.data.sequence_start.anchor
                                               : event.raw.data.mapping_start.anchor));
    if (!anchor.empty()) {
        anchors_[anchor] = {};
    }
    if (isSequence) {
        ReadSequence(node, depth);
    } else {
        ReadMapping(node, depth);
    }
    if (!anchor.empty()) {
        anchors_[anchor] = {&node, false};
    }
    return &node;
}

YamlNode* Reader::ReadAlias(const Event& event) {
    const std::string name(TextOf(event.raw.data.alias.anchor));
    const auto anchor = anchors_.find(name);
    if (anchor == anchors_.end() || anchor->second.isOpen) {
        findings_.Error(PlaceOf(event),
                        anchor == anchors_.end()
                            ? "nothing above is marked as " + Quote("&" + name)
                            : Quote("*" + name) + " stands inside of what it stands for");
        return NewNode(YamlNode::Kind::kBroken, event);
    }
    aliasCost_ += anchor->second.node->cost;
    if (aliasCost_ > kAliasBudget) {
        Stop(PlaceOf(event), "the aliases of this file stand for too much", "");
    }
    return anchor->second.node;
}

YamlNode* Reader::ReadScalar(const Event& event) {
    const auto& scalar = event.raw.data.scalar;
    YamlNode& node = *NewNode(YamlNode::Kind::kScalar, event);
    node.text.assign(reinterpret_cast<const char*>(scalar.value), scalar.length);
    node.isQuoted = scalar.style != YAML_PLAIN_SCALAR_STYLE;
    node.cost += scalar.length / kBytesPerCost;
    RefuseTag(event, scalar.tag);
    if (scalar.anchor != nullptr) {
        anchors_[std::string(TextOf(scalar.anchor))] = {&node, false};
    }
    return &node;
}

void Reader::ReadSequence(YamlNode& sequence, size_t depth) {
    Event event;
    while (Next(event)) {
        if (event.raw.type == YAML_SEQUENCE_END_EVENT) {
            CloseCollection(sequence, event);
            return;
        }
        sequence.items.push_back(ReadNode(event, depth + 1));
        sequence.cost += sequence.items.back()->cost;
    }
    sequence.isComplete = false;
}

void Reader::ReadMapping(YamlNode& mapping, size_t depth) {
    std::unordered_map<std::string_view, uint32_t> lines;
    Event event;
    while (Next(event)) {
        if (event.raw.type == YAML_MAPPING_END_EVENT) {
            CloseCollection(mapping, event);
            return;
        }
        YamlNode* const key = ReadNode(event, depth + 1);
        if (!Next(event)) {
            break;
        }
        AddEntry(mapping, key, ReadNode(event, depth + 1), lines);
    }
    mapping.isComplete = false;
}

void Reader::AddEntry(YamlNode& mapping, YamlNode* key, YamlNode* value,
                      std::unordered_map<std::string_view, uint32_t>& lines) {
    mapping.cost += key->cost + value->cost;
    if (key->kind == YamlNode::Kind::kBroken) {
        return;
    }
    if (key->kind != YamlNode::Kind::kScalar) {
        findings_.Error(key->place, "a key must be a text");
        return;
    }
    const auto [first, isNew] = lines.emplace(key->text, key->place.line);
    if (!isNew) {
        findings_.Error(key->place, Quote(key->text) + " stands here a second time",
                        "the first one is in line " + std::to_string(first->second));
        return;
    }
    mapping.entries.emplace_back(key, value);
}

// Only a list or map in brackets ends where its last character is.
void Reader::CloseCollection(YamlNode& node, const Event& end) {
    if (end.raw.end_mark.index > end.raw.start_mark.index) {
        node.place =
            text_.Between(node.place.line, node.place.column, Position(end.raw.end_mark.line),
                          Position(end.raw.end_mark.column));
    }
}

void Reader::RefuseTag(const Event& event, const yaml_char_t* tag) {
    if (tag != nullptr) {
        findings_.Error(PlaceOf(event), "a tag means nothing here", "remove the tag");
    }
}

}  // namespace

YamlTree ReadYaml(const SourceText& text, Findings& findings) {
    return Reader(text, findings).Read();
}

}  // namespace GrpOwnerLinux
