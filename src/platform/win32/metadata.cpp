#include "platform/metadata.h"

#include "platform/error_codes.h"
#include "platform/win32/native.h"

namespace kavrel {

namespace {
constexpr std::uint32_t kMarks = kAttrReadOnly | kAttrHidden | kAttrSystem | kAttrArchive;
}

Result<std::string> Folder::ReadRemark(std::u16string_view) const {
  return Result<std::string>::Fail(kErrNotFound);
}

ErrorCode Folder::WriteRemark(std::u16string_view, const std::string&) const {
  return kErrNotFound;
}

MetadataUpdate Folder::UpdateMetadata(std::u16string_view name, const FileStatus& from,
                                      const Folder& source, bool looks_only,
                                      std::u16string_view) const {
  if (looks_only) return {};
  if (name.empty()) return {SetAttributes(from, source), false};
  win32::Opening how;
  how.Access = FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES;
  const Result<win32::Handle> entry = win32::OpenEntry(handle_, name, how);
  return {entry ? win32::SetAttributesOf(entry->Get(), from.Attributes) : entry.Error, false};
}

// Access lists are not carried over: a new file's come from its folder, as everywhere here.
bool Folder::PassesAccessOn() const {
  return false;
}

void File::DropInheritedAccess() {}

void File::CarryFlags(const File&) {}

ErrorCode Folder::CarryLinkAttributes(std::u16string_view, const Folder&,
                                      std::u16string_view) const {
  return 0;
}

MetadataPlace::MetadataPlace(const Folder&, const Folder&) {}

bool MetadataPlace::Differs(const FileStatus& source, const FileStatus& copy) const {
  return ((source.Attributes ^ copy.Attributes) & kMarks) != 0;
}

bool MetadataPlace::AttributesMayDiffer(const FileStatus&, const FileStatus&) const {
  return false;
}

}  // namespace kavrel
