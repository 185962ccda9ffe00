#include "faults/promise.h"

#include <unistd.h>

#include <algorithm>

#include "base/text.h"
#include "files/owner_mark.h"

namespace fs = std::filesystem;

namespace kavrel::faults {

namespace {

constexpr std::int64_t kSecond = 1'000'000'000, kDay = 86'400 * kSecond;

std::int64_t Floor(std::int64_t time, std::int64_t grain) {
  return (time - (time % grain + grain) % grain) / grain;
}

/// Of the same size, written within a second on the same day (in a zone without an offset).
bool LooksTheSame(const Entry& a, const Entry& b) {
  const std::int64_t apart = Floor(a.Written, kSecond) - Floor(b.Written, kSecond);
  return a.Kind == b.Kind && a.Bytes.size() == b.Bytes.size() && apart >= -1 && apart <= 1 &&
         Floor(a.Written, kDay) == Floor(b.Written, kDay) && (a.Kind != 'L' || a.Bytes == b.Bytes);
}

bool MayRead(const Entry& entry) {
  const unsigned needed = entry.Kind == 'D' ? 0500 : entry.Kind == 'F' ? 0400 : 0;
  return geteuid() == 0 || (entry.Mode & needed) == needed;
}

std::string NameOf(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  return text;
}

bool TakesType(const Promise& job, const std::string& path) {
  if (job.Endings.empty()) return true;
  // What is left out is told by its letters' case, too.
  const std::string name = job.ExcludeTypes ? NameOf(path) : Lower(NameOf(path));
  const bool among = std::any_of(job.Endings.begin(), job.Endings.end(),
                                 [&](const std::string& end) { return name.ends_with(end); });
  return among != job.ExcludeTypes;
}

bool TooLarge(const Promise& job, const Entry& entry) {
  return job.MostKB > 0 && entry.Kind == 'F' && entry.Bytes.size() > job.MostKB * 1024;
}

/// The entry and all that is in it.
void Remove(const std::string& path, Outlook& outlook) {
  const Tree all = Below(outlook.Wanted, path);
  for (const auto& [below, entry] : all) {
    const std::string whole = below.empty() ? path : path + "/" + below;
    if (entry.Kind != 'D') outlook.Removed.push_back(whole);
    outlook.Wanted.erase(whole);
  }
}

void Mirror(const std::string& folder, const Tree& from, Outlook& outlook) {
  const Tree before = outlook.Wanted;
  for (const auto& [path, entry] : before) {
    if (path.empty() || ParentOf(path) != folder) continue;
    const auto held = from.find(path);
    if (held == from.end() || (held->second.Kind == 'D') != (entry.Kind == 'D')) {
      Remove(path, outlook);
    }
  }
}

/// A file that need not be copied, with the metadata of its source.
Entry SetRight(const Entry& there, const Entry& source) {
  Entry right = source;
  right.Written = there.Written;
  right.Bytes = MayRead(source) ? there.Bytes : std::string(there.Bytes.size(), '?');
  return right;
}

void CopyFile(const Promise& job, const std::string& path, const Entry& entry, Outlook& outlook) {
  if (entry.Kind == 'S' || !TakesType(job, path)) return;
  if (job.Rules && Lower(path).ends_with(".bak")) return;
  const auto there = outlook.Wanted.find(path);
  const bool is_there = there != outlook.Wanted.end();
  const bool compares = job.Type != "full";
  const bool blocked = is_there && there->second.Kind == 'D';
  const bool newer =
      job.KeepNewer && is_there && !blocked && there->second.Written > entry.Written + 2 * kSecond;
  const bool same = compares && is_there && LooksTheSame(entry, there->second);
  if (entry.Kind == 'F' && (same || !(newer || TooLarge(job, entry) || blocked))) {
    outlook.Taken[path] = entry.File;
  }
  if (same) {
    outlook.Left.insert(path);
    if (entry.Kind == 'F' && there->second.Names > 1) ++outlook.MayCopy;
    if (job.Restores) {
      outlook.Loose.insert(path);
    } else {
      outlook.Wanted[path] = SetRight(there->second, entry);
    }
  } else if (newer) {
    outlook.Left.insert(path);
  } else if (TooLarge(job, entry)) {
    ++outlook.Copied;
  } else if (!MayRead(entry) || blocked) {
    ++outlook.Failed;
  } else {
    outlook.Wanted[path] = entry;
    ++outlook.Copied;
  }
}

/// Names of one file get one copy: that of the name which the run comes to first, an older one or a
/// new one.
void ForeseeLinks(const Tree& from, const Tree& to, Outlook& outlook) {
  std::map<std::uint64_t, std::vector<std::string>> files;
  for (const auto& [path, file] : outlook.Taken) files[file].push_back(path);
  for (const auto& [path, file] : outlook.Taken) {
    const auto there = to.find(path);
    const bool shared = there != to.end() && there->second.Names > 1;
    if (files[file].size() == 1 && !shared) continue;
    std::vector<Entry>& others = outlook.Else[path];
    if (MayRead(from.at(path))) {
      others.push_back(from.at(path));
    } else {
      outlook.Vague.insert(path);
    }
    for (const std::string& name : files[file]) {
      if (outlook.Left.contains(name)) others.push_back(outlook.Wanted.at(name));
    }
  }
  for (const auto& [path, entry] : from) {
    if (entry.Kind == 'F' && !MayRead(entry) && !outlook.Left.contains(path) &&
        !outlook.Vague.contains(path)) {
      outlook.Taken.erase(path);
    }
  }
  for (const std::string& path : outlook.Vague) outlook.Taken.erase(path);
}

bool EndsWithQuoteTrouble(const std::string& path) {
  if (path.find('"') == path.npos) return false;
  return path.front() == '"' || path.front() == ' ' || path.back() == ' ';
}

/// Whether the archive program can be told of a name.
bool CanBeListed(const std::string& path) {
  return path.find_first_of("\r\n") == path.npos && path.find('\xFF') == path.npos &&
         !EndsWithQuoteTrouble(path);
}

bool LeadsOut(const std::string& path, const std::string& target) {
  const std::string root = "no target has this name";
  const fs::path whole = fs::path(root + "/" + path).parent_path().append(target);
  return target.starts_with('/') || !whole.lexically_normal().string().starts_with(root);
}

/// As 7-Zip keeps it.
Entry Packed(Entry entry) {
  entry.Written = Floor(entry.Written, 100) * 100;
  entry.Owner.clear();
  if (entry.Kind == 'L') entry.Mode = 0777;
  return entry;
}

/// As an archive knows no owner and only coarse times; and what somebody has given to a copy itself
/// may stay with one that is left alone.
bool IsKept(const Entry& wanted, const Entry& found, bool left) {
  Entry entry = found;
  if (left && entry.Owner.starts_with(wanted.Owner)) entry.Owner = wanted.Owner;
  if (wanted.Owner.empty()) entry = Packed(entry);
  return entry == wanted;
}

std::string Text(const Entry& entry) {
  char line[64];
  snprintf(line, sizeof line, "%c %04o %lld %zu bytes ", entry.Kind, entry.Mode,
           static_cast<long long>(entry.Written), entry.Bytes.size());
  return line + entry.Owner + " '" + entry.Bytes.substr(0, 12) + "'";
}

}  // namespace

std::string ParentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == path.npos ? std::string() : path.substr(0, slash);
}

