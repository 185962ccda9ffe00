#include "files/shared_file.h"

#include "base/number.h"
#include "base/secret.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "platform/files.h"

namespace kavrel {

namespace {

constexpr int kMostCopies = 999;

std::size_t SumOf(std::string_view bytes) {
  return std::hash<std::string_view>()(bytes);
}

/// "other_Backup.rtm", "other_Backup_2.rtm" …
std::u16string CopyName(std::u16string_view name, int number) {
  std::u16string copy = u"other_" + std::u16string(name);
  if (number > 1) copy.insert(std::min(copy.rfind(u'.'), copy.size()), u"_" + Decimal(number));
  return copy;
}

}  // namespace

SharedFile::SharedFile(const FileSystem& files, std::u16string_view name)
    : files_(files), name_(name), path_(JoinPath(files.ProgramFolder(), name)) {}

Result<std::string> SharedFile::Read() {
  Result<std::string> bytes = files_.ReadWhole(path_);
  unreadable_ = bytes || IsNotFound(bytes.Error) ? 0 : bytes.Error;
  seen_ = bytes ? std::optional(SumOf(*bytes)) : std::nullopt;
  return bytes;
}

ErrorCode SharedFile::Write(std::string_view bytes) {
  if (unreadable_) return unreadable_;
  // What is there cannot be told from its size and time: two saves of one second, or of one tick
  // of a coarse clock, may have the same.
  Result<std::string> present = files_.ReadWhole(path_);
  ErrorCode error = present || IsNotFound(present.Error) ? 0 : present.Error;
  if (present && *present != bytes && seen_ != SumOf(*present)) error = Keep(*present);
  Wipe(*present);
  if (!error) error = files_.ReplaceWhole(path_, bytes);
  if (!error) seen_ = SumOf(bytes);
  return error;
}

ErrorCode SharedFile::KeepOther() const {
  Result<std::string> present = files_.ReadWhole(path_);
  if (!present) return IsNotFound(present.Error) ? 0 : present.Error;
  const ErrorCode error = Keep(*present);
  Wipe(*present);
  return error;
}

ErrorCode SharedFile::Keep(std::string_view bytes) const {
  if (bytes.empty()) return 0;
  for (int number = 1; number <= kMostCopies; ++number) {
    const std::u16string path = JoinPath(files_.ProgramFolder(), CopyName(name_, number));
    Result<std::string> taken = files_.ReadWhole(path);
    const bool same = taken && *taken == bytes;
    Wipe(*taken);
    if (taken ? !same : !IsNotFound(taken.Error)) continue;
    const ErrorCode error = taken ? 0 : files_.ReplaceWhole(path, bytes);
    if (!error && Kept) Kept(path_, path);
    return error;
  }
  return kErrExists;
}

}  // namespace kavrel
