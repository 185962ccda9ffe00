// Opening files, folders and addresses with the user's desktop, or telling why nothing opens.
#pragma once

#include <string_view>

class QWidget;

namespace kavrel {

class FileSystem;

/// Opens a host path or an address. Where the desktop has no program for that, a box over the owner
/// says so.
void OpenOrTell(QWidget& owner, std::u16string_view target);
/// The same for a file or folder as program text names it; a box says when it is not there.
void OpenPathOrTell(QWidget& owner, const FileSystem& files, std::u16string_view path);

}  // namespace kavrel