Tree ReadWhole(const fs::path& root) {
  Tree tree = ReadTree(root);
  if (fs::exists(root)) tree[""] = ReadEntry(root);
  return tree;
}

Tree Below(const Tree& tree, const std::string& folder) {
  Tree below;
  for (const auto& [path, entry] : tree) {
    if (path == folder) below[""] = entry;
    if (!folder.empty() && !path.starts_with(folder + "/")) continue;
    const std::string name = folder.empty() ? path : path.substr(folder.size() + 1);
    // The list of sums is no part of what was backed up.
    if (!IsBackupsOwn(FromUtf8(name))) below[name] = entry;
  }
  return below;
}

Outlook Foresee(const Promise& job, const Tree& from, const Tree& to) {
  Outlook outlook{to};
  std::set<std::string> entered;
  for (const auto& [path, entry] : from) {
    if (!path.empty() && !entered.contains(ParentOf(path))) continue;
    if (entry.Kind != 'D') {
      CopyFile(job, path, entry, outlook);
      continue;
    }
    if (!path.empty() && (!job.Subfolders || path == job.Inner)) continue;
    if (job.Rules && NameOf(path) == "skip") continue;
    const auto there = outlook.Wanted.find(path);
    // A file is in the place, or a folder that this user may not look into.
    const bool blocked =
        there != outlook.Wanted.end() && (there->second.Kind != 'D' || !MayRead(there->second));
    if (blocked) {
      ++outlook.Failed;
      continue;
    }
    entered.insert(path);
    if (MayRead(entry)) {
      outlook.Wanted[path] = entry;
      if (job.Type == "sync") Mirror(path, from, outlook);
    } else {
      ++outlook.Failed;
      outlook.Wanted.emplace(path, entry);
      outlook.Loose.insert(path);
    }
  }
  ForeseeLinks(from, to, outlook);
  return outlook;
}

