#include "engine/archive_sum.h"

#include <optional>

#include "base/text.h"
#include "engine/content_sums.h"
#include "engine/read_sum.h"
#include "files/path.h"

namespace kavrel {

void SumArchive(RunContext& context, const BackupJob& job, std::u16string_view archive) {
  Result<Folder> folder = context.Files.OpenFolder(PathFolder(archive));
  if (!folder) return;
  const std::u16string_view name = PathName(archive);
  std::optional<ContentSum> sum;
  if (job.Extras.KeepSums) sum = SumReader(context).Read(*folder, name);
  const SumIndex list(*folder);
  const std::string path = ToUtf8(name);
  if (sum ? list.Has({*sum, path}) : !list.Knows(path)) return;
  ContentSums sums(std::move(*folder), true);
  if (sum) {
    sums.Note(name, *sum, true);
  } else {
    sums.Drop(name);
  }
  sums.Finish();
}

ArchiveSum LookUpArchiveSum(RunContext& context, std::u16string_view archive) {
  const Result<Folder> folder = context.Files.OpenFolder(PathFolder(archive));
  if (!folder) return ArchiveSum::Unknown;
  const std::u16string_view name = PathName(archive);
  const std::string path = ToUtf8(name);
  const SumIndex list(*folder);
  if (!list.Knows(path)) return ArchiveSum::Unknown;
  const std::optional<ContentSum> sum = SumReader(context).Read(*folder, name);
  if (context.State.CancelRequested) return ArchiveSum::Unknown;
  if (!sum) {
    // Who may not open it knows nothing; what cannot be read then is not what was written.
    const Result<File> opened = folder->OpenFile(name);
    return opened || IsNotFound(opened.Error) ? ArchiveSum::Differs : ArchiveSum::Unknown;
  }
  return list.Has({*sum, path}) ? ArchiveSum::Same : ArchiveSum::Differs;
}

}  // namespace kavrel
