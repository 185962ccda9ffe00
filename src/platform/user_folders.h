// Where the things that a job preset backs up are kept on this system.
#pragma once

#include <string>

namespace kavrel {

enum class UserFolder {
  Favourites,
  Documents,
  Desktop,
  Fonts,
  Mail,
  AddressBook,
  Cookies,
  Torrent,       ///< settings of uTorrent
  BrowserAddOn,  ///< settings of IE7 Pro
  InputMethod,   ///< settings of the Chewing input method
  Editor,        ///< settings of UltraEdit
};

/// The first of the usual places that exists, else the most usual one; with a trailing separator.
std::u16string FindUserFolder(UserFolder which);

/// The backup folder that is offered for a new job, or for a preset; with a trailing separator.
std::u16string UsualBackupFolder(bool for_preset);

}  // namespace kavrel
