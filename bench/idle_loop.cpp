// The yardstick of the idle agent: a program that only sleeps as its loop does, a millisecond and on to the next tick.
#include <cstdint>
#include <ctime>

int main() {
    constexpr std::int64_t tick = 15'600'000;
    constexpr std::int64_t second = 1'000'000'000;
    while (true) {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        const std::int64_t asked = now.tv_sec * second + now.tv_nsec + 1'000'000;
        const std::int64_t end = (asked + tick - 1) / tick * tick;
        const timespec until{end / second, end % second};
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
    }
}
