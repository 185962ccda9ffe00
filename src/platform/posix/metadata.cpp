#include "platform/metadata.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <string>

#include "platform/posix/native.h"

namespace kavrel {

using posix::Retry;

namespace {

constexpr const char *kAccessList = "system.posix_acl_access",
                     *kDefaultList = "system.posix_acl_default";
/// Flags that tell how a file is to be treated and keep nobody from changing it.
constexpr int kTreatment = FS_NODUMP_FL | FS_NOATIME_FL;
constexpr mode_t kSetId = S_ISUID | S_ISGID;

/// An entry whose metadata is read or set: by its handle, or by the system's path of a handle that
/// only holds it, which leads to that entry itself, a link too.
class Entry {
 public:
  Entry(int handle, bool held) : handle_(handle) {
    if (held) path_ = "/proc/self/fd/" + std::to_string(handle);
  }

  int Handle() const { return handle_; }
  /// Empty unless the entry is only held.
  const std::string& Path() const { return path_; }

  ErrorCode SetOwner(uid_t owner, gid_t group) const {
    const int done = path_.empty() ? fchown(handle_, owner, group)
                                   : fchownat(handle_, "", owner, group, AT_EMPTY_PATH);
    return done == 0 ? 0 : errno;
  }
  ErrorCode SetMode(mode_t mode) const {
    const int done =
        Retry([&] { return path_.empty() ? fchmod(handle_, mode) : chmod(path_.c_str(), mode); });
    return done == 0 ? 0 : errno;
  }

  /// Each name followed by NUL.
  std::string Names() const {
    return Whole([&](char* to, std::size_t size) {
             return path_.empty() ? flistxattr(handle_, to, size)
                                  : listxattr(path_.c_str(), to, size);
           })
        .value_or(std::string());
  }
  /// Nothing, with the errno set, where there is none or it cannot be read.
  std::optional<std::string> Get(const char* name) const {
    return Whole([&](char* to, std::size_t size) {
      return path_.empty() ? fgetxattr(handle_, name, to, size)
                           : getxattr(path_.c_str(), name, to, size);
    });
  }
  ErrorCode Set(const char* name, const std::string& value) const {
    const int done = path_.empty() ? fsetxattr(handle_, name, value.data(), value.size(), 0)
                                   : setxattr(path_.c_str(), name, value.data(), value.size(), 0);
    return done == 0 ? 0 : errno;
  }
  ErrorCode Remove(const char* name) const {
    const int done = path_.empty() ? fremovexattr(handle_, name) : removexattr(path_.c_str(), name);
    return done == 0 ? 0 : errno;
  }

 private:
  /// What a call gives that is asked for its size first.
  template <typename Call>
  static std::optional<std::string> Whole(Call call) {
    for (;;) {
      const ssize_t needed = call(nullptr, 0);
      if (needed < 0) return std::nullopt;
      if (needed == 0) return std::string();
      std::string bytes(static_cast<std::size_t>(needed), '\0');
      const ssize_t got = call(bytes.data(), bytes.size());
      if (got < 0 && errno == ERANGE) continue;  // It has grown meanwhile.
      if (got < 0) return std::nullopt;
      bytes.resize(static_cast<std::size_t>(got));
      return bytes;
    }
  }