Outlook ForeseePicked(const Promise& job, const Tree& from, const Tree& to,
                      const std::vector<std::string>& picked) {
  Tree part;
  std::set<std::string> leading;
  for (const std::string& pick : picked) {
    for (const auto& [path, entry] : from) {
      const bool leads = path.empty() || pick.starts_with(path + "/");
      if (!leads && path != pick && !path.starts_with(pick + "/")) continue;
      part[path] = entry;
      if (leads) leading.insert(path);
    }
  }
  Promise restore;
  restore.Type = "differential";
  restore.Restores = true;
  restore.KeepNewer = job.KeepNewer;
  Outlook outlook = Foresee(restore, part, to);
  for (const std::string& path : leading) {
    if (to.contains(path)) outlook.Loose.insert(path);
  }
  return outlook;
}

Outlook ForeseePacked(const Promise& job, const Tree& from, const Tree& packed) {
  Outlook outlook{packed};
  std::set<std::string> entered;
  for (const auto& [path, entry] : from) {
    if (!path.empty() && !entered.contains(ParentOf(path))) continue;
    if (entry.Kind == 'D') {
      if (MayRead(entry))
        entered.insert(path);
      else
        ++outlook.Failed;
    } else if (entry.Kind == 'S' || !TakesType(job, path) || TooLarge(job, entry)) {
      continue;
    } else if ((!MayRead(entry) && !entry.Bytes.empty()) || !CanBeListed(path)) {
      ++outlook.Failed;
    } else {
      for (std::string above = ParentOf(path); !above.empty(); above = ParentOf(above)) {
        if (outlook.Wanted.contains(above)) Remove(above, outlook);
      }
      Remove(path, outlook);
      outlook.Wanted[path] = Packed(entry);
      ++outlook.Copied;
    }
  }
  return outlook;
}

Outlook ForeseeUnpacked(const Tree& packed, const Tree& to) {
  Outlook outlook{to};
  for (const auto& [path, entry] : packed) {
    const auto there = outlook.Wanted.find(path);
    if ((there != outlook.Wanted.end() && there->second.Kind == 'D') ||
        (entry.Kind == 'L' && LeadsOut(path, entry.Bytes))) {
      ++outlook.Failed;
      continue;
    }
    outlook.Wanted[path] = entry;
    for (std::string above = path; !above.empty();) {
      above = ParentOf(above);
      Entry& folder = outlook.Wanted[above];
      // A file or a link where a folder has to be: nothing at all is unpacked.
      if (folder.Kind != 'D' && to.contains(above)) {
        outlook = {to};
        outlook.Failed = 1;
        return outlook;
      }
      folder.Kind = 'D';
      outlook.Loose.insert(above);
    }
    ++outlook.Copied;
  }
  return outlook;
}

