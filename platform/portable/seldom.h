#pragma once

#include <memory>
#include <utility>

/// A value that seldom differs from the default one, and never changes but as a whole: the default
/// takes no room of its own, and copies share what does.
template <typename T>
class Seldom {
public:
    Seldom() = default;
    Seldom(T value)  // NOLINT: to be assigned like the value itself
        : value_(std::make_shared<const T>(std::move(value))) {}

    const T& operator*() const {
        static const T kDefault;
        return value_ ? *value_ : kDefault;
    }
    const T* operator->() const { return &**this; }

private:
    std::shared_ptr<const T> value_;
};
