// Limits of a process, which Windows does not have.
#pragma once

struct rlimit {
  unsigned long rlim_cur, rlim_max;
};
inline constexpr int RLIMIT_FSIZE = 1, SIGXFSZ = 25;

inline int getrlimit(int, rlimit*) {
  return -1;
}
inline int setrlimit(int, const rlimit*) {
  return -1;
}
