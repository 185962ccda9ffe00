// System error codes in the program's words, as the job log shows them.
#pragma once

#include <string>
#include <string_view>

#include "files/run_state.h"

namespace kavrel {

/// "錯誤：13 - Permission denied"; for 0 "檔案可能正在執行中..."; for a code that the system has
/// no text for "錯誤： 4711 - 未知錯誤".
std::u16string ApiErrorText(ErrorCode code);

/// Records the code (-1 when the system gave none) in the state and returns
/// text + " (" + ApiErrorText + "): " + path.
std::u16string FailText(RunState& state, ErrorCode code, std::u16string_view text,
                        std::u16string_view path);

/// The log's line for a disk that has not taken what was written below `path`.
/// How its text begins.
inline constexpr std::u16string_view kSyncFailed = u": 寫入磁碟 (失敗)：";
std::u16string SyncFailedText(std::u16string_view path, ErrorCode code);

}  // namespace kavrel
