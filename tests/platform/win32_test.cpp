// What is Windows' own: attributes and times, long paths, the registry, the shell.
// clang-format off
#include <windows.h>
#include <shlobj.h>
// clang-format on
#include <gtest/gtest.h>

#include "base/text.h"
#include "files/error_text.h"
#include "platform/child_process.h"
#include "platform/desktop.h"
#include "platform/folders.h"
#include "platform/launcher.h"
#include "platform/mounts.h"
#include "platform/net_enum.h"
#include "platform/priority.h"
#include "platform/process.h"
#include "platform/recycle_bin.h"
#include "platform/settings_store.h"
#include "platform/user_folders.h"
#include "platform/win32/native.h"
#include "support/set_clock.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

std::u16string RunValue(HKEY root) {
  return win32::RegistryText(root, u"Software\\Microsoft\\Windows\\CurrentVersion\\Run", u"Morlund")
      .value_or(u"(none)");
}

void SetText(const wchar_t* key, const wchar_t* name, const wchar_t* text) {
  ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, key, name, REG_SZ, text,
                            static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t))),
            0);
}

TEST(Windows, APathTakesThePrefixFrom261CharactersOn) {
  const std::u16string start = u"C:\\";
  EXPECT_EQ(win32::LongPathBuffer(start + std::u16string(257, u'a')).size(), 260U);
  EXPECT_TRUE(
      win32::LongPathBuffer(start + std::u16string(258, u'a')).starts_with(L"\\\\?\\C:\\aaa"));
  EXPECT_TRUE(win32::LongPathBuffer(u"\\\\server\\share\\" + std::u16string(260, u'a'))
                  .starts_with(L"\\\\?\\UNC\\server\\share\\aaa"));
  EXPECT_EQ(win32::KernelPath(u"c:/a//b\\.\\..\\c\\"), u"\\??\\c:\\a\\c");
  EXPECT_EQ(win32::KernelPath(u"\\\\server\\share"), u"\\??\\UNC\\server\\share\\");
  for (const std::u16string_view path :
       {u"", u"a", u"C:a", u"/a", u"\\a", u"\\\\server", u"1:\\", u"\\\\.\\pipe"}) {
    EXPECT_FALSE(win32::SystemPath(u"", path)) << ToUtf8(path);
  }
}

TEST(Windows, FoldersDeeperThanTheOldLimitAreMadeListedAndRemoved) {
  const TempFolder temp;
  const FileSystem& files = temp.Files();
  std::u16string path = u"C:";
  for (int i = 0; i < 6; ++i) path += u"\\" + std::u16string(100, u'深');
  const Result<Folder> made = files.MakeFolders(path);
  ASSERT_TRUE(made) << made.Error;
  ASSERT_TRUE(made->MakeFile(u"檔案.txt", FileStatus{}));
  EXPECT_TRUE(files.Status(path + u"\\檔案.txt"));
  EXPECT_EQ(files.ReplaceWhole(path + u"\\b.txt", "b"), 0);
  EXPECT_EQ(*files.ReadWhole(path + u"\\B.TXT"), "b") << "letter case does not count";
  FolderReader reader(*made);
  int entries = 0;
  while (const FolderEntry* entry = reader.Next()) {
    EXPECT_EQ(made->RemoveFile(entry->Name), 0);
    ++entries;
  }
  EXPECT_EQ(entries, 2);
  EXPECT_EQ(reader.Error(), 0);
  EXPECT_TRUE(made->OnLocalDisk());
}

