// Names for those of the system's error codes that the program looks for or gives itself; every
// other code is only shown.
#pragma once

#ifndef _WIN32
#include <cerrno>
#endif

#include "base/result.h"

namespace kavrel {

#ifdef _WIN32
/// The system's own numbers, so that its message table has their texts.
inline constexpr ErrorCode kErrNotFound = 2, kErrAccess = 5, kErrIsFolder = 5, kErrTooLarge = 8,
                           kErrInvalid = 123, kErrNotEmpty = 145, kErrExists = 183,
                           kErrTooDeep = 206, kErrNotSupported = 50, kErrNoDevice = 1617;

/// True when nothing has that name; the folder that should hold it may be missing as well.
constexpr bool IsNotFound(ErrorCode code) {
  return code == kErrNotFound || code == 3;
}
/// True when the name is taken.
constexpr bool IsTaken(ErrorCode code) {
  return code == kErrExists || code == 80;
}
/// True when there is no room, or no open file, left: later there may be.
constexpr bool IsExhausted(ErrorCode code) {
  return code == 112 || code == 39 || code == 4;
}
/// True when an attribute is too large for the room that there is.
constexpr bool IsBeyondRoom(ErrorCode code) {
  return code == 112;
}
/// True for what may pass by itself: shared, locked, busy, too many open.
constexpr bool MayPass(ErrorCode code) {
  return code == 32 || code == 33 || code == 170 || code == 4;
}
/// True when a file can have no further name there: the file system has no links, or none between
/// these places, or the file has as many as it may.
constexpr bool IsBeyondLinks(ErrorCode code) {
  return code == 1 || code == 17 || code == 50 || code == 1142;
}
/// True when this file alone has as many names as it may have.
constexpr bool HasAllLinks(ErrorCode code) {
  return code == 1142;
}
/// True when two files cannot share blocks there.
constexpr bool IsBeyondClones(ErrorCode code) {
  return code == 1 || code == 17 || code == 50;
}
#else
inline constexpr ErrorCode kErrNotFound = ENOENT, kErrAccess = EACCES, kErrIsFolder = EISDIR,
                           kErrTooLarge = ENOMEM, kErrInvalid = EINVAL, kErrNotEmpty = ENOTEMPTY,
                           kErrExists = EEXIST, kErrTooDeep = ENAMETOOLONG,
                           kErrNotSupported = EOPNOTSUPP, kErrNoDevice = ENODEV;

/// True when nothing has that name; the folder that should hold it may be missing as well.
constexpr bool IsNotFound(ErrorCode code) {
  return code == kErrNotFound;
}
/// True when the name is taken.
constexpr bool IsTaken(ErrorCode code) {
  return code == kErrExists;
}
/// True when there is no room, or no open file, left: later there may be.
constexpr bool IsExhausted(ErrorCode code) {
  return code == ENOSPC || code == EDQUOT || code == EMFILE || code == ENFILE;
}
/// True when an attribute is too large for the room that there is.
constexpr bool IsBeyondRoom(ErrorCode code) {
  return code == ENOSPC || code == EDQUOT || code == E2BIG || code == ERANGE;
}
/// True for what may pass by itself: busy, locked (a share tells so as ETXTBSY, a lease as EAGAIN),
/// a server's handle gone stale, too many open in the whole system. Of this process's own nobody
/// else lets one go.
constexpr bool MayPass(ErrorCode code) {
  return code == EBUSY || code == ETXTBSY || code == EAGAIN || code == EINTR || code == ESTALE ||
         code == ENFILE;
}
/// True when a file can have no further name there: the file system has no links, or none between
/// these places, or the file has as many as it may, or the system lets nobody else link it.
constexpr bool IsBeyondLinks(ErrorCode code) {
  return code == EMLINK || code == EXDEV || code == EPERM || code == ENOSYS || code == EOPNOTSUPP;
}
/// True when this file alone has as many names as it may have.
constexpr bool HasAllLinks(ErrorCode code) {
  return code == EMLINK;
}
/// True when two files cannot share blocks there.
constexpr bool IsBeyondClones(ErrorCode code) {
  return code == EOPNOTSUPP || code == EXDEV || code == EINVAL || code == ENOTTY ||
         code == ENOSYS || code == EPERM;
}
#endif

}  // namespace kavrel