  int handle_;
  std::string path_;
};

bool IsAccessList(std::string_view name) {
  return name == kAccessList || name == kDefaultList;
}

/// What the program itself has to say of an entry; a copy is another one.
constexpr const char* kRemark = "user.kavrel.owner";

/// The attributes that belong to an entry wherever it lies; others are its file system's own.
bool IsCarried(std::string_view name) {
  if (name == kRemark) return false;
  return name.starts_with("user.") || name.starts_with("trusted.") ||
         name.starts_with("security.") || IsAccessList(name);
}

/// Labels that the system may give to every new entry by itself stay.
bool IsRemovable(std::string_view name) {
  return IsCarried(name) && (!name.starts_with("security.") || name == "security.capability");
}

/// Attributes that only root may set would be set in vain.
bool IsPrivileged(std::string_view name) {
  return name.starts_with("trusted.") || name.starts_with("security.");
}

bool MaySet(std::string_view name) {
  return geteuid() == 0 || !IsPrivileged(name);
}

/// Whether an attribute that was refused is none for this file system or this user at all.
bool IsBeyond(ErrorCode error, std::string_view name) {
  if (error == EOPNOTSUPP || error == ENOSYS) return true;
  const bool privileged = IsPrivileged(name);
  if (error == EPERM || error == EACCES) return privileged;
  return error == EINVAL && (privileged || IsAccessList(name));
}

std::vector<std::string_view> SplitNames(const std::string& names) {
  std::vector<std::string_view> list;
  for (std::string_view rest = names; !rest.empty();) {
    list.push_back(rest.substr(0, rest.find('\0')));
    rest.remove_prefix(std::min(rest.size(), list.back().size() + 1));
  }
  return list;
}

/// Whether this user may give a file to anybody. In a container of its own numbers, root may not.
bool MayGiveAway() {
  if (geteuid() != 0) return false;
  std::ifstream map("/proc/self/uid_map");
  std::uint64_t inside = 0, outside = 0, many = 0;
  constexpr std::uint64_t kAll = 0xFFFFFFFF;
  return !(map >> inside >> outside >> many) || many == kAll;
}

/// How an entry gets what another has.
struct Carrying {
  bool Removes = false;    ///< what the source does not have goes
  bool LooksOnly = false;  ///< nothing is changed
};

/// Carries the extended attributes over; true where the permissions may have changed with them.
/// `present`: those of an entry that is no link.
bool CarryAttributesOver(const Entry& to, const Entry& source, const Carrying& how,
                         MetadataUpdate& update, std::optional<mode_t> present = {}) {
  bool access = false;
  // Those of a read-only entry can be changed only while its owner may write to it.
  const auto try_unlocked = [&](const auto& change) {
    const ErrorCode error = change();
    if (error != EACCES || !present || (*present & S_IWUSR)) return error;
    if (to.SetMode(*present | S_IWUSR) != 0) return error;
    access = true;
    return change();
  };
  const auto changed = [&](std::string_view name, ErrorCode error) {
    if (error && IsBeyond(error, name)) return;
    if (error && !update.Error) update.Error = error;
    if (error) return;
    update.Attributes = true;
    access = access || name == kAccessList;
  };
  const std::string names = source.Names(), there = how.Removes ? to.Names() : std::string();
  const std::vector<std::string_view> wanted = SplitNames(names), present_names = SplitNames(there);
  const auto set = [&](std::string_view name) {
    if (!IsCarried(name) || (how.LooksOnly && !MaySet(name))) return;
    const std::optional<std::string> value = source.Get(name.data());
    if (!value) return;
    const std::optional<std::string> own = how.Removes ? to.Get(name.data()) : std::nullopt;
    if (own == value || (how.LooksOnly && !own && IsBeyond(errno, name))) return;
    changed(name, how.LooksOnly ? 0 : try_unlocked([&] { return to.Set(name.data(), *value); }));
  };
  const auto remove = [&](std::string_view name) {
    if (!IsRemovable(name) || (how.LooksOnly && !MaySet(name))) return;
    if (std::find(wanted.begin(), wanted.end(), name) != wanted.end()) return;
    // A source whose file system has no such thing says nothing about it.
    if (source.Get(name.data()) || errno != ENODATA) return;
    changed(name, how.LooksOnly ? 0 : try_unlocked([&] { return to.Remove(name.data()); }));
  };
  // An access list may take the owner's right to write the others: it comes last.
  for (const bool lists : {false, true}) {
    const auto each = [&](const std::vector<std::string_view>& list, const auto& change) {
      for (const std::string_view name : list) {
        if (IsAccessList(name) == lists) change(name);
      }
    };
    each(present_names, remove);
    each(wanted, set);
  }
  return access;
}

/// Makes these flags of one open file or folder those of another; true when they were different.
bool CarryTreatment(int to, int source, const Carrying& how) {
  int flags = 0, own = 0;
  if (ioctl(source, FS_IOC_GETFLAGS, &flags) != 0 || ioctl(to, FS_IOC_GETFLAGS, &own) != 0 ||
      ((flags ^ own) & kTreatment) == 0) {
    return false;
  }
  own = (own & ~kTreatment) | (flags & kTreatment);
  return how.LooksOnly || ioctl(to, FS_IOC_SETFLAGS, &own) == 0;
}

/// Sets permissions, where the file system holds no more of them than that, the right to write.
ErrorCode SetModeOf(const Entry& to, mode_t mode, mode_t present) {
  const ErrorCode error = to.SetMode(mode);
  if (error != EPERM && error != EOPNOTSUPP && error != ENOSYS) return error;
  if ((mode & S_IWUSR) == (present & S_IWUSR)) return 0;
  constexpr mode_t kWrite = S_IWUSR | S_IWGRP | S_IWOTH;
  if (!(mode & S_IWUSR)) return to.SetMode(present & ~kWrite) == 0 ? 0 : error;
  return to.SetMode(present | S_IWUSR) == 0 || to.SetMode(present | kWrite) == 0 ? 0 : error;
}

/// Owner, extended attributes and permissions. `source`: null for none of its attributes.
MetadataUpdate CarryOver(const Entry& to, const FileStatus& current, const Entry* source,
                         const FileStatus& from, const Carrying& how) {
  MetadataUpdate update;
  mode_t mode = from.Mode, present = current.Mode;
  if (!how.LooksOnly && (current.Owner != from.Owner || current.Group != from.Group)) {
    const bool same_group = current.Group == from.Group;
    const bool given = to.SetOwner(from.Owner, from.Group) == 0;
    const bool grouped =
        !given && !same_group && to.SetOwner(static_cast<uid_t>(-1), from.Group) == 0;
    // A file that could not be given to its owner or group must not lend their rights.
    if (!given && current.Owner != from.Owner) mode &= ~static_cast<mode_t>(S_ISUID);
    if (!given && !same_group && !grouped) mode &= ~static_cast<mode_t>(S_ISGID);
    // The system takes these bits away when the owner changes.
    if (given || grouped) present &= ~kSetId;
  }
  const bool is_link = current.Kind == FileKind::Link;
  const bool access =
      source && CarryAttributesOver(to, *source, how, update,
                                    is_link ? std::nullopt : std::optional<mode_t>(present));
  // What is only held may not be opened, and then not asked for its flags.
  if (source && how.Removes && to.Path().empty() && source->Path().empty()) {
    update.Attributes |= CarryTreatment(to.Handle(), source->Handle(), how);
  }
  if (how.LooksOnly || is_link || (mode == present && !access)) {
    return update;
  }
  const ErrorCode error = SetModeOf(to, mode, present);
  if (error) update.Error = error;
  return update;
}

posix::Handle OpenForRemark(int folder, std::u16string_view name) {
  const std::string native = posix::NativeName(name);
  return posix::Handle(
      openat(folder, native.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

posix::Handle OpenOrHold(int folder, const std::string& name, FileKind kind, bool& held) {
  held = kind != FileKind::File;
  constexpr int kOpen = O_NOFOLLOW | O_CLOEXEC;
  if (!held) {
    posix::Handle file(openat(folder, name.c_str(), O_RDONLY | O_NONBLOCK | kOpen));
    if (file) return file;
    held = true;
  }
  return posix::Handle(openat(folder, name.c_str(), O_PATH | kOpen));
}

}  // namespace

ErrorCode File::SetAttributes(const FileStatus& from, const File& source) {
  const Result<FileStatus> current = Status();
  if (!current) return current.Error;
  const Entry entry(source.handle_, false);
  return CarryOver(Entry(handle_, false), *current, &entry, from, {}).Error;
}

void File::CarryFlags(const File& source) {
  int flags = 0, own = 0;
  if (ioctl(source.handle_, FS_IOC_GETFLAGS, &flags) != 0) return;
  flags &= kTreatment | FS_COMPR_FL;
  if (!flags || ioctl(handle_, FS_IOC_GETFLAGS, &own) != 0) return;
  // Not every file system has each of them.
  for (const int flag : {FS_NODUMP_FL, FS_NOATIME_FL, FS_COMPR_FL}) {
    int with = own | (flags & flag);
    if (with != own && ioctl(handle_, FS_IOC_SETFLAGS, &with) == 0) own = with;
  }
}

ErrorCode Folder::CarryLinkAttributes(std::u16string_view name, const Folder& source,
                                      std::u16string_view from) const {
  if (!Manners().LinksAlone) return 0;
  const std::string native = posix::NativeName(name), native_from = posix::NativeName(from);
  constexpr int kHold = O_PATH | O_NOFOLLOW | O_CLOEXEC;
  const posix::Handle like(openat(source.handle_, native_from.c_str(), kHold));
  const posix::Handle to(like ? openat(handle_, native.c_str(), kHold) : -1);
  if (!to) return errno;
  MetadataUpdate update;
  CarryAttributesOver(Entry(to.Get(), true), Entry(like.Get(), true), {}, update);
  return update.Error;
}

void File::DropInheritedAccess() {
  fremovexattr(handle_, kAccessList);
}

ErrorCode Folder::SetAttributes(const FileStatus& from, const Folder& source) const {
  const Result<FileStatus> current = Status();
  if (!current) return current.Error;
  const Entry entry(source.handle_, false);
  return CarryOver(Entry(handle_, false), *current, source.handle_ == handle_ ? nullptr : &entry,
                   from, {})
      .Error;
}

Result<std::string> Folder::ReadRemark(std::u16string_view name) const {
  const posix::Handle file = name.empty() ? posix::Handle() : OpenForRemark(handle_, name);
  if (!name.empty() && !file) return Result<std::string>::Fail(errno);
  std::optional<std::string> text = Entry(file ? file.Get() : handle_, false).Get(kRemark);
  if (text) return {std::move(*text), 0};
  return Result<std::string>::Fail(errno == ENODATA || errno == EOPNOTSUPP ? ENOENT : errno);
}

ErrorCode Folder::WriteRemark(std::u16string_view name, const std::string& text) const {
  const posix::Handle file = name.empty() ? posix::Handle() : OpenForRemark(handle_, name);
  if (!name.empty() && !file) return errno;
  const Entry entry(file ? file.Get() : handle_, false);
  const ErrorCode error = text.empty() ? entry.Remove(kRemark) : entry.Set(kRemark, text);
  if (error == ENODATA) return 0;
  const bool no_place =
      error == EOPNOTSUPP || error == ENOSPC || error == E2BIG || error == ERANGE || error == EPERM;
  return no_place ? ENOENT : error;
}

MetadataUpdate Folder::UpdateMetadata(std::u16string_view name, const FileStatus& from,
                                      const Folder& source, bool looks_only,
                                      std::u16string_view source_name) const {
  const Carrying how{true, looks_only};
  const Entry own(handle_, false), other(source.handle_, false);
  const auto update = [&](const Entry& to, const Entry* like) -> MetadataUpdate {
    const Result<FileStatus> current = posix::StatusAt(to.Handle(), "");
    if (!current) return {current.Error, false};
    return current->Kind == from.Kind ? CarryOver(to, *current, like, from, how) : MetadataUpdate{};
  };
  if (name.empty()) return update(own, handle_ == source.handle_ ? nullptr : &other);
  const std::string native = posix::NativeName(name);
  const std::string native_like = source_name.empty() ? native : posix::NativeName(source_name);
  if (native.empty() || native_like.empty()) return {EINVAL, false};
  if (from.Kind == FileKind::Link && !Manners().LinksAlone) return {};
  // An open file is asked with fewer calls than one that is held, which takes no right to read it.
  bool to_held = true, like_held = true;
  const posix::Handle to = OpenOrHold(handle_, native, from.Kind, to_held);
  const posix::Handle like =
      to ? OpenOrHold(source.handle_, native_like, from.Kind, like_held) : posix::Handle();
  // What has gone meanwhile, or given its name to another, is the next run's.
  if (!to || !like) return {errno == ENOENT ? 0 : errno, false};
  const Result<FileStatus> now = posix::StatusAt(like.Get(), "");
  if (!now || now->Id != from.Id) return {now.Error, false};
  const Entry entry(to.Get(), to_held), source_entry(like.Get(), like_held);
  return update(entry, &source_entry);
}

bool Folder::PassesAccessOn() const {
  return fgetxattr(handle_, kDefaultList, nullptr, 0) > 0;
}

MetadataPlace::MetadataPlace(const Folder& source, const Folder& dest) {
  struct statfs found {};
  Retry([&] { return fstatfs(dest.handle_, &found); });
  switch (static_cast<std::uint32_t>(found.f_type)) {
    case MSDOS_SUPER_MAGIC:
    case posix::kExfat:
      only_locks_ = true;
      break;
    default:
      known_ = dest.OnLocalDisk();
      break;
  }
  user_ = geteuid();
  any_owner_ = MayGiveAway();
  groups_.resize(static_cast<std::size_t>(std::max(0, getgroups(0, nullptr))));
  const int many = getgroups(static_cast<int>(groups_.size()), groups_.data());
  groups_.resize(static_cast<std::size_t>(std::max(0, many)));
  groups_.push_back(getegid());
  // Where there are any, asking for one that is not there says just that.
  attributes_ = fgetxattr(dest.handle_, "user.kavrel", nullptr, 0) >= 0 || errno == ENODATA;
  one_clock_ = source.OnLocalDisk() && dest.OnLocalDisk();
  source_device_ = source.Status()->Device;
  dest_device_ = dest.Status()->Device;
}

bool MetadataPlace::Differs(const FileStatus& source, const FileStatus& copy) const {
  const bool link = source.Kind == FileKind::Link;
  if (only_locks_) return !link && ((source.Mode ^ copy.Mode) & S_IWUSR);
  const bool owned = source.Owner == copy.Owner, grouped = source.Group == copy.Group;
  if (any_owner_ && !(owned && grouped)) return true;
  if (!grouped && copy.Owner == user_ &&
      std::find(groups_.begin(), groups_.end(), source.Group) != groups_.end()) {
    return true;
  }
  std::uint32_t mode = source.Mode;
  if (!owned) mode &= ~static_cast<std::uint32_t>(S_ISUID);
  if (!grouped) mode &= ~static_cast<std::uint32_t>(S_ISGID);
  return !link && mode != copy.Mode;
}

bool MetadataPlace::AttributesMayDiffer(const FileStatus& source, const FileStatus& copy) const {
  if (!attributes_) return false;
  const bool one_clock =
      one_clock_ && source.Device == source_device_ && copy.Device == dest_device_;
  const auto before = [](FileTime a, FileTime b) {
    return a.Seconds != b.Seconds ? a.Seconds < b.Seconds : a.Nanoseconds < b.Nanoseconds;
  };
  // A file system that does not tell when it made the copy gives a time before all others.
  return !one_clock || !before(source.Changed, copy.Made);
}

}  // namespace kavrel
