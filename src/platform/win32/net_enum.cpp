// The network's computers and shares as the system's own providers know them. A call may wait for a
// computer that does not answer, so the search has a thread of its own, which nobody waits for: the
// thread alone keeps what it needs once the search has been given up.
#include "platform/net_enum.h"

#include <deque>
#include <mutex>
#include <thread>

#include "base/text.h"
#include "platform/files.h"
#include "platform/win32/native.h"
// Behind the system's header, which it needs.
#include <winnetwk.h>

namespace kavrel {

namespace {

constexpr DWORD kListBytes = 32000;
constexpr int kDeepest = 8;  // A container that holds itself would be searched for ever.

struct Search {
  std::mutex Mutex;
  std::deque<NetEntry> Found;
  bool Done = false, Stopped = false;

  bool Add(NetEntry entry) {
    const std::lock_guard lock(Mutex);
    if (!Stopped) Found.push_back(std::move(entry));
    return !Stopped;
  }
};

std::u16string FailureText(DWORD code) {
  switch (code) {
    case ERROR_INVALID_PARAMETER:
      return u"Invalid Parameter";
    case ERROR_NOT_CONTAINER:
      return u"Not Container";
    case ERROR_NO_NETWORK:
      return u"No Network";
    case ERROR_EXTENDED_ERROR: {
      DWORD provider_code = 0;
      wchar_t text[512] = L"", provider[256] = L"";
      WNetGetLastErrorW(&provider_code, text, 512, provider, 256);
      return win32::Narrow(text);
    }
    default:
      return SystemErrorText(static_cast<ErrorCode>(code));
  }
}

/// Lists a container and what lies in it; false when the search was stopped.
bool Look(Search& search, NETRESOURCEW* container, int depth) {
  const std::u16string name = container && container->lpRemoteName
                                  ? win32::Narrow(container->lpRemoteName)
                                  : std::u16string();
  const auto fail = [&](DWORD code) {
    const bool computer = name.starts_with(u"\\\\");
    return !computer || search.Add({name, false, FailureText(code)});
  };
  HANDLE list = nullptr;
  const DWORD opened = WNetOpenEnumW(RESOURCE_GLOBALNET, RESOURCETYPE_ANY, 0, container, &list);
  if (opened != NO_ERROR) return fail(opened);
  std::vector<std::uint64_t> room(kListBytes / sizeof(std::uint64_t));
  bool go_on = true;
  for (;;) {
    DWORD count = static_cast<DWORD>(-1), bytes = kListBytes;
    const DWORD code = WNetEnumResourceW(list, &count, room.data(), &bytes);
    if (code == ERROR_NO_MORE_ITEMS) break;
    if (code != NO_ERROR) {
      go_on = fail(code);
      break;
    }
    auto* entries = reinterpret_cast<NETRESOURCEW*>(room.data());
    for (DWORD i = 0; go_on && i < count; ++i) {
      NETRESOURCEW& entry = entries[i];
      const std::u16string entry_name =
          entry.lpRemoteName ? win32::Narrow(entry.lpRemoteName) : std::u16string();
      const bool share = entry.dwDisplayType == RESOURCEDISPLAYTYPE_SHARE;
      const bool server = entry.dwDisplayType == RESOURCEDISPLAYTYPE_SERVER;
      if (share || server) go_on = search.Add({entry_name, share, {}});
      if (go_on && (entry.dwUsage & RESOURCEUSAGE_CONTAINER) && depth < kDeepest) {
        go_on = Look(search, &entry, depth + 1);
      }
    }
    if (!go_on) break;
  }
  WNetCloseEnum(list);
  return go_on;
}

class NetworkSearch final : public NetEnum {
 public:
  NetworkSearch() : search_(std::make_shared<Search>()) {
    try {
      std::thread([search = search_] {
        Look(*search, nullptr, 0);
        const std::lock_guard lock(search->Mutex);
        search->Done = true;
      }).detach();
    } catch (const std::exception&) {
      search_->Done = true;  // Out of threads or memory: nothing is found.
    }
  }

  ~NetworkSearch() override {
    const std::lock_guard lock(search_->Mutex);
    search_->Stopped = true;
  }

  Step Next(NetEntry& entry) override {
    const std::lock_guard lock(search_->Mutex);
    if (search_->Found.empty()) return search_->Done ? Step::Done : Step::Waiting;
    entry = std::move(search_->Found.front());
    search_->Found.pop_front();
    return Step::Found;
  }

 private:
  std::shared_ptr<Search> search_;
};

}  // namespace

std::vector<std::u16string> LocalDrives(const FileSystem& files, const MountTable&) {
  std::vector<std::u16string> drives;
  const DWORD letters = GetLogicalDrives();
  for (char16_t letter = u'A'; letter <= u'Z'; ++letter) {
    const std::u16string drive{letter, u':'};
    const bool mapped = files.HostPath(drive) != ToUtf8(drive + u"\\");
    if (mapped || (letters >> (letter - u'A') & 1)) drives.push_back(drive);
  }
  return drives;
}

std::unique_ptr<NetEnum> BrowseNetwork(const FileSystem&) {
  return std::make_unique<NetworkSearch>();
}

}  // namespace kavrel
