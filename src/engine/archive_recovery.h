// Recovery data beside the archives of a job (archive/recovery_data.h): made after a run, used by a
// verification that is to mend.
#pragma once

#include <string>
#include <string_view>

#include "engine/run_context.h"

namespace kavrel {

/// Where the job wants it, makes recovery data of an archive that is whole, and notes its sum
/// beside that of the archive. What stands in the way is counted as a warning and told; the archive
/// stays as it is, without any.
void MakeRecovery(RunContext& context, const BackupJob& job, std::u16string_view archive);

/// What the log tells, before the archive's path, of a damaged one that has recovery data.
inline constexpr std::u16string_view kMayBeRepaired = u": 壓縮檔有修復資料，驗證時可以修復：";

/// The same of recovery data, whose archive may be whole.
inline constexpr std::u16string_view kMayBeRemade = u": 修復資料損壞，壓縮檔完好時驗證可以重做：";

bool HasRecovery(const FileSystem& files, std::u16string_view archive);

/// Makes the damaged recovery data of a whole archive anew; what stands in the way, in words.
std::u16string RemakeRecovery(RunContext& context, const BackupJob& job,
                              std::u16string_view archive);

/// Makes a damaged archive anew from what is left of it and its recovery data, in a folder of its
/// own. Only what then has the archive's sum and passes the archiver's test takes its place; the
/// damaged one is kept. Gives the path under which; else nothing, and why.
std::u16string RepairArchive(RunContext& context, const BackupJob& job, std::u16string_view archive,
                             std::u16string& why);

}  // namespace kavrel
