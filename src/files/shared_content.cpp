#include "files/shared_content.h"

#include "platform/error_codes.h"

namespace kavrel {

ErrorCode SharedContent::Stage(TempNames& names, const CopySide& source, const CopySide& like,
                               const CopySide& dest, bool same, StagedFile& staged) {
  ErrorCode error = kErrNotSupported;
  if (clones_) {
    error = StageClone(names, source, like, dest, staged);
    if (!error) cloned_ = true;
    if (!error || !IsBeyondClones(error)) return error;
    if (!cloned_) clones_ = false;
  }
  if (!same || !links_) return error;
  error = StageLink(names, like.Opened, like.Name, dest, staged);
  if (!error) linked_ = true;
  if (HasAllLinks(error)) {
    full_ = true;
  } else if (IsBeyondLinks(error) && !linked_) {
    links_ = false;
  }
  return error;
}

}  // namespace kavrel
