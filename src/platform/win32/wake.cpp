// The system's own call for this is not in Windows 7, so all sleepers share one bed.
#include "platform/wake.h"

#include "platform/win32/native.h"

namespace kavrel {

namespace {
SRWLOCK lock = SRWLOCK_INIT;
CONDITION_VARIABLE woken = CONDITION_VARIABLE_INIT;
std::atomic<int> asleep = 0;
}  // namespace

void SleepWhile(const std::atomic<std::uint32_t>& number, std::uint32_t old) {
  AcquireSRWLockExclusive(&lock);
  ++asleep;
  while (number == old) SleepConditionVariableSRW(&woken, &lock, INFINITE, 0);
  --asleep;
  ReleaseSRWLockExclusive(&lock);
}

void Wake(std::atomic<std::uint32_t>&) {
  // A thread that counts itself only now looks at the number afterwards, and finds it changed.
  if (asleep == 0) return;
  // A thread that has counted itself holds the lock until it sleeps.
  AcquireSRWLockExclusive(&lock);
  ReleaseSRWLockExclusive(&lock);
  WakeAllConditionVariable(&woken);
}

}  // namespace kavrel
