#include "client/grpctl/records/record_decoder.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "client/grpctl/records/record_shapes.h"
#include "client/ss_wire.h"

namespace GrpCtl {

namespace {

namespace Ss = GrpOwnerClient::SsWire;

// Of a record between owner and process manager.
constexpr size_t kPmRecordSize = 3984;
constexpr size_t kPmLengthOffset = 8;
constexpr size_t kPmDataOffset = 16;
constexpr size_t kPmDataSize = 3964;

constexpr char kSeparator = '#';

std::string Times(uint64_t number, const char* what) {
    return std::to_string(number) + " " + what;
}

/// Goes through a record from its beginning to its end, and never beyond.
class Walker {
public:
    Walker(std::string_view bytes, DecodedRecord& record) : bytes_(bytes), record_(record) {}

    template <typename Number>
    Number Fixed(const char* name, const char* type) {
        Number number{};
        std::memcpy(&number, bytes_.data() + place_, sizeof(number));
        Add(name, type, sizeof(number)).number = static_cast<uint64_t>(number);
        return number;
    }

    DecodedField& Last() { return record_.fields.back(); }

    /// Bytes that nobody reads.
    void Raw(const char* name, size_t size) {
        if (size > 0) {
            const std::string_view raw = bytes_.substr(place_, size);
            const bool isZero = raw.find_first_not_of('\0') == raw.npos;
            Add(name, isZero ? "zeros" : "bytes", size).bytes = isZero ? "" : std::string(raw);
        }
    }

    void Problem(const std::string& what) { ProblemAt(place_, what); }
    void ProblemAt(size_t offset, const std::string& what) {
        record_.problems.push_back({offset, what});
    }

    /// The data area: what its payload says, then what is left of it.
    void Data(const PayloadShape* shape, uint64_t length, size_t capacity) {
        const size_t begin = place_;
        end_ = begin + static_cast<size_t>(std::min<uint64_t>(length, capacity));
        if (shape != nullptr) {
            coding_ = shape->coding;
            if (Fields(shape->fields, "") && place_ < end_) {
                Problem(Times(end_ - place_, "bytes behind the last field"));
            }
        }
        Raw(shape == nullptr ? "payload" : "not read", end_ - place_);
        Raw("behind the payload", begin + capacity - place_);
    }

private:
    DecodedField& Add(const std::string& name, const char* type, size_t size) {
        DecodedField field;
        field.offset = place_;
        field.size = size;
        field.name = name;
        field.type = type;
        place_ += size;
        record_.fields.push_back(std::move(field));
        return record_.fields.back();
    }

    // False when the data is over, or so wrong that nobody can tell where the next field begins.
    bool Fields(const FieldShape* shapes, const std::string& prefix) {
        for (const FieldShape* shape = shapes; shape->name != nullptr; ++shape) {
            if (!Field(*shape, prefix + shape->name)) {
                return false;
            }
        }
        return true;
    }

    bool Field(const FieldShape& shape, const std::string& name) {
        uint64_t number = 0;
        switch (shape.type) {
            case FieldType::kText:
                return Text(name);
            case FieldType::kNumber:
            case FieldType::kByte:
            case FieldType::kLast:
                return Number(shape, name, number);
            case FieldType::kList:
                return Number(shape, name, number) && Items(shape, name, number);
            case FieldType::kPieces:
                if (!Number(shape, name, pieces_)) {
                    return false;
                }
                if (pieces_ == 0) {
                    ProblemAt(Last().offset, "no pieces: the result is one");
                    return false;
                }
                return true;
            case FieldType::kItems:
                return Items(shape, name, pieces_ - 1);
            case FieldType::kUntilEnd:
                for (size_t index = 0; place_ < end_; ++index) {
                    if (!Item(shape, name, index)) {
                        return false;
                    }
                }
                return true;
        }
        return false;
    }

    // However many are announced: each takes at least a byte.
    bool Items(const FieldShape& shape, const std::string& name, uint64_t count) {
        for (uint64_t index = 0; index < count; ++index) {
            if (place_ == end_) {
                Problem("the data ends behind " + std::to_string(index) + " of " +
                        Times(count, name.c_str()));
                return false;
            }
            if (!Item(shape, name, index)) {
                return false;
            }
        }
        return true;
    }

    bool Item(const FieldShape& shape, const std::string& name, uint64_t index) {
        const std::string item = name + "[" + std::to_string(index) + "]";
        return shape.items[1].name == nullptr ? Field(shape.items[0], item)
                                              : Fields(shape.items, item + ".");
    }

    bool Number(const FieldShape& shape, const std::string& name, uint64_t& number) {
        return coding_ == Coding::kText ? TextNumber(shape, name, number)
                                        : BinaryNumber(shape, name, number);
    }

    void Tell(const FieldShape& shape, const std::string& name, uint64_t number) {
        Last().number = number;
        Last().meaning = shape.meaning == nullptr ? "" : shape.meaning(number);
        if (number > shape.most) {
            ProblemAt(Last().offset, name + " is " + std::to_string(number) + ", at most " +
                                         std::to_string(shape.most) + " is good");
        }
    }

