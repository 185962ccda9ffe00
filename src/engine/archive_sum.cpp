#include "engine/archive_sum.h"

#include <optional>
#include <vector>

#include "base/text.h"
#include "engine/content_sums.h"
#include "files/path.h"

namespace kavrel {

namespace {

/// Nothing for one that cannot be read, or when the run is cancelled meanwhile.
std::optional<ContentSum> SumOf(RunContext& context, const Folder& folder,
                                std::u16string_view name) {
  Result<File> file = folder.OpenFile(name);
  if (!file) return std::nullopt;
  file->HintSequential();
  std::vector<char> block(std::size_t{1} << 20);
  Summing sum;
  for (;;) {
    context.Host.PumpMessages();
    if (context.State.CancelRequested) return std::nullopt;
    const Result<std::size_t> got = file->Read(block);
    if (!got) return std::nullopt;
    sum.Add({block.data(), *got});
    if (*got < block.size()) return sum.End();
  }
}

}  // namespace

void SumArchive(RunContext& context, const BackupJob& job, std::u16string_view archive) {
  Result<Folder> folder = context.Files.OpenFolder(PathFolder(archive));
  if (!folder) return;
  const std::u16string_view name = PathName(archive);
  std::optional<ContentSum> sum;
  if (job.Extras.KeepSums) sum = SumOf(context, *folder, name);
  if (sum && SumIndex(*folder).Has({*sum, ToUtf8(name)})) return;
  ContentSums sums(std::move(*folder), true);
  if (sum) {
    sums.Note(name, *sum, true);
  } else {
    sums.Drop(name);
  }
  sums.Finish();
}

}  // namespace kavrel
