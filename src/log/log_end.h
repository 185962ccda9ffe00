// How a run ended, as its log tells: for those who have nothing else of an earlier run.
#pragma once

#include <string>
#include <string_view>

namespace kavrel {

/// What the log of a run says, and what is looked for in it later.
inline constexpr std::u16string_view kSpaceTitle = u"檢查可用空間";
inline constexpr std::u16string_view kChangesTitle = u"檔案變更防護";
inline constexpr std::u16string_view kChangesAlarm = u": 檔案變更防護 (警告)：";
inline constexpr std::u16string_view kFolderFailed = u": 建立目錄 (失敗)：";
inline constexpr std::u16string_view kPasswordWrong = u"密碼錯誤";
inline constexpr std::u16string_view kDestinationLine = u"目標存放資料夾　　：";

enum class LogEnd {
  Ordinary,  ///< nothing of what follows; its row tells the rest
  Guarded,   ///< a guard stopped it
  NoSpace,   ///< the copies did not fit
  NoPlace,   ///< its destination could not be made
  Changes,   ///< it came to its end, but many files look encrypted
  WrongPassword,
};

/// From the whole text of a job log.
LogEnd EndTold(std::u16string_view log);
/// What the log says of files that look encrypted in a run that came to its end; empty where it
/// says nothing of them.
std::u16string AlarmTold(std::u16string_view log);

}  // namespace kavrel
