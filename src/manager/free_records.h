#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "src/application/application.h"

namespace ProcMgr {

/// What a graph offers, from pass to pass: with a thousand names that are offered again and again,
/// looking each of them up would be most of a pass. For the one thread that runs the passes.
struct FreeRecords {
    /// Brings the names to what is offered now; forgets the records when one has gone or been
    /// replaced since.
    void Refresh(const std::set<std::string>& names, uint64_t removalsNow) {
        if (std::exchange(removals, removalsNow) != removalsNow) {
            records.clear();
        }
        auto entry = records.begin();
        for (const std::string& name : names) {
            int order = -1;  // of the record to the name; most of the time both are the same
            while (entry != records.end() && (order = entry->first.compare(name)) < 0) {
                entry = records.erase(entry);
            }
            if (entry == records.end() || order > 0) {
                entry = records.emplace_hint(entry, name, nullptr);
            }
            ++entry;
        }
        records.erase(entry, records.end());
    }

    std::map<std::string, std::shared_ptr<Application>> records;  // null: still to be looked up
    uint64_t removals = 0;  // the manager's, when the records were looked up
};

}  // namespace ProcMgr
