// Computers are found by the network's own announcements (avahi-browse), their shares asked from
// each (smbclient), both as programs of their own: neither can keep this process waiting.
#include "platform/net_enum.h"

#include <dirent.h>
#include <mntent.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <deque>

#include "base/text.h"
#include "platform/child_process.h"
#include "platform/files.h"
#include "platform/mounts.h"

namespace kavrel {

namespace {

std::vector<std::string> SubFolders(const std::string& path) {
  std::vector<std::string> names;
  DIR* folder = opendir(path.c_str());
  if (!folder) return names;
  while (const dirent* entry = readdir(folder)) {
    struct stat found;
    if (entry->d_name[0] != '.' && stat((path + "/" + entry->d_name).c_str(), &found) == 0 &&
        S_ISDIR(found.st_mode)) {
      names.emplace_back(entry->d_name);
    }
  }
  closedir(folder);
  std::sort(names.begin(), names.end());
  return names;
}

std::u16string ShareName(std::string_view server, std::string_view share) {
  std::u16string name = u"\\\\" + FromUtf8(server) + u"\\" + FromUtf8(share);
  std::replace(name.begin(), name.end(), u'/', u'\\');
  while (name.ends_with(u'\\')) name.pop_back();
  return name;
}

/// "//server/share" and "server:/share", as the mount table names a share; empty for the rest.
std::u16string MountedShare(std::string_view source) {
  if (source.starts_with("//")) {
    source.remove_prefix(2);
    const std::size_t slash = source.find('/');
    return slash == source.npos ? u""
                                : ShareName(source.substr(0, slash), source.substr(slash + 1));
  }
  const std::size_t colon = source.find(":/");
  return colon == source.npos ? u"" : ShareName(source.substr(0, colon), source.substr(colon + 2));
}

/// The shares that this machine reaches already.
std::vector<std::u16string> KnownShares(const std::string& drives) {
  std::vector<std::u16string> shares;
  for (const std::string& server : SubFolders(drives + "/unc")) {
    std::string below = drives;
    below.append("/unc/").append(server);
    for (const std::string& share : SubFolders(below)) {
      shares.push_back(ShareName(server, share));
    }
  }
  if (FILE* table = setmntent("/proc/self/mounts", "r")) {
    while (const mntent* mount = getmntent(table)) {
      const std::string_view type = mount->mnt_type;
      if (type == "cifs" || type == "smb3" || type.starts_with("nfs")) {
        shares.push_back(MountedShare(mount->mnt_fsname));
      }
    }
    endmntent(table);
  }
  return shares;
}

std::vector<std::string_view> SplitLine(std::string_view line, char separator) {
  std::vector<std::string_view> fields;
  for (std::size_t at = 0;;) {
    const std::size_t end = std::min(line.find(separator, at), line.size());
    fields.push_back(line.substr(at, end - at));
    if (end == line.size()) return fields;
    at = end + 1;
  }
}

/// A program that writes lines, looked at without ever waiting.
class LineSource {
 public:
  bool Running() const { return running_; }

  void Start(std::string_view program, const std::vector<std::string>& arguments) {
    const std::string_view names[] = {program};
    const std::string path = FindProgram(names, "");
    text_.clear();
    process_ = std::make_unique<ChildProcess>();
    // Its messages are read, so they must be in one language.
    running_ = !path.empty() && process_->Start(path, arguments, "/", {}, {"LC_ALL=C.UTF-8"}) == 0;
  }

  /// The next whole line; at the end of the output also one without its line end.
  bool NextLine(std::string& line) {
    if (running_ && text_.find('\n') == text_.npos && !process_->Read(text_, 0)) {
      running_ = false;
      process_.reset();
      if (!text_.empty()) text_ += '\n';
    }
    const std::size_t end = text_.find('\n');
    if (end == text_.npos) return false;
    line = text_.substr(0, end);
    text_.erase(0, end + 1);
    return true;
  }

