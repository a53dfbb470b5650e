// A part of an object that most objects don't have. It costs a pointer until it is made, and reads as an empty T
// until then. Copied deep.
#pragma once

#include <memory>
#include <utility>

namespace data {

template <typename T>
class OptionalPart {
public:
    OptionalPart() = default;
    OptionalPart(const OptionalPart& other) : part_(other.part_ ? std::make_unique<T>(*other.part_) : nullptr) {}
    OptionalPart(OptionalPart&& other) noexcept = default;
    OptionalPart& operator=(OptionalPart other) noexcept {
        part_ = std::move(other.part_);
        return *this;
    }
    ~OptionalPart() = default;

    const T& operator*() const { return part_ ? *part_ : empty(); }
    const T* operator->() const { return &**this; }

    // The part for writing, made if there is none.
    T& make() {
        if (!part_) {
            part_ = std::make_unique<T>();
        }
        return *part_;
    }

private:
    // Never destroyed: threads that outlive main's statics may still read.
    static const T& empty() {
        static const T* const instance = new T;
        return *instance;
    }

    std::unique_ptr<T> part_;
};

}  // namespace data
