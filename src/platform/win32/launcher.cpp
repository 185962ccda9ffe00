#include "platform/launcher.h"

#include "platform/win32/native.h"
// Behind the system's header, which it needs.
#include <shlobj.h>

namespace kavrel {

namespace {

/// One interface of a component, released when it goes.
template <typename Interface>
class Component {
 public:
  Component() = default;
  Component(const Component&) = delete;
  Component& operator=(const Component&) = delete;
  ~Component() {
    if (pointer_) pointer_->Release();
  }
  Interface* operator->() const { return pointer_; }
  void** Slot() { return reinterpret_cast<void**>(&pointer_); }

 private:
  Interface* pointer_ = nullptr;
};

/// The library of components, for as long as this lives.
class ComponentLibrary {
 public:
  ComponentLibrary() : started_(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {}
  ~ComponentLibrary() {
    if (started_) CoUninitialize();
  }
  ComponentLibrary(const ComponentLibrary&) = delete;
  ComponentLibrary& operator=(const ComponentLibrary&) = delete;

 private:
  bool started_;
};

bool SaveLink(const std::wstring& path, const Launcher& launcher) {
  const ComponentLibrary library;
  Component<IShellLinkW> link;
  if (FAILED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                              link.Slot()))) {
    return false;
  }
  const std::wstring target = win32::Wide(launcher.Target);
  Component<IPersistFile> file;
  return SUCCEEDED(link->SetPath(target.c_str())) &&
         SUCCEEDED(link->SetWorkingDirectory(win32::Wide(launcher.Folder).c_str())) &&
         SUCCEEDED(link->SetArguments(win32::CommandText(launcher.Arguments).c_str())) &&
         SUCCEEDED(link->SetDescription(win32::Wide(launcher.Description).c_str())) &&
         SUCCEEDED(link->SetIconLocation(target.c_str(), 0)) &&
         SUCCEEDED(link->SetShowCmd(SW_HIDE)) &&
         SUCCEEDED(link->QueryInterface(IID_IPersistFile, file.Slot())) &&
         SUCCEEDED(file->Save(path.c_str(), FALSE));
}

}  // namespace

std::u16string_view LauncherEnding() {
  return u".lnk";
}

bool CreateShellLink(std::u16string_view path, const Launcher& launcher) {
  const std::wstring chosen = win32::Wide(path), scratch = chosen + L".tmp";
  const bool whole = SaveLink(scratch, launcher) &&
                     MoveFileExW(scratch.c_str(), chosen.c_str(),
                                 MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
  if (!whole) DeleteFileW(scratch.c_str());
  return whole;
}

}  // namespace kavrel
