#include "daemons/grpowner-replay/script.h"

#include <algorithm>
#include <string_view>

namespace GrpOwnerReplay {

namespace {

using ProcMgr::Seeded::Step;

constexpr std::string_view kLetters = "lwost";  // in the order of the steps

constexpr char kMain[] = "main";

}  // namespace

Script::Script(const std::vector<Entry>& entries)
    : entries_(entries), isDone_(entries.size(), false) {
    for (size_t place = 0; place < entries.size(); ++place) {
        const auto [part, isNew] = parts_.try_emplace(entries[place].thread);
        part->second.places.push_back(place);
        if (isNew) {
            threads_.push_back(entries[place].thread);
        }
    }
}

size_t Script::PlaceOf(const std::string& thread) {
    const auto found = parts_.find(thread);
    if (found == parts_.end()) {
        return entries_.size();
    }
    Part& part = found->second;
    while (part.next < part.places.size() && isDone_[part.places[part.next]]) {
        ++part.next;
    }
    return part.next < part.places.size() ? part.places[part.next] : entries_.size();
}

const Entry* Script::Peek(const std::string& thread) {
    size_t place = PlaceOf(thread);
    while (place < entries_.size() && entries_[place].kind == Kind::kStep) {
        isDone_[place] = true;
        place = PlaceOf(thread);
    }
    return place < entries_.size() ? &entries_[place] : nullptr;
}

const Entry* Script::Find(const std::string& thread,
                          const std::function<bool(const Entry& entry)>& fits) const {
    const auto found = parts_.find(thread);
    if (found == parts_.end()) {
        return nullptr;
    }
    const Part& part = found->second;
    for (size_t index = part.next; index < part.places.size(); ++index) {
        const Entry& entry = entries_[part.places[index]];
        if (fits(entry)) {
            return &entry;
        }
        if (entry.kind == Kind::kOut) {
            break;
        }
    }
    return nullptr;
}

void Script::Drop(const std::string& thread) {
    const size_t place = PlaceOf(thread);
    if (place < entries_.size()) {
        isDone_[place] = true;
    }
}

std::string Script::Next() {
    while (next_ < entries_.size() && isDone_[next_]) {
        ++next_;
    }
    return next_ < entries_.size() ? entries_[next_].thread : kMain;
}

std::optional<Step> Script::Foresees(const std::string& thread, Step step, Step orElse) {
    const size_t place = PlaceOf(thread);
    if (place == entries_.size() || entries_[place].kind != Kind::kStep) {
        return std::nullopt;
    }
    for (const Step candidate : {step, orElse}) {
        if (entries_[place].what.front() == kLetters[static_cast<size_t>(candidate)]) {
            return candidate;
        }
    }
    return std::nullopt;
}

void Script::Make(const std::string& thread) {
    const size_t place = PlaceOf(thread);
    if (place < entries_.size()) {
        isDone_[place] = true;
        time_ = std::max(time_, entries_[place].time);
    }
}

void Script::PassOver() {
    if (Next() != kMain) {
        isDone_[next_] = true;
        ++passedOver_;
    }
}

}  // namespace GrpOwnerReplay
