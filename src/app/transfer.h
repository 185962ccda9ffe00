// Jobs from one program folder to another, with the exclusion rules and file types beside them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/program.h"

namespace kavrel {

struct ImportReport {
  int Error = 0;                        ///< what stood in the way; then nothing was changed
  std::u16string From;                  ///< the store that was taken
  std::u16string KeptAs;                ///< what the former one became; empty where there was none
  std::vector<std::u16string> Taken;    ///< rules and file types
  std::vector<std::u16string> KeptToo;  ///< what the former ones became
  struct Failure {
    std::u16string Path;
    ErrorCode Error;
  };
  std::vector<Failure> Failed;  ///< rules and file types that could not be taken
};

/// The store that is meant: the file itself, or the Backup.rtm of a folder.
std::u16string StoreAt(const Program& program, std::u16string_view path);
/// The rules and file types that lie beside a store.
std::vector<std::u16string> SharedBeside(const Program& program, std::u16string_view store);
/// Takes the jobs of a store and, if `shared`, the rules and file types beside it, in place of the
/// present ones, which are kept. The past-due rule is applied, the scheduler switched on.
ImportReport ImportAll(Program& program, std::u16string_view store, bool shared);

/// The files that an export into this folder would replace.
std::vector<std::u16string> ReplacedByExport(const Program& program, std::u16string_view folder);

struct ExportReport {
  int Error = 0;  ///< kErrNoJobs where there is nothing to give
  std::vector<std::u16string> Written;
};
/// Copies jobs, rules and file types into a folder that exists, over what is there.
ExportReport ExportAll(const Program& program, std::u16string_view folder);

}  // namespace kavrel
