#include "platform/portable/recording_fields.h"

#include <algorithm>
#include <set>

namespace GrpOwnerRecording {

namespace {

constexpr size_t kLargestBuffer = size_t{1} << 20;  // bytes; nothing that is recorded is larger
constexpr char kDigits[] = "0123456789abcdef";
constexpr char kEmpty[] = "-";

bool IsPlain(unsigned char byte, bool keepsBlanks) {
    return (byte > ' ' && byte < 0x7f && byte != '%') || (byte == ' ' && keepsBlanks);
}

void AppendEscaped(std::string& text, unsigned char byte) {
    text += '%';
    text += kDigits[byte / 16];
    text += kDigits[byte % 16];
}

int Digit(char digit) {
    const std::string_view digits(kDigits, 16);
    const size_t place = digits.find(digit);
    return place == digits.npos ? -1 : static_cast<int>(place);
}

}  // namespace

std::string Escape(std::string_view field, bool keepsBlanks) {
    if (field.empty()) {
        return kEmpty;
    }
    std::string text;
    if (field == kEmpty) {
        AppendEscaped(text, '-');
        return text;
    }
    text.reserve(field.size());
    for (const char character : field) {
        const auto byte = static_cast<unsigned char>(character);
        if (IsPlain(byte, keepsBlanks)) {
            text += character;
        } else {
            AppendEscaped(text, byte);
        }
    }
    return text;
}

std::string Unescape(std::string_view text) {
    if (text == kEmpty) {
        return {};
    }
    std::string field;
    field.reserve(text.size());
    for (size_t place = 0; place < text.size(); ++place) {
        const bool isEscaped = text[place] == '%' && place + 2 < text.size();
        const int high = isEscaped ? Digit(text[place + 1]) : -1;
        const int low = isEscaped ? Digit(text[place + 2]) : -1;
        if (high >= 0 && low >= 0) {
            field += static_cast<char>(high * 16 + low);
            place += 2;
        } else {
            field += text[place];
        }
    }
    return field;
}

FieldWriter& FieldWriter::Bytes(const void* bytes, size_t size) {
    const std::string_view all(static_cast<const char*>(bytes), bytes == nullptr ? 0 : size);
    const size_t used = all.find_last_not_of('\0') + 1;  // 0 when there is none
    return (*this)(size)(all.substr(0, used));
}

FieldWriter& FieldWriter::Map(const std::map<std::string, std::string>& map) {
    (*this)(map.size());
    for (const auto& [key, value] : map) {
        (*this)(key)(value);
    }
    return *this;
}

FieldWriter& FieldWriter::Manifest(const ManifestFields& manifest) {
    (*this)(manifest.appName)(manifest.binPath).List(manifest.arguments);
    (*this)(manifest.restart) (*manifest.soName) (*manifest.soPath)(*manifest.processBindPath);
    List (*manifest.coreAffinity)(*manifest.resGroupName).List(manifest.depends);
    Map (*manifest.envArgv)(manifest.uid)(manifest.gid)(manifest.termTimeOut);
    (*this)(manifest.heartBeatPeriodMs)(manifest.nodeType)(manifest.isSo)(manifest.isForceTerm);
    (*this)(manifest.isRosNode)(manifest.isReporting)(manifest.isAutoBoot)(manifest.isSetRtPrio);
    return (*this)(manifest.heartBeatSwitch)(manifest.isDynamicPara);
}

std::string FieldReader::Text() {
    if (next_ >= fields_.size()) {
        good_ = false;
        return {};
    }
    return fields_[next_++];
}

size_t FieldReader::Count() {
    const auto count = Get<size_t>();
    if (count > fields_.size() - next_) {
        good_ = false;
        return 0;
    }
    return count;
}

std::string FieldReader::Bytes() {
    const auto size = Get<size_t>();
    std::string bytes = Text();
    if (size > kLargestBuffer || bytes.size() > size) {
        good_ = false;
        return {};
    }
    bytes.resize(size);
    return bytes;
}

std::vector<std::string> FieldReader::Texts() {
    std::vector<std::string> texts(Count());
    for (std::string& text : texts) {
        text = Text();
    }
    return texts;
}

std::map<std::string, std::string> FieldReader::Map() {
    std::map<std::string, std::string> map;
    for (size_t left = Count(); left > 0; --left) {
        const std::string key = Text();
        map[key] = Text();
    }
    return map;
}

ManifestFields FieldReader::Manifest() {
    const auto flag = [this] { return Get<int>() != 0; };
    ManifestFields manifest;
    manifest.appName = Text();
    manifest.binPath = Text();
    manifest.arguments = Texts();
    manifest.restart = Text();
    manifest.soName = Text();
    manifest.soPath = Text();
    manifest.processBindPath = Text();
    std::vector<uint32_t> cores(Count());
    for (uint32_t& core : cores) {
        core = Get<uint32_t>();
    }
    manifest.coreAffinity = std::move(cores);
    manifest.resGroupName = Text();
    const std::vector<std::string> depends = Texts();
    manifest.depends = {depends.begin(), depends.end()};
    manifest.envArgv = Map();
    manifest.uid = Get<uint32_t>();
    manifest.gid = Get<uint32_t>();
    manifest.termTimeOut = Get<uint32_t>();
    manifest.heartBeatPeriodMs = Get<uint32_t>();
    manifest.nodeType = Get<int32_t>();
    for (bool* value : {&manifest.isSo, &manifest.isForceTerm, &manifest.isRosNode,
                        &manifest.isReporting, &manifest.isAutoBoot, &manifest.isSetRtPrio,
                        &manifest.heartBeatSwitch, &manifest.isDynamicPara}) {
        *value = flag();
    }
    return manifest;
}

}  // namespace GrpOwnerRecording
