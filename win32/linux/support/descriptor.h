// The owner of a file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace win32 {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() { reset(); }

    // Negative if there is none.
    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }
    void reset() {
        if (number_ >= 0) {
            close(std::exchange(number_, -1));
        }
    }

private:
    int number_ = -1;
};

}  // namespace win32
