// One thread sleeps until another one has changed a number. std::atomic's own wait is not for every
// system: where there is no such call, g++'s library looks at the number before it locks what it
// sleeps on, and a change that comes in between wakes nobody.
#pragma once

#include <atomic>
#include <cstdint>

namespace kavrel {

/// Returns as soon as the number is another one, at once if it is so already.
void SleepWhile(const std::atomic<std::uint32_t>& number, std::uint32_t old);

/// Wakes the one thread that may sleep over the number, which has been changed before.
void Wake(std::atomic<std::uint32_t>& number);

}  // namespace kavrel
