#include "platform/wake.h"

namespace kavrel {

void SleepWhile(const std::atomic<std::uint32_t>& number, std::uint32_t old) {
  number.wait(old);
}

void Wake(std::atomic<std::uint32_t>& number) {
  number.notify_one();
}

}  // namespace kavrel
