#pragma once

#include <new>

namespace ProcMgr {

/// A value that lives until the process is gone: for what service threads may still touch while the
/// process exits.
template <typename Value>
class NeverDestroyed {
public:
    NeverDestroyed() { new (storage_) Value; }
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    Value& operator*() { return *std::launder(reinterpret_cast<Value*>(storage_)); }
    Value* operator->() { return &**this; }

private:
    alignas(Value) unsigned char storage_[sizeof(Value)];
};

}  // namespace ProcMgr
