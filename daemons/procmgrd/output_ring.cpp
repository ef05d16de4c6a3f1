#include "daemons/procmgrd/output_ring.h"

#include <algorithm>
#include <cstring>

namespace ProcMgrDaemon {

/// Before the text. Behind it stands the size of all three, so that one can go backwards too.
struct OutputRing::Header {
    uint64_t sequence;
    int64_t time;
    int32_t pid;
    uint32_t textSize : 24;
    uint32_t isCut : 1;

    size_t Total() const { return sizeof(Header) + textSize + sizeof(uint32_t); }
};

OutputRing::OutputRing(OutputBudget& budget, size_t most)
    : budget_(budget), most_(std::max(most, kLeastBytes)) {
    static_assert(kLeastBytes > kLongestLine + sizeof(Header) + sizeof(uint32_t));
}

OutputRing::~OutputRing() {
    budget_.bytesLeft += static_cast<int64_t>(bytes_.size());
}

void OutputRing::Push(const OutputLine& line, std::string_view text) {
    text = text.substr(0, kLongestLine);
    Header header{};
    header.sequence = line.sequence;
    header.time = line.time;
    header.pid = line.pid;
    header.textSize = static_cast<uint32_t>(text.size());
    header.isCut = line.isCut ? 1 : 0;
    const auto total = static_cast<uint32_t>(header.Total());
    MakeRoom(total);
    Append(&header, sizeof(header));
    Append(text.data(), text.size());
    Append(&total, sizeof(total));
    ++end_;
}

void OutputRing::MakeRoom(size_t size) {
    while (bytes_.size() - used_ < size && !Grow(used_ + size)) {
        DropOldest();
    }
}

// Doubles, so that growing costs little for each line.
bool OutputRing::Grow(size_t needed) {
    constexpr size_t kSmallest = 128;
    const size_t old = bytes_.size();
    const size_t size = std::min(std::max({needed, 2 * old, kSmallest}), most_);
    const auto more = static_cast<int64_t>(size - old);
    if (more == 0 || (size > kLeastBytes && old >= kLeastBytes && more > budget_.bytesLeft)) {
        return false;
    }
    std::vector<char> bytes(size);
    CopyOut(0, bytes.data(), used_);
    bytes_ = std::move(bytes);
    begin_ = 0;
    budget_.bytesLeft -= more;
    return true;
}

void OutputRing::DropOldest() {
    const size_t size = HeaderAt(0).Total();
    begin_ = Wrapped(begin_ + size);
    used_ -= size;
    ++first_;
}

void OutputRing::Append(const void* data, size_t size) {
    const size_t place = Wrapped(begin_ + used_);
    const size_t head = std::min(size, bytes_.size() - place);
    const char* const source = static_cast<const char*>(data);
    std::copy_n(source, head, bytes_.data() + place);
    std::copy_n(source + head, size - head, bytes_.data());
    used_ += size;
}

void OutputRing::CopyOut(size_t place, void* data, size_t size) const {
    if (size == 0) {
        return;
    }
    const size_t begin = Wrapped(begin_ + place);
    const size_t head = std::min(size, bytes_.size() - begin);
    char* const target = static_cast<char*>(data);
    std::copy_n(bytes_.data() + begin, head, target);
    std::copy_n(bytes_.data(), size - head, target + head);
}

OutputRing::Header OutputRing::HeaderAt(size_t place) const {
    Header header;
    CopyOut(place, &header, sizeof(header));
    return header;
}

// From the newest backwards: a reader who keeps up has only a few lines to go.
OutputRing::Reader::Reader(const OutputRing& ring, uint64_t number)
    : ring_(&ring), number_(ring.end_), place_(ring.used_) {
    for (; number_ > number && number_ > ring.first_; --number_) {
        uint32_t total = 0;
        ring.CopyOut(place_ - sizeof(total), &total, sizeof(total));
        place_ -= total;
    }
}

uint64_t OutputRing::Reader::Sequence() const {
    return ring_->HeaderAt(place_).sequence;
}

void OutputRing::Reader::Read(OutputLine& line) const {
    const Header header = ring_->HeaderAt(place_);
    line.sequence = header.sequence;
    line.time = header.time;
    line.pid = header.pid;
    line.isCut = header.isCut != 0;
    line.text.resize(header.textSize);
    ring_->CopyOut(place_ + sizeof(header), line.text.data(), line.text.size());
}

void OutputRing::Reader::Advance() {
    place_ += ring_->HeaderAt(place_).Total();
    ++number_;
}

}  // namespace ProcMgrDaemon