    bool TextNumber(const FieldShape& shape, const std::string& name, uint64_t& number) {
        const size_t begin = place_;
        mayLackEnd_ = shape.type == FieldType::kLast;
        const bool hasEnd = Text(name) || mayLackEnd_;
        mayLackEnd_ = false;
        const std::string text = Last().bytes;
        const bool isNegative = shape.isSigned && text.rfind('-', 0) == 0;
        const char* const end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data() + (isNegative ? 1 : 0), end, number);
        if (text.empty() || error != std::errc() || rest != end) {
            ProblemAt(begin, name + " is no number");
            return false;
        }
        Last().type = "number#";
        if (!isNegative) {
            Last().bytes.clear();
            Tell(shape, name, number);
        }
        return hasEnd;
    }

    bool BinaryNumber(const FieldShape& shape, const std::string& name, uint64_t& number) {
        const size_t size = shape.type == FieldType::kByte ? 1 : sizeof(uint32_t);
        if (end_ - place_ < size) {
            Problem(name + " needs " + Times(size, "bytes, there are ") +
                    std::to_string(end_ - place_));
            return false;
        }
        number =
            size == 1 ? Fixed<uint8_t>(name.c_str(), "u8") : Fixed<uint32_t>(name.c_str(), "u32");
        Tell(shape, name, number);
        return true;
    }

    bool Text(const std::string& name) {
        if (coding_ == Coding::kBinary) {
            return BinaryText(name);
        }
        const size_t begin = place_;
        const size_t found = bytes_.substr(0, end_).find(kSeparator, place_);
        const bool hasEnd = found != bytes_.npos;
        const size_t size = (hasEnd ? found : end_) - begin;
        Add(name, "text#", size + (hasEnd ? 1 : 0)).bytes = bytes_.substr(begin, size);
        if (!hasEnd && !mayLackEnd_) {
            ProblemAt(begin, name + " does not end in #");
        }
        return hasEnd;
    }

    bool BinaryText(const std::string& name) {
        uint64_t length = 0;
        const size_t begin = place_;
        if (!BinaryNumber({"", FieldType::kNumber}, name + " length", length)) {
            return false;
        }
        if (length > end_ - place_) {
            ProblemAt(begin, name + " has " + Times(length, "bytes, there are ") +
                                 std::to_string(end_ - place_));
            return false;
        }
        const auto size = static_cast<size_t>(length);
        const std::string_view text = bytes_.substr(place_, size);
        Add(name, "text", size).bytes = text;
        return true;
    }

    const std::string_view bytes_;
    DecodedRecord& record_;
    size_t place_ = 0;
    size_t end_ = 0;  // of the payload
    Coding coding_ = Coding::kText;
    uint64_t pieces_ = 1;
    bool mayLackEnd_ = false;  // the field that is being read
};

DecodedRecord DecodePm(std::string_view bytes) {
    DecodedRecord record;
    Walker walker(bytes, record);
    const auto type = walker.Fixed<uint32_t>("type", "u32");
    const PayloadShape* const shape = PmShape(type);
    record.title = "between owner and process manager";
    walker.Last().meaning = shape == nullptr ? "" : shape->name;
    if (shape == nullptr) {
        walker.ProblemAt(0, "no record has the type " + std::to_string(type));
    }
    walker.Raw("padding", kPmLengthOffset - sizeof(type));
    const auto length = walker.Fixed<uint64_t>("length", "u64");
    if (length > kPmDataSize) {
        walker.ProblemAt(kPmLengthOffset, "length is " + std::to_string(length) +
                                              ", there is room for " + std::to_string(kPmDataSize));
    }
    walker.Data(shape, length, kPmDataSize);
    walker.Raw("padding", kPmRecordSize - kPmDataOffset - kPmDataSize);
    return record;
}

DecodedRecord DecodeSs(std::string_view bytes, const PayloadShape* shape) {
    DecodedRecord record;
    Walker walker(bytes, record);
    record.title = std::string("between system-state manager and owner") +
                   (shape == nullptr ? "" : ", as ") + (shape == nullptr ? "" : shape->name);
    const auto size = walker.Fixed<uint64_t>("size", "u64");
    if (size > Ss::kDataSize) {
        walker.ProblemAt(0, "size is " + std::to_string(size) + ", there is room for " +
                                std::to_string(Ss::kDataSize));
    }
    const auto timeout = walker.Fixed<int32_t>("timeout", "i32");
    walker.Last().number.reset();
    walker.Last().bytes = std::to_string(timeout);
    walker.Last().meaning = "ms";
    walker.Data(shape, size, Ss::kDataSize);
    return record;
}

}  // namespace

std::optional<DecodedRecord> DecodeRecord(std::string_view bytes, std::string_view shape) {
    const PayloadShape* const known = SsShape(shape);
    if (known == nullptr && !shape.empty()) {
        return std::nullopt;
    }
    if (bytes.size() == kPmRecordSize && shape.empty()) {
        return DecodePm(bytes);
    }
    return bytes.size() == Ss::kRecordSize ? std::optional(DecodeSs(bytes, known)) : std::nullopt;
}

}  // namespace GrpCtl