TEST(Windows, ACopyGetsTheThreeTimesAndTheFourAttributes) {
  const TempFolder temp;
  WriteTestFile(temp.DriveC() / "from", "x");
  WriteTestFile(temp.DriveC() / "to", "x");
  const std::wstring from = (temp.DriveC() / "from").wstring();
  ASSERT_TRUE(SetFileAttributesW(
      from.c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_SYSTEM));
  const Result<Folder> folder = temp.Files().OpenFolder(u"C:\\");
  Result<FileStatus> status = folder->Status(u"from");
  ASSERT_TRUE(status);
  EXPECT_EQ(status->Attributes & 7U, kAttrHidden | kAttrReadOnly | kAttrSystem);
  status->Created = {1000000000, 700};
  status->Accessed = {1100000000, 0};
  status->Written = {1200000000, 123456700};
  status->Attributes |= FILE_ATTRIBUTE_COMPRESSED | FILE_ATTRIBUTE_ENCRYPTED;
  Result<File> source = folder->OpenFile(u"from");
  ASSERT_TRUE(source);
  ASSERT_EQ(folder->RemoveFile(u"to"), 0);
  Result<File> to = folder->MakeFile(u"to", *status);
  ASSERT_TRUE(to);
  ASSERT_EQ(to->SetAttributes(*status, *source), 0);
  ASSERT_EQ(to->SetTimes(*status), 0);
  to->Close();
  const DWORD found = GetFileAttributesW((temp.DriveC() / "to").c_str());
  EXPECT_EQ(found & ~0x20U, 7U);
  const Result<FileStatus> copied = folder->Status(u"to");
  EXPECT_EQ(copied->Written, status->Written);
  EXPECT_EQ(copied->Accessed.Seconds, status->Accessed.Seconds);
  EXPECT_EQ(folder->RemoveFile(u"to"), 0) << "although it is read-only";
  EXPECT_EQ(folder->Status(u"to").Error, kErrNotFound);
  SetFileAttributesW(from.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(Windows, ACopyGetsTheTimeOfCreation) {
  const TempFolder temp;
  FileStatus from;
  from.Created = {1000000000, 700};
  from.Written = {1200000000, 0};
  const Result<Folder> folder = temp.Files().OpenFolder(u"C:\\");
  Result<File> file = folder->MakeFile(u"to", from);
  ASSERT_TRUE(file);
  ASSERT_EQ(file->SetTimes(from), 0);
  EXPECT_EQ(file->Status()->Created, from.Created);
}

TEST(Windows, SettingsAndTheAutostartEntryLieInTheRegistry) {
  const TempFolder temp;
  EXPECT_EQ(SettingsFile(), u"HKEY_CURRENT_USER\\Software\\Quenlor");
  SettingsStore store(temp.Files(), SettingsFile());
  EXPECT_TRUE(store.Set(u"Test值", u"一\n二"));
  EXPECT_EQ(win32::RegistryText(HKEY_CURRENT_USER, u"Software\\Quenlor\\Settings", u"Test值"),
            u"一 二");
  EXPECT_EQ(store.Get(u"test值"), u"一 二");
  EXPECT_EQ(store.Get(u"Other"), std::nullopt);
  RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Quenlor");

  const std::u16string usual = *ProgramFolder();
  EXPECT_TRUE(SetAutostartEntry(true, u"C:\\Program Files\\kavrel.exe", usual));
  EXPECT_TRUE(SetAutostartEntry(true, u"C:\\kavrel.exe", u"D:\\home"));
  EXPECT_TRUE(SetAutostartEntry(false, u"", u"D:\\home"));
  EXPECT_EQ(RunValue(HKEY_LOCAL_MACHINE), u"C:\\Program Files\\kavrel.exe");
  EXPECT_TRUE(SetAutostartEntry(false, u"", usual));
  EXPECT_TRUE(SetAutostartEntry(false, u"", usual));
  EXPECT_EQ(RunValue(HKEY_LOCAL_MACHINE), u"(none)");
}

TEST(Windows, PresetsNameTheShellsFoldersAndTheMailStoreOfTheLastIdentity) {
  EXPECT_TRUE(FindUserFolder(UserFolder::Fonts).ends_with(u"\\")) << "one separator at its end";
  EXPECT_TRUE(FileSystem({}).FolderExists(FindUserFolder(UserFolder::Fonts)));
  EXPECT_TRUE(FindUserFolder(UserFolder::Torrent).ends_with(u"\\uTorrent\\"));
  SetText(L"Identities", L"Last User ID", L"{1}");
  SetText(L"Identities\\{1}\\Software\\Microsoft\\Outlook Express\\5.0", L"Store Root",
          L"%UserProfile%\\Mail\\");
  EXPECT_EQ(FindUserFolder(UserFolder::Mail), HomeFolder() + u"Mail\\");
  RegDeleteTreeW(HKEY_CURRENT_USER, L"Identities");
  EXPECT_EQ(UsualBackupFolder(false), u"C:\\Backup\\");
  EXPECT_EQ(UsualBackupFolder(true), u"D:\\Backup\\");
}

TEST(Windows, ALauncherIsAShellLinkWithQuotedNames) {
  const TempFolder temp;
  const fs::path path = temp.Root() / "備份.lnk";
  const Launcher launcher{u"C:\\windows\\notepad.exe",
                          {u"文件 A", u"a\"b"},
                          u"C:\\windows\\",
                          u"備份",
                          u"資料備份排程捷徑"};
  ASSERT_TRUE(CreateShellLink(TempFolder::Text(path), launcher));
  ASSERT_TRUE(CreateShellLink(TempFolder::Text(path), launcher)) << "in place of the first";
  ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
  IShellLinkW* link = nullptr;
  IPersistFile* file = nullptr;
  ASSERT_TRUE(SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER,
                                         IID_IShellLinkW, reinterpret_cast<void**>(&link))));
  ASSERT_TRUE(SUCCEEDED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file))));
  ASSERT_TRUE(SUCCEEDED(file->Load(path.c_str(), STGM_READ)));
  wchar_t text[512];
  link->GetArguments(text, 512);
  EXPECT_EQ(win32::Narrow(text), u"\"文件 A\" \"a\"\"b\"");
  link->GetPath(text, 512, nullptr, SLGP_RAWPATH);
  EXPECT_TRUE(EqualNoCase(win32::Narrow(text), launcher.Target));
  link->GetDescription(text, 512);
  EXPECT_EQ(win32::Narrow(text), launcher.Description);
  file->Release();
  link->Release();
  CoUninitialize();
}