namespace {

/// Whether the entry is what is wanted under its name, or what one of several may be.
bool IsWanted(const Outlook& outlook, const std::string& path, const Entry& wanted,
              const Entry& now) {
  const bool loose = outlook.Loose.contains(path);
  const auto is = [&](const Entry& one, bool left) {
    return loose ? one.SameContent(now) : IsKept(one, now, left);
  };
  if (is(wanted, outlook.Left.contains(path))) return true;
  const auto others = outlook.Else.find(path);
  return others != outlook.Else.end() &&
         std::any_of(others->second.begin(), others->second.end(),
                     [&](const Entry& one) { return is(one, true); });
}

/// Whether it has the content that one of several names may have.
bool MayBe(const Outlook& outlook, const std::string& path, const Entry& now) {
  const auto others = outlook.Else.find(path);
  return others != outlook.Else.end() &&
         std::any_of(others->second.begin(), others->second.end(),
                     [&](const Entry& one) { return one.SameContent(now); });
}

/// Names that are linked and should not be, or the other way round, a line each.
std::string WrongLinks(const Outlook& outlook, const Tree& found) {
  std::string lines;
  std::map<std::uint64_t, std::pair<std::string, std::uint64_t>> copies, sources;
  for (const auto& [path, file] : outlook.Taken) {
    const auto now = found.find(path);
    if (now == found.end()) continue;
    const std::uint64_t copy = now->second.File;
    const auto [other, is_new] = copies.try_emplace(copy, path, file);
    if (!is_new && other->second.second != file) {
      lines += "'" + path + "' is linked with '" + other->second.first + "'\n";
    }
    const auto [first, met] = sources.try_emplace(file, path, copy);
    if (!met && first->second.second != copy) {
      lines += "'" + path + "' is not linked with '" + first->second.first + "'\n";
    }
  }
  return lines;
}

}  // namespace

std::string Differences(const Outlook& outlook, const Tree& found) {
  std::string lines = WrongLinks(outlook, found);
  const auto line = [&](const std::string& path, const Entry* wanted, const Entry* now) {
    lines += "'" + path + "'\n  wanted " + (wanted ? Text(*wanted) : "nothing") + "\n  found  " +
             (now ? Text(*now) : "nothing") + "\n";
  };
  for (const auto& [path, wanted] : outlook.Wanted) {
    const auto now = found.find(path);
    if (outlook.Vague.contains(path)) continue;
    if (now == found.end()) {
      line(path, &wanted, nullptr);
    } else if (!IsWanted(outlook, path, wanted, now->second)) {
      line(path, &wanted, &now->second);
    }
  }
  for (const auto& [path, now] : found) {
    if (!outlook.Wanted.contains(path) && !outlook.Vague.contains(path)) line(path, nullptr, &now);
  }
  return lines;
}

std::string Losses(const Tree& before, const Outlook& outlook, const Tree& found) {
  std::string lines;
  Tree known = outlook.Wanted;
  known.insert(before.begin(), before.end());
  for (const auto& [path, any] : known) {
    const auto was = before.find(path), will_be = outlook.Wanted.find(path), now = found.find(path);
    const bool old = was != before.end(), fresh = will_be != outlook.Wanted.end();
    if (now == found.end()) {
      // What changes its kind may be gone for a moment.
      if (old && fresh && was->second.Kind == will_be->second.Kind) lines += path + " is lost\n";
    } else if (!(old && now->second.SameContent(was->second)) &&
               !(fresh && now->second.SameContent(will_be->second)) &&
               !MayBe(outlook, path, now->second)) {
      lines += path + " is neither old nor new: " + Text(now->second) + "\n";
    }
  }
  for (const auto& [path, now] : found) {
    if (!known.contains(path) && !IsStaged(path) && !path.ends_with(".7z.tmp") &&
        !outlook.Vague.contains(path)) {
      lines += path + " is a stray: " + Text(now) + "\n";
    }
  }
  return lines;
}

}  // namespace kavrel::faults
