// The end of a process that gets no more memory.
#pragma once

namespace kavrel {

/// From now on such a process, in whatever thread, says so on standard error and ends with this
/// code. Nothing is undone, since that would need memory, too: to the next run it is a killed one.
/// May be called before main, by what runs before all constructors.
void EndWhenOutOfMemory(int exit_code);

}  // namespace kavrel
