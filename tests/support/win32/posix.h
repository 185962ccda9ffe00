// What the tests use of POSIX, as far as Windows has the like; included before every test there.
// What has no equal fails as it would for a user without the right, and the tests that need it are
// named in tests/windows/skipped.txt.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>

#include <filesystem>
#include <string>

inline constexpr int AT_FDCWD = -100, AT_SYMLINK_NOFOLLOW = 0x100;
inline constexpr int SIGKILL = 9, SIGHUP = 1;

int setenv(const char* name, const char* value, int overwrite);
int unsetenv(const char* name);
char* mkdtemp(char* name);
/// Only the write permission means something: without it the file gets the read-only attribute.
int chmod(const wchar_t* path, int mode);
int mkfifo(const wchar_t* path, int mode);
int utimensat(int folder, const wchar_t* path, const timespec times[2], int flags);
int geteuid();
int chown(const wchar_t* path, int user, int group);
int seteuid(int user);
int setegid(int group);
using gid_t = unsigned;
int getgroups(int count, gid_t* groups);
int setgroups(std::size_t count, const gid_t* groups);
/// No disk is mounted and no limit is set: tests that need one pass themselves over.
int mount(const char*, const wchar_t*, const char*, unsigned long, const void*);
int mount(const wchar_t*, const wchar_t*, const char*, unsigned long, const void*);
int umount2(const wchar_t*, int flags);
inline constexpr int MNT_DETACH = 2;
inline constexpr unsigned long MS_BIND = 4096;
/// `process` as BackgroundCommand gives it: everything but SIGKILL is an interrupt of the console.
int kill(pid_t process, int signal_number);
