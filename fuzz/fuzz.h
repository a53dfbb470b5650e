// What the fuzz targets share. A target stands for a door through which bytes of others come, and holds what must be
// true whatever they are; the engine makes up the bytes, and a replay goes through those that are kept in tests/fuzz.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace fuzz {

using Input = std::span<const std::uint8_t>;

struct Target {
    Target(const char* itsName, void (*itsRun)(Input));

    const char* name;
    void (*run)(Input);
    const Target* next;
};

// All that are linked into the program.
const Target* targets();

// Says what doesn't hold, and ends the program, which the engine takes for a finding.
void require(bool holds, const char* what);

inline std::string_view textOf(Input input) { return {reinterpret_cast<const char*>(input.data()), input.size()}; }

// Takes parts of an input from its head, for targets that want several values. Behind the end come zeros and "".
class Parts {
public:
    explicit Parts(Input input) : rest_(input) {}

    std::uint8_t byte();
    // Up to the next zero byte, which goes too.
    std::string text();
    std::string_view rest() const { return textOf(rest_); }
    bool empty() const { return rest_.empty(); }

private:
    Input rest_;
};

}  // namespace fuzz

// FUZZ_TARGET(name) { ... `input` ... }
#define FUZZ_TARGET(target)                                           \
    static void run_##target(fuzz::Input input);                      \
    static const fuzz::Target target_##target(#target, run_##target); \
    static void run_##target(fuzz::Input input)
