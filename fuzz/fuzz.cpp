#include "fuzz.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace fuzz {

namespace {

// Set before any constructor runs, so that the targets of all sources can enter themselves.
constinit const Target* first = nullptr;

}  // namespace

Target::Target(const char* itsName, void (*itsRun)(Input)) : name(itsName), run(itsRun), next(first) { first = this; }

const Target* targets() { return first; }

void require(bool holds, const char* what) {
    if (!holds) {
        std::cerr << "doesn't hold: " << what << std::endl;
        std::abort();
    }
}

std::uint8_t Parts::byte() {
    if (rest_.empty()) {
        return 0;
    }
    const std::uint8_t head = rest_.front();
    rest_ = rest_.subspan(1);
    return head;
}

std::string Parts::text() {
    const auto zero = std::find(rest_.begin(), rest_.end(), 0);
    std::string head(rest_.begin(), zero);
    rest_ = rest_.subspan(std::min(head.size() + 1, rest_.size()));
    return head;
}

}  // namespace fuzz