 private:
  std::unique_ptr<ChildProcess> process_;
  std::string text_;
  bool running_ = false;
};

class NetworkSearch final : public NetEnum {
 public:
  explicit NetworkSearch(const std::string& drives) {
    for (const std::u16string& share : KnownShares(drives)) AddShare(share);
    computers_.Start("avahi-browse", {"--parsable", "--terminate", "--resolve", "_smb._tcp"});
  }

  Step Next(NetEntry& entry) override {
    if (found_.empty()) Look();
    if (found_.empty()) {
      const bool more = computers_.Running() || asking_ || !waiting_.empty();
      return more ? Step::Waiting : Step::Done;
    }
    entry = std::move(found_.front());
    found_.pop_front();
    return Step::Found;
  }

 private:
  void Look() {
    std::string line;
    while (computers_.NextLine(line)) ReadComputer(line);
    if (!asking_ && !waiting_.empty()) Ask();
    while (asking_ && found_.empty()) {
      if (shares_.NextLine(line)) {
        ReadShare(line);
      } else if (shares_.Running()) {
        return;
      } else {
        EndAsking();
      }
    }
  }

  /// "=;eth0;IPv4;NAME;Microsoft Windows Network;local;nas.local;192.168.1.5;445;..."
  void ReadComputer(std::string_view line) {
    const std::vector<std::string_view> fields = SplitLine(line, ';');
    if (fields.size() < 8 || fields[0] != "=") return;
    std::string host(fields[6]);
    if (host.ends_with(".local")) host.resize(host.size() - 6);
    if (host.empty() || host.starts_with('-')) return;
    if (std::find(known_.begin(), known_.end(), host) != known_.end()) return;
    known_.push_back(host);
    waiting_.push_back({host, std::string(fields[7])});
  }

  void Ask() {
    host_ = waiting_.front();
    waiting_.pop_front();
    asking_ = true;
    failure_.clear();
    found_.push_back({u"\\\\" + FromUtf8(host_.Name), false, {}});
    shares_.Start("smbclient", {"--no-pass", "--grepable", "--timeout=10", "--list=" + host_.Name,
                                "--ip-address=" + host_.Address});
  }

  /// "Disk|share|comment"; an error begins with its code, "NT_STATUS_...".
  void ReadShare(std::string_view line) {
    const std::vector<std::string_view> fields = SplitLine(line, '|');
    if (fields.size() >= 2 && fields[0] == "Disk") {
      // Shares of the administrators are not for backups.
      if (!fields[1].ends_with('$')) AddShare(ShareName(host_.Name, fields[1]));
    } else if (line.find("NT_STATUS_") != line.npos) {
      failure_ = FromUtf8(line);
    }
  }

  void EndAsking() {
    asking_ = false;
    if (!failure_.empty()) {
      found_.push_back({u"\\\\" + FromUtf8(host_.Name), false, failure_});
    }
  }

  void AddShare(const std::u16string& share) {
    if (share.empty()) return;
    const auto same = [&](const std::u16string& other) { return EqualNoCase(other, share); };
    if (std::any_of(names_.begin(), names_.end(), same)) return;
    names_.push_back(share);
    found_.push_back({share, true, {}});
  }

  struct Host {
    std::string Name, Address;
  };

  LineSource computers_, shares_;
  std::deque<NetEntry> found_;
  std::deque<Host> waiting_;
  std::vector<std::string> known_;
  std::vector<std::u16string> names_;
  Host host_;
  std::u16string failure_;
  bool asking_ = false;
};

}  // namespace

std::vector<std::u16string> LocalDrives(const FileSystem& files, const MountTable& mounts) {
  std::vector<std::u16string> drives;
  for (const std::string& name : SubFolders(ToUtf8(files.ProgramFolder()) + "/drives")) {
    if (name.size() == 1 && name[0] >= 'a' && name[0] <= 'z') {
      drives.push_back({static_cast<char16_t>(name[0] - 'a' + 'A'), u':'});
    }
  }
  for (const std::u16string& volume : mounts.Volumes()) drives.push_back(volume);
  return drives;
}

std::unique_ptr<NetEnum> BrowseNetwork(const FileSystem& files) {
  return std::make_unique<NetworkSearch>(ToUtf8(files.ProgramFolder()) + "/drives");
}

}  // namespace kavrel
