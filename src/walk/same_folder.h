// Whether two open folders are one folder that is reached in two ways, on one of which everything
// may have other numbers, or one of them is a copy.
#pragma once

#include <vector>

#include "files/temp_names.h"
#include "platform/files.h"

namespace kavrel {

/// Whether two looks at entries of one name are looks at the same entry, or one is a copy: that was
/// changed last when it was made. What gives its entries other numbers may tell of changes a second
/// late, and passes the numbers on then; or it tells no time of the change at all (sshfs), and the
/// other look must show an entry that was changed last when it was written, unless `exactly`.
bool LooksSame(const FileStatus& one, const FileStatus& other, bool exactly = false);

/// What a file tells that is made in a folder for a moment.
struct MadeFile {
  bool Made = false;   ///< else none could be made
  bool Shown = false;  ///< one of the others shows it
  /// The disk has a time of its own for the last change of an entry. One that has not gives the
  /// time of writing, which copies share. Asked only where nobody shows the file.
  bool TellsChanges = false;
};
MadeFile MakeFileIn(const Folder& folder, const std::vector<const Folder*>& others,
                    TempNames& names);

/// Whether two folders with one mark are the same: the entries of a copy were changed last when it
/// was made. `settled`: nobody changes the folder itself meanwhile, so that it tells, too.
/// `exactly` as for LooksSame.
bool IsSeenTwice(const Folder& one, const Folder& other, bool settled, bool exactly);

/// Whether both hold the same as far as a look at a few entries tells, copies included that keep
/// the times. `if_empty` is the answer for two that hold nothing.
bool LooksAlike(const Folder& one, const Folder& other, bool if_empty);

/// Whether the other one has some entry of this one, or both are empty.
bool HasEntryOf(const Folder& other, const Folder& one);

}  // namespace kavrel
