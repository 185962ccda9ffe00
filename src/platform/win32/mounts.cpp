// Here disks have letters and shares their own paths: there are no mount points to tell apart.
#include "platform/mounts.h"

#include "platform/win32/native.h"
// Behind the system's header, which it needs.
#include <winioctl.h>

namespace kavrel {

struct MountLine {};

void MountTable::Load() {}

std::u16string MountTable::PointOf(std::u16string_view) const {
  return {};
}

std::vector<std::u16string> MountTable::Volumes() const {
  std::vector<std::u16string> volumes;
  const DWORD letters = GetLogicalDrives();
  for (char16_t letter = u'A'; letter <= u'Z'; ++letter) {
    if ((letters >> (letter - u'A') & 1) == 0) continue;
    std::u16string drive{letter, u':'};
    const UINT type = GetDriveTypeW((win32::Wide(drive) + L"\\").c_str());
    const bool disk = type == DRIVE_FIXED || type == DRIVE_REMOVABLE || type == DRIVE_REMOTE;
    if (disk) volumes.push_back(std::move(drive));
  }
  return volumes;
}

std::vector<std::u16string> MountTable::DisksBelow(std::u16string_view) const {
  return {};
}

bool MountTable::OnNetwork(std::u16string_view path) const {
  if (path.starts_with(u"\\\\")) return true;
  if (path.size() < 2 || path[1] != u':') return false;
  return GetDriveTypeW((win32::Wide(path.substr(0, 2)) + L"\\").c_str()) == DRIVE_REMOTE;
}

std::u16string MountTable::WaitingPoint(std::u16string_view path) const {
  return OnNetwork(path) ? std::u16string(path) : std::u16string();
}

std::u16string MountTable::MissingPoint(std::u16string_view) const {
  return {};
}

std::u16string MountTable::MarkOf(std::u16string_view) const {
  return {};
}

bool MountTable::IsSame(const MountTable&) const {
  return true;
}

std::u16string_view DiskOfMark(std::u16string_view mark) {
  return mark.substr(0, mark.find(u':'));
}

namespace {

/// The number of the disk that holds the volume of this serial number; nothing when it is not
/// known.
std::optional<DWORD> DiskOf(std::uint64_t serial) {
  const DWORD letters = GetLogicalDrives();
  for (wchar_t letter = L'A'; letter <= L'Z'; ++letter) {
    if (!(letters >> (letter - L'A') & 1)) continue;
    const std::wstring drive{letter, L':'};
    DWORD found = 0;
    if (GetDriveTypeW((drive + L"\\").c_str()) == DRIVE_REMOTE ||
        !GetVolumeInformationW((drive + L"\\").c_str(), nullptr, 0, &found, nullptr, nullptr,
                               nullptr, 0) ||
        found != serial) {
      continue;
    }
    const win32::Handle volume(CreateFileW((L"\\\\.\\" + drive).c_str(), 0,
                                           FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                           OPEN_EXISTING, 0, nullptr));
    STORAGE_DEVICE_NUMBER number{};
    DWORD bytes = 0;
    if (volume && DeviceIoControl(volume.Get(), IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0,
                                  &number, sizeof number, &bytes, nullptr)) {
      return number.DeviceNumber;
    }
  }
  return std::nullopt;
}

}  // namespace

bool OnSameDisk(std::uint64_t device, std::uint64_t other_device) {
  if (device == other_device) return true;
  const std::optional<DWORD> first = DiskOf(device);
  return first && first == DiskOf(other_device);
}

}  // namespace kavrel