TEST(Windows, RecycledThingsLeaveTheirFolder) {
  const TempFolder temp;
  WriteTestFile(temp.DriveD() / "a.txt", "a");
  fs::create_directory(temp.DriveD() / "空");
  const Result<Folder> folder = temp.Files().OpenFolder(u"D:\\");
  SetClock clock(2009, 9, 23);
  RecycleBin bin(clock);
  EXPECT_EQ(bin.Recycle(*folder, u"a.txt"), 0);
  EXPECT_EQ(bin.Recycle(*folder, u"空"), 0);
  EXPECT_TRUE(fs::is_empty(temp.DriveD()));
  EXPECT_NE(bin.Recycle(*folder, u"missing"), 0);
}

TEST(Windows, AProgramIsRunReadAndEndedWithItsWords) {
  ChildProcess child;
  const std::string shell = ToUtf8(win32::Variable(L"COMSPEC"));
  ASSERT_EQ(child.Start(shell, {"/c", "set", "KAVREL_TEST"}, "C:\\", "", {"KAVREL_TEST=one 二"}),
            0);
  std::string output;
  while (child.Read(output, 1000)) continue;
  EXPECT_TRUE(output.starts_with("KAVREL_TEST=one ")) << output;
  EXPECT_EQ(child.Wait(), 0);
  ChildProcess waiting;
  ASSERT_EQ(waiting.Start(shell, {"/c", "pause"}, "C:\\", "no line end"), 0);
  waiting.Kill();
  EXPECT_NE(waiting.Wait(), 0);
  const std::string_view names[] = {"no such program", "cmd"};
  EXPECT_TRUE(EqualNoCase(FromUtf8(FindProgram(names, "")), FromUtf8(shell)));
}

TEST(Windows, OneProcessOwnsAFolderAndTheClassOfItsPriorityChanges) {
  const TempFolder temp;
  const std::u16string home = TempFolder::Text(temp.Home());
  ProcessLock first, second;
  ASSERT_TRUE(first.TryAcquire(home, u"視窗"));
  EXPECT_FALSE(second.TryAcquire(home, u"other"));
  EXPECT_TRUE(ProcessLock::Holder(home).starts_with(u"視窗 (process "));
  first.Release();
  EXPECT_EQ(ProcessLock::Holder(home), u"");
  EXPECT_TRUE(second.TryAcquire(home, u"other"));

  const PriorityControl priority;
  constexpr DWORD kClasses[] = {0x100, 0x80, 0x8000, 0x20, 0x4000, 0x40};
  for (const int index : {1, 2, 4, 5, 3}) {
    priority.ApplyProcessPriority(index);
    EXPECT_EQ(GetPriorityClass(GetCurrentProcess()), kClasses[index]) << index;
  }
  priority.ApplyProcessPriority(6);
  EXPECT_EQ(GetPriorityClass(GetCurrentProcess()), 0x20U);
}

TEST(Windows, DrivesOfTheSystemAndThoseOfTheProgramFolderAreOffered) {
  const TempFolder temp;
  fs::create_directory(temp.Home() / "drives" / "q");
  const std::vector<std::u16string> drives = LocalDrives(temp.Files(), MountTable());
  EXPECT_NE(std::find(drives.begin(), drives.end(), u"Q:"), drives.end());
  EXPECT_NE(std::find(drives.begin(), drives.end(), u"C:"), drives.end());
  EXPECT_EQ(std::find(drives.begin(), drives.end(), u"Y:"), drives.end());
  EXPECT_EQ(AbsolutePath(u"c:/a/b"), u"c:\\a\\b");
  EXPECT_EQ(AbsolutePath(u"~/a"), HomeFolder() + u"a");
  const std::u16string denied = ApiErrorText(kErrAccess);
  EXPECT_TRUE(denied.starts_with(u"錯誤：5 - ")) << ToUtf8(denied);
  EXPECT_EQ(denied.find_first_of(u"\r\n"), denied.npos);
  EXPECT_EQ(SystemErrorText(29999), u"");
}

}  // namespace
}  // namespace kavrel
