// Trees that nobody makes by hand: every name, depth and link that the system allows, hollow files
// of a size that no disk holds, and trees that change under a run.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "faults/world.h"
#include "support/test_program.h"
#include "support/tree.h"

namespace fs = std::filesystem;

namespace kavrel::faults {
namespace {

/// Names, kinds, contents, targets, permissions and times of a whole tree, of any depth.
std::string Digest(const fs::path& root) {
  const char* const script =
      "cd \"$1\" && tar --sort=name --format=posix --pax-option=delete=atime,delete=ctime -cf - . |"
      "sha256sum";
  // The list of sums is put aside meanwhile.
  const fs::path list = root / ".kavrel-sums", aside = root.string() + ".sums";
  const auto time = fs::last_write_time(root);
  const bool listed = fs::exists(list);
  if (listed) fs::rename(list, aside);
  fs::last_write_time(root, time);
  const CommandResult result = RunCommand({"/bin/sh", "-c", script, "sh", root});
  if (listed) fs::rename(aside, list);
  fs::last_write_time(root, time);
  EXPECT_EQ(result.Errors, "");
  return result.Output;
}

/// Makes nested folders, each of this name, with a file in the last.
void Nest(const fs::path& root, const std::string& name, int depth) {
  int folder = open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (int i = 0; i < depth; ++i) {
    ASSERT_EQ(mkdirat(folder, name.c_str(), 0755), 0);
    const int next = openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    close(folder);
    folder = next;
  }
  close(openat(folder, "end", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
  close(folder);
}

/// A tree of hostile entries; how many.
std::size_t Grow(const fs::path& root) {
  std::vector<std::string> names{std::string(255, 'l'),
                                 " ",
                                 " x ",
                                 "...",
                                 "-rf",
                                 "~",
                                 "$(id)",
                                 "`id`",
                                 "%s%n",
                                 "a\nb",
                                 "a\r\nb",
                                 "pt24150405.tmp",
                                 "Staging.jnl",
                                 "x.7z.tmp",
                                 "&&",
                                 "\"",
                                 "'",
                                 "\xE2\x80\xAE",
                                 "e\xCC\x81",
                                 "\xC3\xA9",
                                 "\xEF\xBB\xBF",
                                 "CON",
                                 "nul.txt",
                                 "a:b"};
  std::string wide;
  while (wide.size() < 255) wide += "備";
  names.push_back(wide);
  for (int byte = 1; byte < 256; ++byte) {
    if (byte != '/') names.push_back(std::string("n") + static_cast<char>(byte));
    if (byte != '/' && byte != '.') names.push_back(std::string(1, static_cast<char>(byte)));
  }
  for (const std::string& name : names) WriteTestFile(root / name, "in " + name);
  const std::pair<const char*, std::string> links[] = {
      {"loop", "loop"},       {"to-b", "to-a"},
      {"to-a", "to-b"},       {"up", ".."},
      {"out", "/etc/passwd"}, {"dead", "nowhere"},
      {"self", "."},          {"far", std::string(4000, 'f')}};
  for (const auto& [name, target] : links) fs::create_symlink(target, root / name);
  const std::size_t crowd = SweepStep(0) == 1 ? 100'000 : 500;
  for (std::size_t i = 0; i < crowd; ++i) WriteTestFile(root / "crowd" / std::to_string(i), "");
  Nest(root, "nested", 2'000);
  Nest(root, std::string(250, 'p'), 80);
  return names.size() + std::size(links) + crowd + 2'000 + 80;
}

TEST(HostileTree, EveryNameDepthAndLinkIsKeptAndComesBack) {
  RealJob job;
  fs::create_directories(job.Source);
  const std::size_t grown = Grow(job.Source);
  const std::string before = Digest(job.Source);
  for (const char* type : {"full", "differential", "sync"}) {
    job.Make(type);
    const CommandResult result = job.Run();
    EXPECT_EQ(result.ExitCode, 0) << type << result.Output << result.Errors;
    EXPECT_EQ(Digest(job.Dest), before) << type;
    EXPECT_EQ(Figure(result.Output, kCopied) > 0, type == std::string("full")) << result.Output;
  }
  const auto remove = [](const fs::path& path) {
    EXPECT_EQ(RunCommand({"/bin/rm", "-rf", path}).ExitCode, 0);
  };
  remove(job.Source);
  EXPECT_EQ(job.Command({"restore", "J"}).ExitCode, 0);
  EXPECT_EQ(Digest(job.Source), before);
  // And a mirror follows when all of it goes.
  remove(job.Source);
  WriteTestFile(job.Source / "last", "x");
  EXPECT_EQ(job.Run().ExitCode, 0);
  EXPECT_EQ(Digest(job.Dest), Digest(job.Source));
  Count("hostile entries copied and restored", grown);
}

TEST(HostileTree, ATebibyteOfNothingTakesNoRoom) {
  RealJob job;
  constexpr std::uint64_t kSize = std::uint64_t{1} << 40;
  WriteTestFile(job.Source / "hollow", "first");
  const auto write = [&](std::uint64_t at, const char* text) {
    const int file = open((job.Source / "hollow").c_str(), O_WRONLY | O_CLOEXEC);
    const bool done = pwrite(file, text, 4, static_cast<off_t>(at)) == 4;
    close(file);
    return done;
  };
  if (!write(kSize / 2 + 7, "half") || !write(kSize - 4, "last")) {
    GTEST_SKIP() << "no files of that size in the temporary folder";
  }
  for (const char* type : {"full", "sync"}) {
    job.Make(type);
    EXPECT_EQ(job.Run().ExitCode, 0);
    struct stat found {};
    ASSERT_EQ(stat((job.Dest / "hollow").c_str(), &found), 0);
    EXPECT_EQ(static_cast<std::uint64_t>(found.st_size), kSize);
    EXPECT_LT(found.st_blocks, 4096);
    const int file = open((job.Dest / "hollow").c_str(), O_RDONLY | O_CLOEXEC);
    char text[5] = "";
    EXPECT_EQ(pread(file, text, 4, static_cast<off_t>(kSize / 2 + 7)), 4);
    EXPECT_STREQ(text, "half");
    EXPECT_EQ(pread(file, text, 4, static_cast<off_t>(kSize - 4)), 4);
    EXPECT_STREQ(text, "last");
    close(file);
  }
}

TEST(HostileTree, WhatTheSystemDoesNotLetGoIsToldAndKept) {
  RealJob job;
  const auto fix = [](const fs::path& path, bool fixed) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    unsigned flags = 0;
    bool done = ioctl(file, FS_IOC_GETFLAGS, &flags) == 0;
    flags = fixed ? flags | FS_IMMUTABLE_FL : flags & ~static_cast<unsigned>(FS_IMMUTABLE_FL);
    done = done && ioctl(file, FS_IOC_SETFLAGS, &flags) == 0;
    close(file);
    return done;
  };
  WriteTestFile(job.Source / "a", "new");
  WriteTestFile(job.Source / "b", "new b");
  WriteTestFile(job.Dest / "a", "fixed");
  WriteTestFile(job.Dest / "b", "old");
  WriteTestFile(job.Dest / "gone/c", "fixed, too");
  if (!fix(job.Dest / "a", true) || !fix(job.Dest / "gone/c", true)) {
    GTEST_SKIP() << "no right to make files immutable";
  }
  job.Make("sync");
  const CommandResult result = job.Run();
  EXPECT_EQ(result.ExitCode, 1);
  EXPECT_EQ(Figure(result.Output, kFailed), 3) << result.Output << job.Log();
  const Tree found = ReadTree(job.Dest);
  EXPECT_EQ(found.size(), 4U);
  EXPECT_EQ(found.at("a").Bytes, "fixed");
  EXPECT_EQ(found.at("b").Bytes, "new b");
  EXPECT_EQ(found.at("gone/c").Bytes, "fixed, too");
  fix(job.Dest / "a", false);
  fix(job.Dest / "gone/c", false);
  EXPECT_EQ(job.Run().ExitCode, 0);
  EXPECT_EQ(ReadTree(job.Dest).size(), 2U);
}

/// In the midst of a copy its source becomes something else.
TEST(ChangingTree, ACopyIsWholeOrFailsAndTheNextRunHasWhatIsThereByThen) {
  constexpr std::size_t kSize = 2'000'000;
  const std::string old(400'000, 'o'), first(kSize, '1'), second(kSize, '2');
  const std::pair<const char*, void (*)(const fs::path&)> changes[] = {
      {"shrinks", [](const fs::path& path) { fs::resize_file(path, 10); }},
      {"grows", [](const fs::path& path) { fs::resize_file(path, kSize + 99); }},
      {"is replaced",
       [](const fs::path& path) {
         fs::remove(path);
         WriteTestFile(path, std::string(kSize, '2'));
       }},
      {"is written over",
       [](const fs::path& path) { WriteTestFile(path, std::string(kSize, '2')); }},
      {"goes", [](const fs::path& path) { fs::remove(path); }},
      {"is a link",
       [](const fs::path& path) {
         fs::remove(path);
         fs::create_symlink("/etc/passwd", path);
       }},
      {"is a pipe",
       [](const fs::path& path) {
         fs::remove(path);
         mkfifo(path.c_str(), 0644);
       }},
      {"is a folder",
       [](const fs::path& path) {
         fs::remove(path);
         fs::create_directory(path);
       }},
  };
  for (const auto& [what, change] : changes) {
    // When the copy has just begun, and when half of it is there.
    for (const std::uint64_t when : {std::size_t{0}, kSize / 2}) {
      TestProgram program;
      const fs::path source = program.Source() / "f", dest = program.Dest() / "f";
      WriteTestFile(source, first);
      SetWritten(source, {1'700'000'000, 0});
      WriteTestFile(dest, old);
      bool changed = false;
      program.Host.AtProgress = [&, &make = change](std::uint64_t, std::uint64_t done) {
        if (!changed && done >= when) {
          changed = true;
          make(source);
        }
      };
      BackupJob& job = program.AddJob(BackupType::Synchronise);
      program.Program.RunJobNow(job.JobIndex);
      ASSERT_TRUE(changed);
      const std::string now = ReadTestFile(dest);
      const bool failed = program.Program.Context.Report.Counters.FailedFiles > 0;
      EXPECT_EQ(ReadTree(program.Dest()).size(), 1U) << what;
      EXPECT_EQ(now == old, failed) << what;
      EXPECT_TRUE(failed || now == first || now == ReadTestFile(source)) << what;
      program.Program.RunJobNow(job.JobIndex);
      if (fs::is_fifo(source)) continue;
      const Tree wanted = ReadTree(program.Source()), found = ReadTree(program.Dest());
      for (const auto& [path, entry] : wanted) {
        EXPECT_TRUE(found.contains(path) && found.at(path).SameContent(entry)) << what;
      }
    }
  }
}

/// A folder of the destination is swapped for a link at every step of a run: what the link points
/// to is neither written to nor removed.
TEST(ChangingTree, NothingOutsideTheDestinationIsTouched) {
  std::size_t swaps = 0;
  for (const BackupType type : {BackupType::Full, BackupType::Synchronise}) {
    for (const std::string place : {"", "sub", "sub/deep", "gone"}) {
      for (const bool bin : {false, true}) {
        if (bin && type == BackupType::Full) continue;
        bool reached = true;
        for (int step = 1; reached; ++step) {
          TestProgram program;
          const fs::path outside = program.Temp.Root() / "outside";
          for (const char* name : {"a", "sub/b", "sub/deep/c", "sub/deep/d"}) {
            WriteTestFile(program.Source() / name, std::string("new ") + name);
            WriteTestFile(program.Dest() / name, "old");
          }
          for (const char* name : {"gone/x", "gone/in/y", "sub/deep/z"}) {
            WriteTestFile(program.Dest() / name, "old");
          }
          for (const char* name : {"a", "b", "c", "d", "x", "y", "z", "in/y", "deep/c", "sub/b"}) {
            WriteTestFile(outside / name, "precious");
          }
          const Tree before = ReadTree(outside);
          reached = false;
          int pumps = 0;
          program.Host.AtPump = [&] {
            if (++pumps != step) return;
            reached = true;
            const fs::path here = place.empty() ? program.Dest() : program.Dest() / place;
            std::error_code error;
            fs::rename(here, program.Temp.Root() / "moved", error);
            if (error) return;
            fs::create_directory_symlink(outside, here);
            ++swaps;
          };
          BackupJob& job = program.AddJob(type);
          job.UseRecycleBin = bin;
          program.Program.RunJobNow(job.JobIndex);
          EXPECT_TRUE(ReadTree(outside) == before) << place << step << bin;
        }
      }
    }
  }
  EXPECT_GT(swaps, 50U);
  Count("folders swapped for links", swaps);
}

}  // namespace
}  // namespace kavrel::faults
